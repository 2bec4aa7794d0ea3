#include "params/DlgAcqParamViewer.h"

#include "params/ParamSets.h"
#include "params/TableText.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

DlgAcqParamViewer::DlgAcqParamViewer(QWidget* parent)
    : QDialog(parent)
    , m_tbl(new QTableWidget(this))
    , m_lblCaption(new QLabel(this))
    , m_lbl(new QLabel(tr("Parameter help tooltips are displayed when you hold your mouse over the name"),
                       this))
    , m_btCopy(new QPushButton(tr("Copy to clipboard"), this))
    , m_btClose(new QPushButton(tr("Close"), this))
    , m_help(ParamHelp::load(QStringLiteral("acq"), "DlgAcqParamViewer")) {
    m_tbl->setObjectName(QStringLiteral("tbl"));
    m_lblCaption->setObjectName(QStringLiteral("lblCaption"));
    m_lbl->setObjectName(QStringLiteral("lbl"));
    m_btCopy->setObjectName(QStringLiteral("btCopy"));
    m_btClose->setObjectName(QStringLiteral("btClose"));

    QStringList headers{QStringLiteral("Name")};
    for (int slot = 0; slot < kAcqSlotCount; ++slot) {
        headers << QStringLiteral("Conf %1").arg(slot);
    }
    m_tbl->setColumnCount(static_cast<int>(headers.size()));
    m_tbl->setHorizontalHeaderLabels(headers);
    m_tbl->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // Rows fit their text; 10 pixels stays the least height.
    m_tbl->verticalHeader()->setMinimumSectionSize(10);
    m_tbl->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_btCopy);
    buttons->addWidget(m_btClose);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_lblCaption);
    layout->addWidget(m_lbl);
    layout->addWidget(m_tbl);
    layout->addLayout(buttons);
    resize(1100, 600);

    connect(m_btClose, &QPushButton::clicked, this, &QDialog::close);
    QMetaObject::connectSlotsByName(this);
}

void DlgAcqParamViewer::setTables(const std::vector<ParamTable>& tables, const QString& caption,
                                  const QString& title) {
    // The rows are the acquisition records, whatever the given tables hold.
    ParamTable layout;
    build_acq_params(layout);
    m_tbl->clearContents();
    m_tbl->setRowCount(layout.size() - 1);
    for (int i = 1; i < layout.size(); ++i) {
        const QString name = QString::fromStdString(layout[i].name);
        auto* item = new QTableWidgetItem(name);
        item->setToolTip(m_help.text(name));
        m_tbl->setItem(i - 1, 0, item);
    }
    const int filled = std::min(static_cast<int>(tables.size()), kAcqSlotCount);
    for (int slot = 0; slot < filled; ++slot) {
        for (int i = 1; i < layout.size(); ++i) {
            // Looked up by name, so a table of another layout cannot shift values into the
            // wrong rows.
            auto it = find_param(layout[i].name, tables[static_cast<std::size_t>(slot)]);
            if (it != tables[static_cast<std::size_t>(slot)].end()) {
                m_tbl->setItem(i - 1, slot + 1,
                               new QTableWidgetItem(QString::fromStdString(param_value_text(*it))));
            }
        }
    }
    // Every name and value whole.
    m_tbl->resizeColumnsToContents();
    m_lblCaption->setText(caption);
    setWindowTitle(title);
}

int DlgAcqParamViewer::view(const std::vector<ParamTable>& tables, const QString& caption,
                            const QString& title) {
    setTables(tables, caption, title);
    setModal(true);
    return exec();
}

void DlgAcqParamViewer::on_btCopy_clicked() {
    QApplication::clipboard()->setText(table_widget_text(m_tbl));
}
