// The merge dialog on a project: its table, its refusal boxes, a group merged from the
// automatic tab, a manual merge and the restoring of used sources.
#include "tools/DlgMergeSequence.h"
#include "project/Project.h"
#include "support/LogCapture.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>

#include <gtest/gtest.h>

using kelvotest::ScriptedDialogs;
using kelvotest::write_file;

namespace {

QString make_project() {
    const QString path = kelvotest::make_temp_dir(QStringLiteral("dlg")) + "/kelvo6_sn000120lp_2020_dlg";
    QDir().mkpath(path + "/config");
    const char* names[] = {"20200101-000000_a", "20200101-000030_b", "20200101-000100_c",
                           "20200102-000000_d"};
    for (const char* n : names) {
        write_file(path + "/raw/" + n + "/" + n + "_data.txt",
                   "ACQ_CONF,ACQ_DEEP,1,2.0,10,1,0,0,1,0,100,2,1000,1.0,0,10,0,1000,0,40,op@example.org;\n"
                   "20200101-000000,1,1,1:x\n");
    }
    return path;
}

template <typename T> T* child(QWidget& w, const char* name) {
    T* c = w.findChild<T*>(QLatin1String(name));
    EXPECT_NE(c, nullptr) << name;
    return c;
}

void click(QWidget& w, const char* name) {
    if (auto* b = child<QPushButton>(w, name)) {
        b->click();
    }
}

QStringList rows(QTableWidget* t) {
    QStringList lines;
    for (int r = 0; r < t->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < t->columnCount(); ++c) {
            cells << t->item(r, c)->text();
        }
        lines << cells.join('|');
    }
    return lines;
}

} // namespace

TEST(DlgMergeSequence, AutomaticAndManualMerges) {
    const QString path = make_project();
    Project project;
    ASSERT_TRUE(project.Load(path));
    DlgMergeSequence dlg(&project);
    QSignalSpy changed(&dlg, &DlgMergeSequence::SequencesChanged);
    auto* tbl = child<QTableWidget>(dlg, "tbl");
    EXPECT_EQ(tbl->horizontalHeaderItem(1)->text(), "Lpm,Vig,Save,Ratio");
    child<QCheckBox>(dlg, "cbBreakVig")->setChecked(false);
    child<QCheckBox>(dlg, "cbBreakAppratio")->setChecked(false);
    EXPECT_EQ(tbl->horizontalHeaderItem(1)->text(), "Lpm,Save");
    child<QLineEdit>(dlg, "edMaxTimeBetween")->setText("60");
    click(dlg, "btRefresh");
    EXPECT_EQ(rows(tbl), (QStringList{"20200101-000000_a|100,2||20200101-000000_a_Merged-003",
                                      "20200101-000030_b|100,2|30|20200101-000000_a_Merged-003",
                                      "20200101-000100_c|100,2|30|20200101-000000_a_Merged-003",
                                      "20200102-000000_d|100,2|86340|"}));

    ScriptedDialogs dialogs;
    const std::pair<int, const char*> refusals[] = {
        {-1, "No selection|You must select a sequence to merge first"},
        {3, "Not enougth sample|There's not enought sequence to merge"}};
    for (const auto& [row, box] : refusals) {
        tbl->clearSelection();
        if (row >= 0) {
            tbl->selectRow(row);
        }
        dialogs.expect(QMessageBox::Ok);
        click(dlg, "btMergeSequenceAuto");
        ASSERT_FALSE(dialogs.seen.empty());
        EXPECT_EQ(dialogs.seen.back().title + "|" + dialogs.seen.back().text, box);
    }
    tbl->selectRow(1); // any row of the group merges the whole group
    click(dlg, "btMergeSequenceAuto");
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(QFileInfo::exists(path + "/raw/20200101-000000_a_Merged-003/Merge.log"));
    EXPECT_TRUE(QFileInfo::exists(path + "/raw/20200101-000100_c_UsedForMerge"));
    EXPECT_EQ(rows(tbl), (QStringList{"20200102-000000_d|100,2||"})) << "merged and used sequences hidden";

    // Manual mode: the used sources shown again, two picked, a name required.
    child<QCheckBox>(dlg, "cbHideUsedSequence")->setChecked(false);
    click(dlg, "btRefresh");
    auto* left = child<QListWidget>(dlg, "LBGauche");
    auto* right = child<QListWidget>(dlg, "LBDroite");
    ASSERT_EQ(left->count(), 4);
    click(dlg, "btRemoveMergeRows");
    ASSERT_EQ(left->count(), 1);
    left->item(0)->setSelected(true);
    click(dlg, "btAddToMerge");
    dialogs.expect(QMessageBox::Ok);
    click(dlg, "btMergeSequence");
    EXPECT_EQ(dialogs.seen.back().title + "|" + dialogs.seen.back().text,
              "Sequences required|You must select at least 2 sequences");
    click(dlg, "btRefresh");
    for (int i = 0; i < 2; ++i) {
        left->item(0)->setSelected(true);
        click(dlg, "btAddToMerge");
    }
    ASSERT_EQ(right->count(), 2);
    dialogs.expect(QMessageBox::Ok);
    click(dlg, "btMergeSequence");
    EXPECT_EQ(dialogs.seen.back().title + "|" + dialogs.seen.back().text,
              "Destination Sequence name required|You must provide a merged sequence name");
    child<QLineEdit>(dlg, "edMergedName")->setText("by_hand");
    click(dlg, "btMergeSequence");
    EXPECT_EQ(changed.count(), 2);
    EXPECT_TRUE(QFileInfo::exists(path + "/raw/by_hand/by_hand_data.txt"));
    EXPECT_TRUE(QFileInfo::exists(path + "/raw/20200101-000000_a_UsedForMerge")) << "already marked: kept";

    // Restoring: the marked names of the right-hand list get their names back.
    click(dlg, "btRefresh");
    while (left->count() > 0) {
        left->item(0)->setSelected(true);
        click(dlg, "btAddToMerge");
    }
    click(dlg, "btRestoreUsed");
    EXPECT_EQ(dialogs.seen.size(), 4u) << "restoring asks nothing";
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    EXPECT_EQ(QDir(path + "/raw").entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name),
              (QStringList{"20200101-000000_a", "20200101-000000_a_Merged-003", "20200101-000030_b",
                           "20200101-000100_c", "20200102-000000_d", "by_hand"}));
}
