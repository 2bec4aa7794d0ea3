#include "params/DlgTimetableViewer.h"

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

namespace {

enum Column { Year, Month, Day, WeekDay, Hour, HalfHour, AcqConfig, Duration, ColumnCount };

QString date_cell(quint32 stored, quint32 offset) {
    return stored == TimeProgram::kAny ? QStringLiteral("*")
                                       : QString::number(static_cast<qint64>(stored) - offset);
}

} // namespace

DlgTimetableViewer::DlgTimetableViewer(QWidget* parent)
    : QDialog(parent)
    , m_tbl(new QTableWidget(this))
    , m_lbl(new QLabel(this))
    , m_btAppendRow(new QPushButton(tr("Append a new row"), this))
    , m_btDeleteRow(new QPushButton(tr("Delete Selected Row"), this))
    , m_btCopy(new QPushButton(tr("Copy to clipboard"), this))
    , m_btSaveChanges(new QPushButton(tr("Save changes"), this))
    , m_btClose(new QPushButton(tr("Close"), this)) {
    m_tbl->setObjectName(QStringLiteral("tbl"));
    m_lbl->setObjectName(QStringLiteral("lbl"));
    m_btAppendRow->setObjectName(QStringLiteral("btAppendRow"));
    m_btDeleteRow->setObjectName(QStringLiteral("btDeleteRow"));
    m_btCopy->setObjectName(QStringLiteral("btCopy"));
    m_btSaveChanges->setObjectName(QStringLiteral("btSaveChanges"));
    m_btClose->setObjectName(QStringLiteral("btClose"));

    m_tbl->setColumnCount(ColumnCount);
    m_tbl->setHorizontalHeaderLabels({QStringLiteral("Year"), QStringLiteral("Month"), QStringLiteral("Day"),
                                      QStringLiteral("WeekDay"), QStringLiteral("Hour"),
                                      QStringLiteral("Half hour"), QStringLiteral("AcqConfig"),
                                      QStringLiteral("Duration (min)")});
    // Columns fit their header and cells (60 and 120 pixels at the least).
    m_tbl->horizontalHeader()->setMinimumSectionSize(60);
    m_tbl->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tbl->verticalHeader()->setVisible(false);
    m_tbl->verticalHeader()->setMinimumSectionSize(10);
    m_tbl->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tbl->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tbl->setSelectionMode(QAbstractItemView::SingleSelection);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_btAppendRow);
    buttons->addWidget(m_btDeleteRow);
    buttons->addWidget(m_btCopy);
    buttons->addStretch();
    buttons->addWidget(m_btSaveChanges);
    buttons->addWidget(m_btClose);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_lbl);
    layout->addWidget(m_tbl);
    layout->addLayout(buttons);
    resize(760, 480);

    connect(m_btClose, &QPushButton::clicked, this, &QDialog::reject);
    QMetaObject::connectSlotsByName(this);
}

void DlgTimetableViewer::setTimetable(Timetable* timetable, const QString& caption, bool edit) {
    m_timetable = timetable;
    m_tbl->clearContents();
    const Timetable shown = timetable != nullptr ? *timetable : Timetable();
    m_tbl->setRowCount(static_cast<int>(shown.size()));
    for (int r = 0; r < static_cast<int>(shown.size()); ++r) {
        const TimeProgram& p = shown[static_cast<std::size_t>(r)];
        const QString cells[ColumnCount] = {date_cell(p.year, 0),
                                            date_cell(p.month, 0),
                                            date_cell(p.day, 0),
                                            date_cell(p.weekday, 0),
                                            date_cell(p.hour, 1),
                                            date_cell(p.halfHour, 1),
                                            QString::fromStdString(p.configurationName()),
                                            QString::number(p.duration)};
        for (int c = 0; c < ColumnCount; ++c) {
            m_tbl->setItem(r, c, new QTableWidgetItem(cells[c]));
        }
    }
    m_tbl->setEditTriggers(edit ? QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                                      QAbstractItemView::AnyKeyPressed
                                : QAbstractItemView::NoEditTriggers);
    m_btAppendRow->setEnabled(edit);
    m_btDeleteRow->setEnabled(edit);
    m_btSaveChanges->setEnabled(edit);
    m_btClose->setText(edit ? tr("Cancel") : tr("Close"));
    m_lbl->setText(caption);
    setWindowTitle(caption);
}

int DlgTimetableViewer::view(Timetable* timetable, const QString& caption, bool edit) {
    setTimetable(timetable, caption, edit);
    setModal(true);
    return exec();
}

void DlgTimetableViewer::on_btAppendRow_clicked() {
    const int r = m_tbl->rowCount();
    m_tbl->insertRow(r);
    for (int c = Year; c <= HalfHour; ++c) {
        m_tbl->setItem(r, c, new QTableWidgetItem(QStringLiteral("*")));
    }
    m_tbl->setItem(r, AcqConfig, new QTableWidgetItem(QStringLiteral("ACQ_TIME")));
    m_tbl->setItem(r, Duration, new QTableWidgetItem(QString()));
}

void DlgTimetableViewer::on_btDeleteRow_clicked() {
    const QModelIndexList selected = m_tbl->selectionModel()->selectedRows();
    const int r = !selected.isEmpty() ? selected.first().row() : m_tbl->currentRow();
    if (r >= 0 && r < m_tbl->rowCount()) {
        m_tbl->removeRow(r);
    }
}

void DlgTimetableViewer::on_btCopy_clicked() {
    QApplication::clipboard()->setText(table_widget_text(m_tbl));
}

void DlgTimetableViewer::on_btSaveChanges_clicked() {
    std::vector<std::vector<std::string>> rows;
    for (int r = 0; r < m_tbl->rowCount(); ++r) {
        std::vector<std::string> cells;
        for (int c = 0; c < ColumnCount; ++c) {
            const QTableWidgetItem* item = m_tbl->item(r, c);
            cells.push_back(item != nullptr ? item->text().toStdString() : std::string());
        }
        rows.push_back(std::move(cells));
    }
    Timetable edited;
    const TimetableEditCheck check = timetable_from_edited_rows(rows, edited);
    switch (check.error) {
    case TimetableEditCheck::Format:
        UiDialogs::critical(this, QStringLiteral("Invalid Timetable Data"),
                            QStringLiteral("Format or value error on row %1 \n %2")
                                .arg(check.row + 1)
                                .arg(QString::fromStdString(check.text)));
        return;
    case TimetableEditCheck::ConfigurationName:
        UiDialogs::critical(this, QStringLiteral("Timetable Error"),
                            QStringLiteral("All ACQ name must start by ACQ_TIME"));
        return;
    case TimetableEditCheck::None:
        break;
    }
    if (m_timetable != nullptr) {
        *m_timetable = std::move(edited);
    }
    accept();
}
