#include "project/FPrjSeq.h"
#include "project/Project.h"
#include "project/modelPrjSeq.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using kelvotest::ScriptedDialogs;
using kelvotest::write_file;

namespace {

// A project with three sequences: seqA has a sample, seqB has a data file of three rows and no
// images.zip, seqC has only its images.zip. A data file named after another sequence, a loose
// file in raw/ and a sample whose name only looks like " seqB" count for nothing.
QString make_project() {
    const QString path = kelvotest::make_temp_dir(QStringLiteral("page")) + "/kelvo6_sn000120lp_2020_page";
    QDir().mkpath(path + "/config");
    write_file(path + "/raw/seqA/seqA_data.txt", "20200101-000000,1,1,1:x\n");
    write_file(path + "/raw/seqA/images.zip", "PK");
    write_file(path + "/raw/seqB/seqB_data.txt", "HW_CONF,000120LP,1,x\n"
                                                 "20200101-000000,1,1,1:x\n"
                                                 "20200101-000001,1,1,0:x\n"
                                                 "20200101-000002,1,1,1:x\n");
    write_file(path + "/raw/seqB/seqB_synthetic.txt", "s");
    write_file(path + "/raw/seqC/images.zip", "PK");
    write_file(path + "/raw/seqC/seqA_data.txt", "20200101-000000,1,1,1:x\n");
    write_file(path + "/raw/loose_file.txt", "not a sequence");
    write_file(path + "/meta/kelvo6_header_sn000120lp_2020_page.txt",
               "cruise;filename;profileid\nc;seqA;page_a1\nc; seqB;page_b0\n");
    return path;
}

QStringList table_lines(const FPrjSeq& page) {
    const QAbstractItemModel* m = page.View()->model();
    QStringList lines;
    for (int r = 0; r < m->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < m->columnCount(); ++c) {
            cells << m->data(m->index(r, c)).toString();
        }
        lines << cells.join(' ');
    }
    lines.sort();
    return lines;
}

void click(FPrjSeq& page, const char* button) {
    auto* b = page.findChild<QPushButton*>(QLatin1String(button));
    ASSERT_NE(b, nullptr) << button;
    QTest::mouseClick(b, Qt::LeftButton);
}

} // namespace

TEST(FPrjSeq, DeletionAsksWithTheRowCountAndOnlyYesDeletes) {
    const QString ask =
        QStringLiteral("Do you want to delete sequence %1\nThis operation is irreversible and may "
                       "cause data loss.\n\nData file contains %2 rows");
    const struct {
        const char* seq;
        QMessageBox::StandardButton answer;
        QString text; // of a warning asking Yes, No or Cancel; "" for seqA's critical box
    } cases[] = {{"seqA", QMessageBox::Ok, ""},
                 {"seqB", QMessageBox::No, ask.arg("seqB").arg(3)},
                 {"seqB", QMessageBox::Cancel, ask.arg("seqB").arg(3)},
                 {"seqB", QMessageBox::Yes, ask.arg("seqB").arg(3)},
                 {"seqC", QMessageBox::Yes, ask.arg("seqC").arg(0)}};
    for (const auto& c : cases) {
        ScriptedDialogs dialogs;
        Project project;
        FPrjSeq page(&project);
        const QString path = make_project();
        ASSERT_TRUE(project.Load(path));
        ASSERT_TRUE(page.SelectSequence(c.seq));
        dialogs.expect(c.answer);
        click(page, "btdelete");
        ASSERT_EQ(dialogs.seen.size(), 1u);
        const UiDialogRequest& r = dialogs.seen[0];
        if (c.text.isEmpty()) {
            EXPECT_EQ(r.icon, QMessageBox::Critical);
            EXPECT_EQ(r.title, "Delete sequence!!!");
            EXPECT_EQ(r.text,
                      "It's impossible to delete a sequence with an associated sample, delete it first.");
        } else {
            EXPECT_EQ(r.icon, QMessageBox::Warning);
            EXPECT_EQ(r.title, "Delete sequence");
            EXPECT_EQ(r.text, c.text);
            EXPECT_EQ(r.buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
            EXPECT_EQ(r.defaultButton, QMessageBox::Cancel);
        }
        const bool deleted = c.answer == QMessageBox::Yes;
        EXPECT_EQ(QFileInfo::exists(path + "/raw/" + c.seq), !deleted) << c.seq << " " << c.answer;
        EXPECT_EQ(page.View()->model()->rowCount(), deleted ? 2 : 3);
        EXPECT_TRUE(QFileInfo::exists(path + "/raw/seqA/seqA_data.txt"));
    }
}

TEST(FPrjSeq, ButtonsAskForTheirFeatures) {
    ScriptedDialogs dialogs; // no dialog expected
    Project project;
    FPrjSeq page(&project);
    ASSERT_TRUE(project.Load(make_project()));
    QSignalSpy create(&page, &FPrjSeq::CreateSampleRequested);
    QSignalSpy zip(&page, &FPrjSeq::ZipVignettesRequested);
    QSignalSpy merge(&page, &FPrjSeq::MergeSequencesRequested);

    click(page, "btdelete"); // nothing selected: nothing asked
    click(page, "BtCreateSample");
    EXPECT_EQ(create.count(), 0);

    click(page, "btMakeZipVignetteAll");
    ASSERT_EQ(zip.count(), 1);
    EXPECT_EQ(zip.takeFirst().at(0).toStringList(), QStringList({"seqB"}));

    ASSERT_TRUE(page.SelectSequence("seqC"));
    click(page, "btMakeZipVignette");
    ASSERT_EQ(zip.count(), 1);
    EXPECT_EQ(zip.takeFirst().at(0).toStringList(), QStringList({"seqC"}));

    click(page, "BtCreateSample");
    ASSERT_EQ(create.count(), 1);
    EXPECT_EQ(create.takeFirst().at(0).toString(), "seqC");

    const int rowA = page.Model()->RowOf("seqA");
    page.on_tableView_doubleClicked(page.Model()->index(rowA, 2));
    ASSERT_EQ(create.count(), 1);
    EXPECT_EQ(create.takeFirst().at(0).toString(), "seqA");

    click(page, "BtMergeSequence");
    EXPECT_EQ(merge.count(), 1);
}

TEST(FPrjSeq, TableFollowsTheProjectAndRefreshKeepsTheSelection) {
    Project project;
    FPrjSeq page(&project);
    EXPECT_EQ(page.View()->model()->rowCount(), 0);
    const QString path = make_project();
    ASSERT_TRUE(project.Load(path));
    EXPECT_EQ(table_lines(page), QStringList({"seqA Y N Y 1", "seqB Y Y N 0", "seqC N N Y 0"}));
    ASSERT_TRUE(page.SelectSequence("seqB"));
    const QString longName = "20240301-062622_station_A12_cast_03_seqD";
    ASSERT_TRUE(write_file(path + "/raw/" + longName + "/" + longName + "_data.txt", "x"));
    click(page, "btRefresh");
    EXPECT_EQ(table_lines(page),
              QStringList({longName + " Y N N 0", "seqA Y N Y 1", "seqB Y Y N 0", "seqC N N Y 0"}));
    EXPECT_EQ(page.SelectedSequence(), "seqB");
    // The longest name is shown whole.
    const QAbstractItemView* cells = page.View(); // where the size hint is public
    EXPECT_LE(cells->sizeHintForColumn(0), page.View()->columnWidth(0));

    project.SampleHeader().AddRow({"c", "seqB", "page_b1"});
    Q_EMIT project.SamplesUpdated();
    EXPECT_EQ(table_lines(page),
              QStringList({longName + " Y N N 0", "seqA Y N Y 1", "seqB Y Y N 1", "seqC N N Y 0"}));
    project.Close();
    EXPECT_EQ(page.View()->model()->rowCount(), 0);
}
