#include "params/DlgParamViewer.h"

#include "app/UiDialogs.h"
#include "params/TableText.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

DlgParamViewer::DlgParamViewer(QWidget* parent)
    : QDialog(parent)
    , m_tbl(new QTableWidget(this))
    , m_lbl(new QLabel(this))
    , m_btCopy(new QPushButton(tr("Copy to clipboard"), this))
    , m_btClose(new QPushButton(tr("Close"), this))
    , m_help(ParamHelp::load(QStringLiteral("hw"), "DlgParamViewer")) {
    m_tbl->setObjectName(QStringLiteral("tbl"));
    m_lbl->setObjectName(QStringLiteral("lbl"));
    m_btCopy->setObjectName(QStringLiteral("btCopy"));
    m_btClose->setObjectName(QStringLiteral("btClose"));

    m_tbl->setColumnCount(3);
    m_tbl->setHorizontalHeaderLabels(
        {QStringLiteral("Name"), QStringLiteral("Value"), QStringLiteral("Documentation")});
    m_tbl->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // Rows fit a line of text (10 pixels stays the least height); a long documentation ends in
    // an ellipsis and shows whole in its tool tip and on double click.
    m_tbl->verticalHeader()->setMinimumSectionSize(10);
    m_tbl->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tbl->setWordWrap(false);
    m_tbl->setTextElideMode(Qt::ElideRight);
    m_tbl->horizontalHeader()->setStretchLastSection(true);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_btCopy);
    buttons->addWidget(m_btClose);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_lbl);
    layout->addWidget(m_tbl);
    layout->addLayout(buttons);
    resize(1150, 640);

    connect(m_btClose, &QPushButton::clicked, this, &QDialog::close);
    QMetaObject::connectSlotsByName(this);
}

void DlgParamViewer::setTable(const ParamTable& table, const QString& caption) {
    m_tbl->clearContents();
    // One row per record, root included, filled from the first non-root record on: the last
    // row stays empty, as operators have always seen it.
    m_tbl->setRowCount(table.size());
    int row = 0;
    for (const ParamDef& d : table) {
        if (d.type == ParamRoot) {
            continue;
        }
        const QString name = QString::fromStdString(d.name);
        const QString help = m_help.text(name);
        auto* nameItem = new QTableWidgetItem(name);
        nameItem->setToolTip(help);
        m_tbl->setItem(row, 0, nameItem);
        m_tbl->setItem(row, 1, new QTableWidgetItem(QString::fromStdString(param_value_text(d))));
        auto* helpItem = new QTableWidgetItem(help);
        helpItem->setToolTip(help);
        m_tbl->setItem(row, 2, helpItem);
        ++row;
    }
    m_tbl->resizeColumnToContents(0);
    m_tbl->resizeColumnToContents(1);
    m_lbl->setText(caption);
    setWindowTitle(caption);
}

int DlgParamViewer::view(const ParamTable& table, const QString& caption) {
    setTable(table, caption);
    setModal(true);
    return exec();
}

void DlgParamViewer::on_tbl_cellDoubleClicked(int row, int /*column*/) {
    const QTableWidgetItem* name = m_tbl->item(row, 0);
    if (name == nullptr) {
        return;
    }
    const QTableWidgetItem* value = m_tbl->item(row, 1);
    const QTableWidgetItem* help = m_tbl->item(row, 2);
    UiDialogs::information(this, QStringLiteral("HW Param details"),
                           name->text() + QStringLiteral("=") + (value ? value->text() : QString()) +
                               QStringLiteral("\n") + (help ? help->text() : QString()));
}

void DlgParamViewer::on_btCopy_clicked() {
    QApplication::clipboard()->setText(table_widget_text(m_tbl));
}
