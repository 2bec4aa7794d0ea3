// The sample dialog and the samples page, offscreen: validation shown in the dialog, the chart's
// range lines following the fields and the fields following the lines, detection, the questions,
// and the page's table and tasks.
#include "SampleFixture.h"
#include "mainwindow/MainFlows.h"
#include "processing/DlgViewVignettes.h"
#include "processing/ExportTasks.h"
#include "processing/SampleDataProcessor.h"
#include "processing/SampleTasks.h"
#include "project/DlgCreateSample.h"
#include "project/FPrjSample.h"
#include "project/FPrjSeq.h"
#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/modelPrjSample.h"
#include "support/LogCapture.h"
#include "support/ScriptedDialogs.h"
#include "worker/CThWorker.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>
#include <qcustomplot.h>

using namespace kelvotest;

namespace {

struct Fixture {
    QString path = make_sample_project();
    Project project;
    Fixture() {
        write_sequence(path, "S1", profile(301, 300, 20));
        write_sequence(path, "S2", profile(20, 100, 20), hw_line(), acq_line({{"Save_images", "3"}}));
        write_file(path + "/config/cruise_info.txt", "[General]\nacron=Cruise1\n");
        project.Load(path);
    }
};

void click(QWidget& w, const char* name) {
    auto* b = w.findChild<QPushButton*>(QLatin1String(name));
    ASSERT_NE(b, nullptr) << name;
    QTest::mouseClick(b, Qt::LeftButton);
}

void edit(DlgCreateSample& dlg, const QString& field, const QString& text) {
    auto* e = dlg.findChild<QLineEdit*>("ed" + field);
    ASSERT_NE(e, nullptr) << field.toStdString();
    e->setText(text);
    Q_EMIT e->editingFinished();
}

void mouse(QWidget* w, QEvent::Type type, double x, double y, Qt::MouseButtons buttons) {
    QMouseEvent e(type, QPointF(x, y), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons,
                  Qt::NoModifier);
    QApplication::sendEvent(w, &e);
}

} // namespace

TEST(DlgCreateSample, ValidationRangeLinesDetectionAndStore) {
    Fixture f;
    ScriptedDialogs dialogs;
    LogCapture log;

    DlgCreateSample refused(&f.project);
    dialogs.expect(QMessageBox::Ok);
    EXPECT_FALSE(refused.OpenForSequence("S2"));
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Save_images mode not allowed");
    EXPECT_EQ(dialogs.seen[0].text, "This sequence use Save_images mode 3 (full : no process), it's not "
                                    "allowed to create sample from this kind of sequence.");

    DlgCreateSample dlg(&f.project);
    ASSERT_TRUE(dlg.OpenForSequence("S1"));
    dlg.resize(1200, 800);
    dlg.show();
    EXPECT_EQ(dlg.GET("profileid"), "Cruise1_");
    EXPECT_EQ(dlg.GET("nosuch"), "");
    dlg.SET("nosuch", "x");
    EXPECT_TRUE(log.saw("DlgCreateSample|1|GET invalid FieldName nosuch"));
    EXPECT_TRUE(log.saw("DlgCreateSample|1|SET invalid FieldName nosuch"));

    // The chart: every image's pressure, the BLACK images' counts, the range as two lines.
    EXPECT_EQ(dlg.Plot()->graph(0)->dataCount(), 301);
    EXPECT_EQ(dlg.Plot()->graph(1)->dataCount(), 151);
    EXPECT_EQ(dlg.Plot()->graph(1)->valueAxis(), dlg.Plot()->yAxis2);
    EXPECT_DOUBLE_EQ(dlg.FirstLine(), 0);
    EXPECT_DOUBLE_EQ(dlg.LastLine(), 300);

    // Fields move the lines (and the first image gives the date-time)...
    edit(dlg, "firstimage", "40");
    EXPECT_DOUBLE_EQ(dlg.FirstLine(), 40);
    EXPECT_EQ(dlg.GET("sampledatetime"), "20240301-060040");
    // ...and dragging a line edits its field.
    dlg.Plot()->replot();
    QCustomPlot* plot = dlg.Plot();
    const double y = plot->yAxis->coordToPixel(150);
    mouse(plot, QEvent::MouseButtonPress, plot->xAxis->coordToPixel(300) + 2, y, Qt::LeftButton);
    mouse(plot, QEvent::MouseMove, plot->xAxis->coordToPixel(250), y, Qt::LeftButton);
    mouse(plot, QEvent::MouseButtonRelease, plot->xAxis->coordToPixel(250), y, Qt::NoButton);
    EXPECT_EQ(dlg.GET("endimg"), "250");
    EXPECT_DOUBLE_EQ(dlg.LastLine(), 250);
    EXPECT_EQ(dlg.GET("firstimage"), "40");
    EXPECT_TRUE(dlg.findChild<QLabel*>("lblValue")->text().startsWith("Image 250 : 250 dbar, BLACK"));

    // Detection needs a type; on a descent it drops the lit surface images.
    dialogs.expect(QMessageBox::Ok);
    click(dlg, "btDetectRange");
    ASSERT_EQ(dialogs.seen.size(), 2u);
    EXPECT_EQ(dialogs.seen[1].title, "Sample Type Required");
    EXPECT_EQ(dlg.GET("firstimage"), "40");
    dlg.findChild<QRadioButton*>("rbPressure")->setChecked(true);
    click(dlg, "btDetectRange");
    EXPECT_EQ(dlg.GET("firstimage"), "28");
    EXPECT_EQ(dlg.GET("endimg"), "300");
    EXPECT_DOUBLE_EQ(dlg.FirstLine(), 28);

    // Validation is shown in the dialog; nothing is stored.
    edit(dlg, "profileid", "cruise1_");
    click(dlg, "btSave");
    EXPECT_TRUE(
        dlg.Messages()->text().startsWith("<font color=red><b>Field 'Bottom depth' is "
                                          "required</b></font><br><font color=red><b>Field 'Cruise' is "
                                          "required</b></font><br>"));
    EXPECT_TRUE(dlg.Messages()->text().contains("must not just be equal to the project cruise name."));
    EXPECT_EQ(f.project.SampleHeader().RowCount(), 0);
    EXPECT_TRUE(dlg.isVisible());

    for (auto it = valid_sample_fields().begin(); it != valid_sample_fields().end(); ++it) {
        if (it.key() != "sampletype") { // a radio button, checked above
            edit(dlg, it.key(), it.value());
        }
    }
    click(dlg, "btSave");
    EXPECT_EQ(dlg.Messages()->text(), "");
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    ASSERT_EQ(f.project.SampleHeader().RowCount(), 1);
    EXPECT_EQ(f.project.SampleHeader().Get(0, "firstimage"), "28");
    EXPECT_EQ(f.project.SampleHeader().Get(0, "sampledatetime"), "20240301-060028");

    // A second sample over the same images: Cancel (the default) keeps the header as it is.
    DlgCreateSample second(&f.project);
    ASSERT_TRUE(second.OpenForSequence("S1"));
    EXPECT_EQ(second.GET("cruise"), "Cruise1");
    EXPECT_EQ(second.GET("sampletype"), "P");
    second.SET("profileid", "cruise1_st02");
    for (const char* field :
         {"bottomdepth", "latitude", "longitude", "winddir", "windspeed", "seastate", "nebuloussness"}) {
        second.SET(field, dlg.GET(field));
    }
    dialogs.expect(QMessageBox::Cancel);
    click(second, "btSave");
    ASSERT_EQ(dialogs.seen.size(), 3u);
    EXPECT_EQ(dialogs.seen[2].title, "Image in 2 sample");
    EXPECT_EQ(dialogs.seen[2].defaultButton, QMessageBox::Cancel);
    EXPECT_EQ(f.project.SampleHeader().RowCount(), 1);
}

TEST(DlgCreateSample, EditProcessedSampleAndDelete) {
    Fixture f;
    ScriptedDialogs dialogs;
    SampleForm form;
    form.OpenSequence(f.path, "S1");
    form.Prefill(f.project);
    for (auto it = valid_sample_fields().begin(); it != valid_sample_fields().end(); ++it) {
        form.Set(it.key(), it.value());
    }
    form.SetRange(10, 120);
    ASSERT_TRUE(form.Store(f.project));
    ASSERT_TRUE(SampleDataProcessor(f.project).ProcessData("cruise1_st01"));

    DlgCreateSample missing(&f.project);
    dialogs.expect(QMessageBox::Ok);
    EXPECT_FALSE(missing.OpenForSample("cruise1_st09"));
    EXPECT_EQ(dialogs.seen.back().text, "This sample doesn't exist in the sample header file.");

    DlgCreateSample dlg(&f.project);
    edit(dlg, "endimg", "50"); // before opening: replaced by the sample's own range
    dialogs.expect(QMessageBox::Apply);
    ASSERT_TRUE(dlg.OpenForSample("cruise1_st01"));
    EXPECT_EQ(dialogs.seen.back().title, "Last processed image");
    EXPECT_EQ(dialogs.seen.back().text, "The last image currently processed is #120");
    EXPECT_EQ(dialogs.seen.back().labels.value(QMessageBox::Apply), "Use it");
    EXPECT_EQ(dlg.GET("endimg"), "120");
    EXPECT_DOUBLE_EQ(dlg.FirstLine(), 10);

    dialogs.expect(QMessageBox::Cancel);
    click(dlg, "btDeleteSample");
    EXPECT_EQ(dialogs.seen.back().title, "Delete sample ?");
    EXPECT_EQ(f.project.SampleHeader().RowCount(), 1);
    dialogs.expect(QMessageBox::Yes);
    click(dlg, "btDeleteSample");
    EXPECT_EQ(f.project.SampleHeader().RowCount(), 0);
    EXPECT_FALSE(QFileInfo::exists(f.path + "/maridata/cruise1_st01"));
}

TEST(FPrjSample, TableTooltipsAndQueuedWork) {
    Fixture f;
    ScriptedDialogs dialogs;
    write_file(f.path + "/meta/kelvo6_header_sn000120lp_2024_cast.txt",
               "cruise;filename;profileid;firstimage;endimg;sampletype;latitude\n"
               "c;S1;a1;0;100;P;1.5\nc;S1;t1;101;300;T\n");
    f.project.Load(f.path);
    CThWorker worker;
    SampleTasks::install(worker);
    ExportTasks::install(worker);
    FPrjSample page(&f.project, &worker);
    const modelPrjSample* m = page.Model();
    ASSERT_EQ(m->rowCount(), 2);
    EXPECT_EQ(m->RowTexts(0), QStringList({"a1", "S1", "", "", "1.5", "", "0", "100", "Depth", "No", "No"}));
    EXPECT_EQ(m->RowTexts(1), QStringList({"t1", "S1", "", "", "", "", "101", "300", "Time", "No", "No"}));
    EXPECT_EQ(m->headerData(4, Qt::Horizontal, Qt::ToolTipRole).toString(), "Latitude");
    EXPECT_EQ(m->headerData(9, Qt::Horizontal, Qt::ToolTipRole).toString(), "Data processed");
    EXPECT_FALSE(m->headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());

    // "Process data" queues the Data task; the table shows its archive once it ran.
    std::vector<QString> outcomes;
    QObject::connect(
        &worker, &CThWorker::TaskFinished, &page, [&](KelvoTaskInfoPtr t) { outcomes.push_back(t->outcome); },
        Qt::QueuedConnection);
    ASSERT_TRUE(page.SelectSample("a1"));
    click(page, "btprocessdataselected");
    ASSERT_TRUE(wait_until([&] { return m->RowTexts(0).value(9) == "Yes"; }));
    EXPECT_EQ(outcomes, std::vector<QString>{"Particules a1 done!!"});

    // The ODV export is queued and says why it cannot be made of a sample without calibration;
    // the chart says so at once, and the viewer that the sequence has no images.
    click(page, "btExportODV");
    ASSERT_TRUE(wait_until([&] { return outcomes.size() == 2; }));
    EXPECT_EQ(outcomes[1],
              "Warn: Export ODV a1 : Sample a1 lacks a calibration: aa, exp and volimage must be numbers");
    dialogs.expect(QMessageBox::Ok);
    click(page, "btViewChart");
    ASSERT_FALSE(dialogs.seen.empty());
    EXPECT_EQ(dialogs.seen.back().title, "View chart");
    EXPECT_EQ(dialogs.seen.back().text,
              "Sample a1 lacks a calibration: aa, exp and volimage must be numbers");
    click(page, "btViewVignettes");
    auto* viewer = page.findChild<DlgViewVignettes*>();
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(viewer->message(), "Images are not yet processed or missing\n");
    viewer->close();

    // The header changed by another hand is shown on refresh and on SamplesUpdated.
    f.project.SampleHeader().RemoveRow(1);
    Q_EMIT f.project.SamplesUpdated();
    EXPECT_EQ(m->rowCount(), 1);
}

// "Create sample" on the sequences page opens the sample dialog on the selected sequence.
TEST(FPrjSample, CreateSampleFromTheSequencesPageOpensTheDialog) {
    Fixture f;
    ScriptedDialogs dialogs;
    QWidget window;
    FPrjSeq sequences(&f.project);
    MainFlows::Parts parts;
    parts.window = &window;
    parts.project = &f.project;
    parts.sequencesPage = &sequences;
    MainFlows flows(parts);
    ASSERT_TRUE(sequences.SelectSequence("S1"));
    QString seen;
    QTimer::singleShot(0, [&] {
        if (auto* dlg = qobject_cast<DlgCreateSample*>(QApplication::activeModalWidget())) {
            seen = dlg->GET("filename");
            dlg->reject();
        }
    });
    click(sequences, "BtCreateSample");
    EXPECT_EQ(seen, "S1");
    EXPECT_TRUE(dialogs.seen.empty());
}
