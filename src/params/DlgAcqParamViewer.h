#pragma once

#include "params/ParamHelp.h"
#include "params/ParamTable.h"

#include <QDialog>

#include <vector>

class QLabel;
class QPushButton;
class QTableWidget;

// Read-only view of up to ten acquisition configurations side by side: one row per parameter,
// one column per slot ("Conf 0" to "Conf 9").
class DlgAcqParamViewer : public QDialog {
    Q_OBJECT
public:
    explicit DlgAcqParamViewer(QWidget* parent = nullptr);

    // Fills the view: `tables` in slot order (slots beyond its length stay blank), `caption`
    // above the table, `title` as window title.
    void setTables(const std::vector<ParamTable>& tables, const QString& caption, const QString& title);
    // setTables, then shows the dialog modal until it is closed.
    int view(const std::vector<ParamTable>& tables, const QString& caption, const QString& title);

    // Help texts used for the next setTables (the shipped help file by default).
    void setHelp(const ParamHelp& help) { m_help = help; }

    QTableWidget* table() const { return m_tbl; }
    QLabel* caption() const { return m_lblCaption; }

private slots:
    void on_btCopy_clicked();

private:
    QTableWidget* m_tbl;
    QLabel* m_lblCaption;
    QLabel* m_lbl;
    QPushButton* m_btCopy;
    QPushButton* m_btClose;
    ParamHelp m_help;
};
