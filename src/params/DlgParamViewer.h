#pragma once

#include "params/ParamHelp.h"
#include "params/ParamTable.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTableWidget;

// Read-only view of the hardware parameter table: name (with its help as tool tip), value and
// documentation, one row per record.
class DlgParamViewer : public QDialog {
    Q_OBJECT
public:
    explicit DlgParamViewer(QWidget* parent = nullptr);

    // Fills the view from `table`, with `caption` as label and window title.
    void setTable(const ParamTable& table, const QString& caption);
    // setTable, then shows the dialog modal until it is closed.
    int view(const ParamTable& table, const QString& caption);

    // Help texts used for the next setTable (the shipped help file by default).
    void setHelp(const ParamHelp& help) { m_help = help; }

    QTableWidget* table() const { return m_tbl; }
    QLabel* label() const { return m_lbl; }

private slots:
    void on_tbl_cellDoubleClicked(int row, int column);
    void on_btCopy_clicked();

private:
    QTableWidget* m_tbl;
    QLabel* m_lbl;
    QPushButton* m_btCopy;
    QPushButton* m_btClose;
    ParamHelp m_help;
};
