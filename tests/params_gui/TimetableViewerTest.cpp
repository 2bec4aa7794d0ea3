#include "TableTestSupport.h"
#include "params/DlgTimetableViewer.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace {

Timetable two_programs() {
    Timetable tt(2);
    EXPECT_TRUE(time_program_from_text("2019 7 * * 20 0 ACQ_TIME_JULY 120", "", tt[0]));
    EXPECT_TRUE(time_program_from_text("* * * 5 6 1 ACQ_TIME_MORN 0", "", tt[1]));
    return tt;
}

void set_cell(QTableWidget* t, int r, int c, const QString& text) {
    t->item(r, c)->setText(text);
}

QPushButton* button(const QDialog& d, const char* name) {
    return d.findChild<QPushButton*>(name);
}

} // namespace

TEST(DlgTimetableViewer, ViewModeShowsProgramsReadOnly) {
    Timetable tt = two_programs();
    DlgTimetableViewer dlg;
    dlg.setTimetable(&tt, "Timetable loaded from VORTAN", false);
    QTableWidget* t = dlg.table();
    EXPECT_EQ(header_texts(t), (QStringList{"Year", "Month", "Day", "WeekDay", "Hour", "Half hour",
                                            "AcqConfig", "Duration (min)"}));
    ASSERT_EQ(t->rowCount(), 2);
    EXPECT_EQ(row_texts(t, 0), (QStringList{"2019", "7", "*", "*", "20", "0", "ACQ_TIME_JULY", "120"}));
    EXPECT_EQ(row_texts(t, 1), (QStringList{"*", "*", "*", "5", "6", "1", "ACQ_TIME_MORN", "0"}));
    EXPECT_EQ(t->editTriggers(), QAbstractItemView::NoEditTriggers);
    EXPECT_EQ(dlg.closeButton()->text(), "Close");
    EXPECT_EQ(dlg.windowTitle(), "Timetable loaded from VORTAN");
    EXPECT_EQ(dlg.label()->text(), "Timetable loaded from VORTAN");

    button(dlg, "btCopy")->click();
    EXPECT_EQ(QApplication::clipboard()->text(), "2019\t7\t*\t*\t20\t0\tACQ_TIME_JULY\t120\n"
                                                 "*\t*\t*\t5\t6\t1\tACQ_TIME_MORN\t0\n");
}

TEST(DlgTimetableViewer, EditAppendDeleteAndSave) {
    Timetable tt = two_programs();
    DlgTimetableViewer dlg;
    dlg.setTimetable(&tt, "Edit", true);
    QTableWidget* t = dlg.table();
    EXPECT_EQ(dlg.closeButton()->text(), "Cancel");
    EXPECT_TRUE(t->editTriggers().testFlag(QAbstractItemView::DoubleClicked));
    EXPECT_TRUE(t->editTriggers().testFlag(QAbstractItemView::AnyKeyPressed));

    button(dlg, "btAppendRow")->click();
    ASSERT_EQ(t->rowCount(), 3);
    EXPECT_EQ(row_texts(t, 2), (QStringList{"*", "*", "*", "*", "*", "*", "ACQ_TIME", ""}));
    set_cell(t, 2, 7, "45");
    set_cell(t, 2, 4, "23");

    t->selectRow(0);
    button(dlg, "btDeleteRow")->click();
    ASSERT_EQ(t->rowCount(), 2);
    EXPECT_EQ(row_texts(t, 0)[6], "ACQ_TIME_MORN");

    kelvotest::ScriptedDialogs dialogs;
    button(dlg, "btSaveChanges")->click();
    EXPECT_TRUE(dialogs.seen.empty());
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    ASSERT_EQ(tt.size(), 2u);
    EXPECT_EQ(tt[0].configurationName(), "ACQ_TIME_MORN");
    EXPECT_EQ(tt[1].configurationName(), "ACQ_TIME");
    EXPECT_EQ(tt[1].hour, 24u);
    EXPECT_EQ(tt[1].duration, 45u);
}

TEST(DlgTimetableViewer, SaveRefusesBadRowsAndChangesNothing) {
    struct Case {
        int column;
        const char* text;
        const char* title; // "" when accepted
        const char* message;
    };
    const Case cases[] = {
        {4, "24", "Invalid Timetable Data",
         "Format or value error on row 2 \n *  *  *  5  24  1  ACQ_TIME_MORN  0"},
        {7, "", "Invalid Timetable Data",
         "Format or value error on row 2 \n *  *  *  5  6  1  ACQ_TIME_MORN  "},
        {6, "ACQ_TIM", "Timetable Error", "All ACQ name must start by ACQ_TIME"},
        {6, "ACQ_TIMER", "", ""},
        {2, "15", "", ""}, // a day makes the weekday irrelevant
    };
    for (const Case& c : cases) {
        Timetable tt = two_programs();
        const Timetable before = tt;
        DlgTimetableViewer dlg;
        dlg.setTimetable(&tt, "Edit", true);
        set_cell(dlg.table(), 1, c.column, c.text);
        kelvotest::ScriptedDialogs dialogs;
        if (*c.title != '\0') {
            dialogs.expect(QMessageBox::Ok);
        }
        button(dlg, "btSaveChanges")->click();
        if (*c.title != '\0') {
            ASSERT_EQ(dialogs.seen.size(), 1u) << c.text;
            EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Critical) << c.text;
            EXPECT_EQ(dialogs.seen[0].title, c.title) << c.text;
            EXPECT_EQ(dialogs.seen[0].text, c.message) << c.text;
            EXPECT_EQ(tt, before) << c.text;
            EXPECT_NE(dlg.result(), QDialog::Accepted) << c.text;
        } else {
            EXPECT_TRUE(dialogs.seen.empty()) << c.text;
            EXPECT_EQ(dlg.result(), QDialog::Accepted) << c.text;
            EXPECT_NE(tt, before) << c.text;
        }
    }
}

TEST(DlgTimetableViewer, CancelKeepsTheTimetableAndTheDialogIsReused) {
    Timetable tt = two_programs();
    const Timetable before = tt;
    DlgTimetableViewer dlg;
    QTimer::singleShot(0, &dlg, [&] {
        dlg.table()->item(0, 0)->setText("2020");
        dlg.closeButton()->click();
    });
    EXPECT_EQ(dlg.view(&tt, "Edit", true), QDialog::Rejected);
    EXPECT_EQ(tt, before);

    Timetable one(1);
    ASSERT_TRUE(time_program_from_text("* * * * 1 0 ACQ_TIME_X 5", "", one[0]));
    dlg.setTimetable(&one, "Again", false);
    EXPECT_EQ(dlg.table()->rowCount(), 1);
    EXPECT_EQ(dlg.closeButton()->text(), "Close");
}
