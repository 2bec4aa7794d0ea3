// The programming windows offscreen against the simulator: the menu refusals, a preset page from
// its values to the instrument, its preview, the connection check's comparison, and the project
// dialog.
#include "device/InterfaceCamera.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "params/DlgParamViewer.h"
#include "params/DlgTimetableViewer.h"
#include "programming/FParamFreeFile.h"
#include "programming/FParamPreset.h"
#include "programming/ParamMgt.h"
#include "programming/ProgrammingActions.h"
#include "programming/ShippedData.h"
#include "programming/dlgeditprojet.h"
#include "project/Project.h"
#include "sim/Kelvo6Simulator.h"
#include "support/LogCapture.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

#include <gtest/gtest.h>

#include <memory>

using kelvotest::ScriptedDialogs;

namespace {

template <typename T> T* top_level(const QString& name) {
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->objectName() == name && w->isVisible()) {
            return qobject_cast<T*>(w);
        }
    }
    return nullptr;
}

class ProgrammingPagesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ShippedData::setFolderOverride("templates", kelvotest::source_dir() + "/templates");
        ShippedData::setFolderOverride("modele", kelvotest::source_dir() + "/modele");
        window = std::make_unique<QWidget>();
        for (const char* name :
             {"actionALS_Sea_Explorer", "actionCTD_Mode", "actionTIME_Mode", "actionCreate_new_project"}) {
            auto* a = new QAction(window.get());
            a->setObjectName(name);
        }
        camera = std::make_unique<InterfaceCamera>();
        actions = std::make_unique<ProgrammingActions>(window.get(), camera.get(), &project,
                                                       [this](const QString& p) { return project.Load(p); });
    }
    void TearDown() override {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            if (w->isVisible()) {
                w->close();
            }
        }
        actions.reset();
        close_comm();
        if (sim) {
            sim->stop();
        }
        set_instrument_variant(QString());
        ShippedData::setFolderOverride("templates", QString());
        ShippedData::setFolderOverride("modele", QString());
    }

    void connectInstrument() {
        sim = std::make_unique<Kelvo6Simulator>();
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        ASSERT_TRUE(camera->connectAndIdentify());
    }

    void openProject() {
        const QString path = kelvotest::make_temp_dir(QStringLiteral("gui")) + "/kelvo6_snk6lp-0001_2024_gui";
        QDir().mkpath(path + "/config");
        ASSERT_TRUE(project.Load(path)) << project.LastError().toStdString();
    }

    void trigger(const char* action) { window->findChild<QAction*>(action)->trigger(); }

    std::unique_ptr<QWidget> window;
    std::unique_ptr<InterfaceCamera> camera;
    std::unique_ptr<Kelvo6Simulator> sim;
    Project project;
    std::unique_ptr<ProgrammingActions> actions;
};

} // namespace

TEST_F(ProgrammingPagesTest, MenuRefusalsThenConnectionCheck) {
    ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    trigger("actionALS_Sea_Explorer");
    connectInstrument();
    dialogs.expect(QMessageBox::Ok);
    trigger("actionALS_Sea_Explorer");
    openProject();
    dialogs.expect(QMessageBox::Ok);
    trigger("actionCTD_Mode"); // the simulator has no pressure sensor
    ASSERT_EQ(dialogs.seen.size(), 3u);
    const char* texts[] = {"No device found, you can't do programmation.",
                           "No active project, you can't do programmation.",
                           "Pressure sensor required for CTD Mode."};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(dialogs.seen[i].title, "Unable to do Programmation");
        EXPECT_EQ(dialogs.seen[i].text, texts[i]);
    }
    EXPECT_EQ(top_level<QWidget>("FParamCtd"), nullptr);

    // The connection check: the project lacks the instrument's parameters until they replace its own.
    EXPECT_EQ(actions->compareWithProject(), "HW_CONF : Missing\n");
    actions->replaceProjectParameters();
    EXPECT_EQ(actions->compareWithProject(), "");
}

TEST_F(ProgrammingPagesTest, AlsPageChecksPreviewsAndPrograms) {
    connectInstrument();
    openProject();
    ScriptedDialogs dialogs;
    trigger("actionALS_Sea_Explorer");
    auto* page = top_level<FParamPreset>("FParamALS");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->windowTitle(), "ALS Sea Explorer Parameter program");
    auto* save1 = qobject_cast<QCheckBox*>(page->field("cbSave1"));
    auto* interval1 = qobject_cast<QLineEdit*>(page->field("edInterval1"));
    ASSERT_TRUE(save1 && interval1);
    EXPECT_TRUE(save1->isChecked()); // the template saves vignettes in CUST_1
    save1->setChecked(false);
    interval1->setText("300");

    dialogs.expect(QMessageBox::Ok);
    page->findChild<QPushButton*>("btProgSensor")->click();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Invalid values");
    EXPECT_EQ(dialogs.seen[0].text,
              "Out of range value for integer Interval_for_measuring_background_noise : 0<=300<=255");
    EXPECT_TRUE(sim->slotFields(8).isEmpty());

    interval1->setText("12");
    page->findChild<QPushButton*>("btHWPreview")->click();
    auto* preview = page->findChild<DlgParamViewer*>();
    ASSERT_NE(preview, nullptr);
    EXPECT_EQ(preview->windowTitle(), "Hardware parameter preview");
    preview->show();
    QTableWidget* rows = preview->table();
    for (int r = 0; r + 1 < rows->rowCount(); ++r) {
        EXPECT_GE(rows->rowHeight(r), rows->fontMetrics().height()) << r;
    }
    const auto pressure = rows->findItems("Pressure_offset", Qt::MatchExactly);
    ASSERT_EQ(pressure.size(), 1);
    EXPECT_EQ(rows->item(pressure[0]->row(), 1)->text(), "-0.200");
    preview->close();

    dialogs.expect(QMessageBox::Ok);
    page->findChild<QPushButton*>("btProgSensor")->click();
    ASSERT_EQ(dialogs.seen.size(), 2u);
    EXPECT_EQ(dialogs.seen[1].title, "Programmation Done");
    EXPECT_EQ(dialogs.seen[1].text, "Kelvo6 programmed and previous settings archived");
    EXPECT_EQ(sim->slotFields(8).value(0), "ACQ_ALS_CUST_1");
    EXPECT_EQ(sim->slotFields(8).value(10), "0");
    EXPECT_EQ(sim->slotFields(8).value(13), "12");
    EXPECT_TRUE(QFileInfo::exists(project.Path() + "/config/ACQ_ALS_CUST_1.txt"));
    EXPECT_FALSE(page->isVisible());

    // Opened again, the page shows what the instrument now holds.
    trigger("actionALS_Sea_Explorer");
    page = top_level<FParamPreset>("FParamALS");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(qobject_cast<QLineEdit*>(page->field("edInterval1"))->text(), "12");
    EXPECT_FALSE(qobject_cast<QCheckBox*>(page->field("cbSave1"))->isChecked());
}

TEST_F(ProgrammingPagesTest, ProjectDialogAsksForMissingPeopleThenCreates) {
    ScriptedDialogs dialogs;
    const QString parent = kelvotest::make_temp_dir(QStringLiteral("dlg"));
    QString opened;
    dlgeditprojet dlg(dlgeditprojet::Mode::Create, &project, ParamMgt::instance(), camera.get(),
                      [&](const QString& p) {
                          opened = p;
                          return project.Load(p);
                      });
    dlg.edit("acron")->setText("My Cruise");
    dlg.edit("year")->setText("2021");
    dlg.edit("sn")->setText("000120LP");
    dlg.parentFolder()->setText(parent);

    dialogs.expect(QMessageBox::No);
    dlg.findChild<QPushButton*>("btsavemetadata")->click();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Missing data");
    EXPECT_EQ(dialogs.seen[0].defaultButton, QMessageBox::Cancel);
    EXPECT_TRUE(QDir(parent).isEmpty());

    dialogs.expect(QMessageBox::Yes);
    dlg.findChild<QPushButton*>("btsavemetadata")->click();
    const QString path = parent + "/kelvo6_sn000120lp_2021_my_cruise";
    EXPECT_EQ(opened, path);
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    EXPECT_TRUE(QFileInfo::exists(path + "/config/cruise_info.txt"));
    EXPECT_EQ(dlg.folderLabel()->text(), "kelvo6_sn000120lp_2021_my_cruise\n\nFolder name OK");
}

TEST_F(ProgrammingPagesTest, TimePageEditsItsTimetableAndProgramsIt) {
    connectInstrument();
    openProject();
    kelvotest::write_file(project.Path() + "/config/timetable.txt", "2024 * * * 10 * ACQ_TIME_DAY 60\n");
    ScriptedDialogs dialogs;
    kelvotest::LogCapture log;
    trigger("actionTIME_Mode");
    auto* page = top_level<FParamPreset>("FParamTime");
    ASSERT_NE(page, nullptr);
    ASSERT_NE(page->grid(), nullptr);
    EXPECT_EQ(page->grid()->columnCount(), 1);
    EXPECT_EQ(page->grid()->horizontalHeaderItem(0)->text(), "Conf ACQ_TIME_DAY");

    // The editor renames the configuration; the page then edits the renamed one.
    QTimer::singleShot(0, [] {
        auto* editor = qobject_cast<DlgTimetableViewer*>(QApplication::activeModalWidget());
        ASSERT_NE(editor, nullptr);
        EXPECT_EQ(editor->windowTitle(), "TIME Mode Timetable edition");
        editor->table()->item(0, 6)->setText("ACQ_TIME_NEW");
        editor->findChild<QPushButton*>("btSaveChanges")->click();
    });
    page->findChild<QPushButton*>("btEditTimetable")->click();
    EXPECT_EQ(page->grid()->horizontalHeaderItem(0)->text(), "Conf ACQ_TIME_NEW");
    bool logged = false;
    for (const QString& t : log.Texts()) {
        logged = logged || t.startsWith("ParamTIME|2|AcqName=ACQ_TIME_NEW at pos 0 = ");
    }
    EXPECT_TRUE(logged);

    page->grid()->item(1, 0)->setText("25"); // Frames_per_bloc
    dialogs.expect(QMessageBox::Ok);
    page->findChild<QPushButton*>("btProgSensor")->click();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Programmation Done") << dialogs.seen[0].text.toStdString();
    ASSERT_EQ(sim->timetable().size(), 1);
    EXPECT_TRUE(sim->timetable()[0].contains("ACQ_TIME_NEW"));
    EXPECT_EQ(sim->slotFields(0).value(0), "ACQ_TIME_NEW");
    EXPECT_EQ(sim->slotFields(0).value(3), "25");
}

TEST_F(ProgrammingPagesTest, FreeFileUploadsWithTheOverrideBoxes) {
    connectInstrument();
    openProject();
    const QString file = project.Path() + "/config/mine.txt";
    kelvotest::write_file(file, "Light_ref = LU-9999\nShutter = 200\nThreshold = 9\n");
    ScriptedDialogs dialogs;
    FParamFreeFile page(camera.get(), project.Path() + "/config");
    dialogs.expectFile(file);
    page.findChild<QPushButton*>("btHWFile")->click();
    EXPECT_EQ(dialogs.fileRequests.at(0).caption, "Select HW File");
    EXPECT_EQ(dialogs.fileRequests.at(0).filter, "*.txt");
    auto* serials = page.findChild<QCheckBox*>("cbOverideSerials");
    ASSERT_NE(serials, nullptr);
    EXPECT_EQ(serials->text(), "Overide Serial Numbers");
    serials->setChecked(true); // the light reference from the file, the sensor settings kept

    dialogs.expect(QMessageBox::Ok);
    page.findChild<QPushButton*>("btUploadHW")->click();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Update done");
    EXPECT_EQ(dialogs.seen[0].text, "HW Parameter updated");
    const QStringList hw = sim->hardwareFields();
    EXPECT_EQ(hw.value(4), "LU-9999");
    EXPECT_EQ(hw.value(15), "100"); // Shutter: an instrument setting, kept
}
