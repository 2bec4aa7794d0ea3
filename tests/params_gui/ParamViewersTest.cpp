#include "TableTestSupport.h"
#include "params/DlgAcqParamViewer.h"
#include "params/DlgParamViewer.h"
#include "params/ParamSets.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace {

ParamHelp help_from(const char* json, const char* group) {
    const QString path = kelvotest::make_temp_dir("help") + "/kelvoappmsg.json";
    kelvotest::write_file(path, json);
    return ParamHelp::fromFile(path, group, "test");
}

} // namespace

TEST(DlgParamViewer, RowsHelpDetailsAndCopy) {
    ParamTable hw;
    build_hw_params(hw);
    ASSERT_EQ(SetParamFromText(hw, "Gain", "12"), "");
    DlgParamViewer dlg;
    dlg.setHelp(help_from(
        "{\"hw\": {\"Camera_ref\": \"serial number\", \"Shutter\": \"exposure time\", \"Gain\": 12}}", "hw"));
    dlg.setTable(hw, "Loaded VORTAN Hardware Configuration");
    QTableWidget* t = dlg.table();
    EXPECT_EQ(header_texts(t), (QStringList{"Name", "Value", "Documentation"}));
    // One row per record, root included: the last row stays empty.
    ASSERT_EQ(t->rowCount(), 26);
    EXPECT_EQ(row_texts(t, 0), (QStringList{"Camera_ref", "UNDEFINED", "serial number"}));
    EXPECT_EQ(t->item(0, 0)->toolTip(), "serial number");
    EXPECT_EQ(row_texts(t, 16), (QStringList{"Gain", "12", "?"}));
    EXPECT_EQ(t->item(16, 0)->toolTip(), "?");
    EXPECT_EQ(row_texts(t, 24)[0], "Operator_email");
    EXPECT_EQ(row_texts(t, 25), (QStringList{"<none>", "<none>", "<none>"}));
    EXPECT_EQ(dlg.windowTitle(), "Loaded VORTAN Hardware Configuration");
    EXPECT_EQ(dlg.label()->text(), "Loaded VORTAN Hardware Configuration");
    EXPECT_EQ(t->editTriggers(), QAbstractItemView::NoEditTriggers);

    kelvotest::ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    emit t->cellDoubleClicked(15, 1);
    emit t->cellDoubleClicked(25, 0); // the empty last row has nothing to detail
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "HW Param details");
    EXPECT_EQ(dialogs.seen[0].text, "Shutter=100\nexposure time");

    dlg.findChild<QPushButton*>("btCopy")->click();
    const QStringList lines = QApplication::clipboard()->text().split('\n');
    ASSERT_EQ(lines.size(), 27); // 26 rows, each ended by a newline
    EXPECT_EQ(lines[0], "Camera_ref\tUNDEFINED\tserial number");
    EXPECT_EQ(lines[15], "Shutter\t100\texposure time");
    EXPECT_EQ(lines[25], "\t\t");
    EXPECT_EQ(lines[26], "");
}

TEST(DlgParamViewer, ViewIsModalAndCloses) {
    ParamTable hw;
    build_hw_params(hw);
    DlgParamViewer dlg;
    bool wasModal = false;
    QTimer::singleShot(0, &dlg, [&] {
        wasModal = dlg.isModal() && dlg.isVisible();
        dlg.findChild<QPushButton*>("btClose")->click();
    });
    dlg.view(hw, "Caption");
    EXPECT_TRUE(wasModal);
    EXPECT_FALSE(dlg.isVisible());
}

TEST(DlgAcqParamViewer, TablesFillTheirSlotColumnsAndTheRestStaysBlank) {
    std::vector<ParamTable> tables(3);
    for (std::size_t i = 0; i < tables.size(); ++i) {
        build_acq_params(tables[i]);
        ASSERT_EQ(SetParamFromText(tables[i], "Configuration_name", "ACQ_" + std::to_string(i)), "");
    }
    ASSERT_EQ(SetParamFromText(tables[2], "Acquisition_frequency", "12.5"), "");
    ASSERT_EQ(SetParamFromText(tables[1], "Result_sending", "0"), "");
    DlgAcqParamViewer dlg;
    dlg.setHelp(help_from("{\"acq\": {\"PT_mode\": \"pressure source\"}}", "acq"));
    dlg.setTables(tables, "Acquisition configurations", "VORTAN Acquisition");
    QTableWidget* t = dlg.table();
    EXPECT_EQ(header_texts(t), (QStringList{"Name", "Conf 0", "Conf 1", "Conf 2", "Conf 3", "Conf 4",
                                            "Conf 5", "Conf 6", "Conf 7", "Conf 8", "Conf 9"}));
    ASSERT_EQ(t->rowCount(), 20);
    QStringList blank; // slots 3 to 9
    while (blank.size() < 7) {
        blank << "<none>";
    }
    EXPECT_EQ(row_texts(t, 0), QStringList({"Configuration_name", "ACQ_0", "ACQ_1", "ACQ_2"}) + blank);
    EXPECT_EQ(row_texts(t, 2), QStringList({"Acquisition_frequency", "1.000", "1.000", "12.500"}) + blank);
    EXPECT_EQ(row_texts(t, 7), QStringList({"Result_sending", "true", "false", "true"}) + blank);
    EXPECT_EQ(row_texts(t, 19)[0], "Operator_email");
    EXPECT_EQ(t->item(1, 0)->toolTip(), "pressure source");
    EXPECT_EQ(t->item(0, 0)->toolTip(), "?");
    EXPECT_EQ(dlg.windowTitle(), "VORTAN Acquisition");
    EXPECT_EQ(dlg.caption()->text(), "Acquisition configurations");
    EXPECT_EQ(dlg.findChild<QLabel*>("lbl")->text(),
              "Parameter help tooltips are displayed when you hold your mouse over the name");

    dlg.findChild<QPushButton*>("btCopy")->click();
    const QStringList lines = QApplication::clipboard()->text().split('\n');
    ASSERT_EQ(lines.size(), 21);
    EXPECT_EQ(lines[0], "Configuration_name\tACQ_0\tACQ_1\tACQ_2\t\t\t\t\t\t\t");
}

TEST(DlgAcqParamViewer, MoreThanTenTablesShowTen) {
    std::vector<ParamTable> tables(12);
    for (ParamTable& t : tables) {
        build_acq_params(t);
    }
    DlgAcqParamViewer dlg;
    dlg.setTables(tables, "c", "t");
    EXPECT_EQ(dlg.table()->columnCount(), 11);
    EXPECT_EQ(row_texts(dlg.table(), 0)[10], "CONFNAME");
}
