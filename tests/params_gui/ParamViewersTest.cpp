#include "QtPrinters.h"
#include "params/DlgAcqParamViewer.h"
#include "params/DlgParamViewer.h"
#include "params/ParamSets.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "terminal/TermPrint.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

namespace {

ParamHelp help_from(const char* json, const char* group) {
    const QString path = kelvotest::make_temp_dir("help") + "/kelvoappmsg.json";
    kelvotest::write_file(path, json);
    return ParamHelp::fromFile(path, group, "test");
}

QString cell(const QTableWidget* t, int r, int c) {
    const QTableWidgetItem* item = t->item(r, c);
    return item != nullptr ? item->text() : QStringLiteral("<none>");
}

QStringList headers(const QTableWidget* t) {
    QStringList out;
    for (int c = 0; c < t->columnCount(); ++c) {
        out << t->horizontalHeaderItem(c)->text();
    }
    return out;
}

} // namespace

TEST(DlgParamViewer, RowsValuesHelpAndTheEmptyLastRow) {
    ParamTable hw;
    build_hw_params(hw);
    ASSERT_EQ(SetParamFromText(hw, "Gain", "12"), "");
    DlgParamViewer dlg;
    dlg.setHelp(help_from("{\"hw\": {\"Camera_ref\": \"serial number\", \"Gain\": 12}}", "hw"));
    dlg.setTable(hw, "Loaded VORTAN Hardware Configuration");
    QTableWidget* t = dlg.table();
    EXPECT_EQ(headers(t), (QStringList{"Name", "Value", "Documentation"}));
    ASSERT_EQ(t->rowCount(), 26);
    EXPECT_EQ(cell(t, 0, 0), "Camera_ref");
    EXPECT_EQ(cell(t, 0, 1), "UNDEFINED");
    EXPECT_EQ(cell(t, 0, 2), "serial number");
    EXPECT_EQ(t->item(0, 0)->toolTip(), "serial number");
    EXPECT_EQ(cell(t, 9, 0), "Pressure_offset");
    EXPECT_EQ(cell(t, 9, 1), "999.000");
    EXPECT_EQ(cell(t, 16, 0), "Gain");
    EXPECT_EQ(cell(t, 16, 1), "12");
    EXPECT_EQ(cell(t, 16, 2), "?");
    EXPECT_EQ(t->item(16, 0)->toolTip(), "?");
    EXPECT_EQ(cell(t, 24, 0), "Operator_email");
    EXPECT_EQ(cell(t, 25, 0), "<none>");
    EXPECT_EQ(dlg.windowTitle(), "Loaded VORTAN Hardware Configuration");
    EXPECT_EQ(dlg.label()->text(), "Loaded VORTAN Hardware Configuration");
    EXPECT_EQ(t->editTriggers(), QAbstractItemView::NoEditTriggers);
}

TEST(DlgParamViewer, DoubleClickShowsDetailsAndCopyFillsTheClipboard) {
    ParamTable hw;
    build_hw_params(hw);
    DlgParamViewer dlg;
    dlg.setHelp(help_from("{\"hw\": {\"Shutter\": \"exposure time\"}}", "hw"));
    dlg.setTable(hw, "HW");
    kelvotest::ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    emit dlg.table()->cellDoubleClicked(15, 1);
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "HW Param details");
    EXPECT_EQ(dialogs.seen[0].text, "Shutter=100\nexposure time");
    // The empty last row has nothing to detail.
    emit dlg.table()->cellDoubleClicked(25, 0);
    EXPECT_EQ(dialogs.seen.size(), 1u);

    dlg.findChild<QPushButton*>("btCopy")->click();
    const QString text = QApplication::clipboard()->text();
    const QStringList lines = text.split('\n');
    ASSERT_EQ(lines.size(), 27); // 26 rows, each ended by a newline
    EXPECT_EQ(lines[0], "Camera_ref\tUNDEFINED\t?");
    EXPECT_EQ(lines[15], "Shutter\t100\texposure time");
    EXPECT_EQ(lines[25], "\t\t");
    EXPECT_EQ(lines[26], "");
}

TEST(DlgParamViewer, MissingHelpFileStillOpensWithQuestionMarks) {
    ParamTable hw;
    build_hw_params(hw);
    DlgParamViewer dlg;
    dlg.setHelp(ParamHelp::fromFile(kelvotest::make_temp_dir("nohelp") + "/kelvoappmsg.json", "hw",
                                    "DlgParamViewer"));
    dlg.setTable(hw, "HW");
    EXPECT_EQ(cell(dlg.table(), 0, 2), "?");
    EXPECT_EQ(dlg.table()->item(3, 0)->toolTip(), "?");
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

TEST(DlgAcqParamViewer, ThreeTablesFillThreeColumns) {
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
    EXPECT_EQ(headers(t), (QStringList{"Name", "Conf 0", "Conf 1", "Conf 2", "Conf 3", "Conf 4", "Conf 5",
                                       "Conf 6", "Conf 7", "Conf 8", "Conf 9"}));
    ASSERT_EQ(t->rowCount(), 20);
    EXPECT_EQ(cell(t, 0, 0), "Configuration_name");
    EXPECT_EQ(cell(t, 0, 1), "ACQ_0");
    EXPECT_EQ(cell(t, 0, 3), "ACQ_2");
    EXPECT_EQ(cell(t, 2, 3), "12.500");
    EXPECT_EQ(cell(t, 2, 1), "1.000");
    EXPECT_EQ(cell(t, 7, 0), "Result_sending");
    EXPECT_EQ(cell(t, 7, 1), "true");
    EXPECT_EQ(cell(t, 7, 2), "false");
    EXPECT_EQ(t->item(1, 0)->toolTip(), "pressure source");
    EXPECT_EQ(t->item(0, 0)->toolTip(), "?");
    for (int c = 4; c <= 10; ++c) {
        EXPECT_EQ(cell(t, 0, c), "<none>") << c;
    }
    EXPECT_EQ(cell(t, 19, 0), "Operator_email");
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
    EXPECT_EQ(cell(dlg.table(), 0, 10), "CONFNAME");
}
