#include "FPrjSeq.h"

#include "Project.h"
#include "SequenceHandler.h"
#include "app/UiDialogs.h"
#include "modelPrjSeq.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

FPrjSeq::FPrjSeq(Project* project, QWidget* parent)
    : QWidget(parent)
    , m_project(project)
    , m_model(new modelPrjSeq(project, this))
    , m_view(new QTableView(this)) {
    setObjectName(QStringLiteral("FPrjSeq"));
    m_view->setObjectName(QStringLiteral("tableView"));
    m_view->setModel(m_model);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->setSortingEnabled(false);
    m_view->horizontalHeader()->setStretchLastSection(true);
    // Sequence names are long and alike at their start: each column is as wide as its content.
    connect(m_model, &QAbstractItemModel::modelReset, m_view, [this] { m_view->resizeColumnsToContents(); });

    auto* buttons = new QHBoxLayout;
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_view);
    layout->addLayout(buttons);
    buttons->addWidget(addButton("btRefresh", tr("Refresh")));
    buttons->addWidget(addButton("BtCreateSample", tr("Create sample")));
    buttons->addWidget(addButton("btMakeZipVignette", tr("Build images.zip")));
    buttons->addWidget(addButton("btMakeZipVignetteAll", tr("Build all missing images.zip")));
    buttons->addWidget(addButton("BtMergeSequence", tr("Merge sequences")));
    buttons->addStretch();
    buttons->addWidget(addButton("btdelete", tr("Delete sequence")));

    QMetaObject::connectSlotsByName(this);
    if (m_project) {
        connect(m_project, &Project::ProjectLoaded, this, &FPrjSeq::ProjectLoaded);
        // Sample counts change with the samples.
        connect(m_project, &Project::SamplesUpdated, this, &FPrjSeq::on_btRefresh_clicked);
    }
    m_model->Reload();
}

QPushButton* FPrjSeq::addButton(const char* objectName, const QString& label) {
    auto* b = new QPushButton(label, this);
    b->setObjectName(QLatin1String(objectName));
    return b;
}

QString FPrjSeq::SelectedSequence() const {
    const QModelIndexList rows = m_view->selectionModel()->selectedRows();
    if (rows.isEmpty()) {
        return QString();
    }
    return m_model->EntryAt(rows.first().row()).name;
}

bool FPrjSeq::SelectSequence(const QString& name) {
    const int row = m_model->RowOf(name);
    if (row < 0) {
        m_view->clearSelection();
        return false;
    }
    m_view->selectRow(row);
    return true;
}

void FPrjSeq::ProjectLoaded() {
    m_model->Reload();
}

void FPrjSeq::on_btRefresh_clicked() {
    const QString selected = SelectedSequence();
    m_model->Reload();
    if (!selected.isEmpty()) {
        SelectSequence(selected);
    }
}

void FPrjSeq::on_BtCreateSample_clicked() {
    const QString seq = SelectedSequence();
    if (!seq.isEmpty()) {
        Q_EMIT CreateSampleRequested(seq);
    }
}

void FPrjSeq::on_tableView_doubleClicked(const QModelIndex& index) {
    if (index.isValid()) {
        Q_EMIT CreateSampleRequested(m_model->EntryAt(index.row()).name);
    }
}

void FPrjSeq::on_btMakeZipVignette_clicked() {
    const QString seq = SelectedSequence();
    if (!seq.isEmpty()) {
        Q_EMIT ZipVignettesRequested({seq});
    }
}

void FPrjSeq::on_btMakeZipVignetteAll_clicked() {
    const QStringList missing = m_model->SequencesWithoutImageZip();
    if (!missing.isEmpty()) {
        Q_EMIT ZipVignettesRequested(missing);
    }
}

void FPrjSeq::on_BtMergeSequence_clicked() {
    Q_EMIT MergeSequencesRequested();
}

void FPrjSeq::on_btdelete_clicked() {
    const QModelIndexList rows = m_view->selectionModel()->selectedRows();
    if (rows.isEmpty() || !m_project || !m_project->IsOpen()) {
        return;
    }
    const modelPrjSeq::Entry entry = m_model->EntryAt(rows.first().row());
    if (entry.samples >= 1) {
        UiDialogs::critical(
            this, QStringLiteral("Delete sequence!!!"),
            QStringLiteral("It's impossible to delete a sequence with an associated sample, delete "
                           "it first."));
        return;
    }
    SequenceHandler seq(m_project->Path(), entry.name);
    seq.ReadDataFile();
    UiDialogRequest request;
    request.icon = QMessageBox::Warning;
    request.title = QStringLiteral("Delete sequence");
    // The dialog wrapper has no separate informative line: the row count follows the question
    // after an empty line.
    request.text = QStringLiteral("Do you want to delete sequence ") + entry.name +
                   QStringLiteral("\nThis operation is irreversible and may cause data loss.") +
                   QStringLiteral("\n\n") + QStringLiteral("Data file contains %1 rows").arg(seq.RowCount());
    request.buttons = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    request.defaultButton = QMessageBox::Cancel;
    if (UiDialogs::ask(this, request) != QMessageBox::Yes) {
        return;
    }
    QString error;
    if (!seq.RemoveFolder(&error)) {
        UiDialogs::critical(this, QStringLiteral("Delete sequence!!!"), error);
    }
    m_model->Reload();
}
