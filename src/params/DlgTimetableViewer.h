#pragma once

#include "params/Timetable.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTableWidget;

// View and editor of a timetable. In edit mode the rows can be changed, appended and deleted;
// "Save changes" checks every row and only then replaces the caller's timetable.
class DlgTimetableViewer : public QDialog {
    Q_OBJECT
public:
    explicit DlgTimetableViewer(QWidget* parent = nullptr);

    // Fills the table from `*timetable` (which a successful save replaces), with `caption` as
    // label and window title; `edit` makes the cells editable.
    void setTimetable(Timetable* timetable, const QString& caption, bool edit);
    // setTimetable, then shows the dialog modal; QDialog::Accepted after a save.
    int view(Timetable* timetable, const QString& caption, bool edit);

    QTableWidget* table() const { return m_tbl; }
    QLabel* label() const { return m_lbl; }
    QPushButton* closeButton() const { return m_btClose; }

public slots:
    void on_btAppendRow_clicked();
    void on_btDeleteRow_clicked();
    void on_btCopy_clicked();
    void on_btSaveChanges_clicked();

private:
    QTableWidget* m_tbl;
    QLabel* m_lbl;
    QPushButton* m_btAppendRow;
    QPushButton* m_btDeleteRow;
    QPushButton* m_btCopy;
    QPushButton* m_btSaveChanges;
    QPushButton* m_btClose;
    Timetable* m_timetable = nullptr;
};
