#include "FPrjSample.h"

#include "processing/DlgSampleFigure.h"
#include "processing/DlgViewVignettes.h"
#include "processing/ExportTasks.h"

#include "DlgCreateSample.h"
#include "Project.h"
#include "app/UiDialogs.h"
#include "modelPrjSample.h"
#include "worker/CThWorker.h"

#include <QGridLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

FPrjSample::FPrjSample(Project* project, CThWorker* worker, QWidget* parent)
    : QWidget(parent)
    , m_project(project)
    , m_worker(worker)
    , m_model(new modelPrjSample(project, this))
    , m_view(new QTableView(this)) {
    setObjectName(QStringLiteral("FPrjSample"));
    m_view->setObjectName(QStringLiteral("tableView"));
    m_view->setModel(m_model);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->horizontalHeader()->setStretchLastSection(true);

    auto* buttons = new QGridLayout;
    buttons->addWidget(addButton("btRefresh", tr("Refresh")), 0, 0);
    buttons->addWidget(addButton("btEditSample", tr("Edit sample")), 1, 0);
    buttons->addWidget(addButton("btprocessdataselected", tr("Process data")), 0, 1);
    buttons->addWidget(addButton("btProcessAllData", tr("Process all data")), 1, 1);
    buttons->addWidget(addButton("btprocessimagesselected", tr("Process images")), 0, 2);
    buttons->addWidget(addButton("btProcessAllImages", tr("Process all images")), 1, 2);
    buttons->addWidget(addButton("btViewVignettes", tr("View vignettes")), 0, 3);
    buttons->addWidget(addButton("btViewChart", tr("View chart")), 1, 3);
    buttons->addWidget(addButton("btExportODV", tr("Export ODV")), 0, 4);
    buttons->addWidget(addButton("btExportAllODV", tr("Export all ODV")), 1, 4);
    buttons->addWidget(addButton("btExportAllPlots", tr("Export all plots")), 0, 5);
    buttons->setColumnStretch(6, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_view);
    layout->addLayout(buttons);
    QMetaObject::connectSlotsByName(this);
    if (m_project) {
        connect(m_project, &Project::ProjectLoaded, this, &FPrjSample::ProjectLoaded);
        connect(m_project, &Project::SamplesUpdated, this, &FPrjSample::on_btRefresh_clicked);
    }
    if (m_worker) {
        // The archives' presence changes when a task on samples ends.
        connect(
            m_worker, &CThWorker::TaskFinished, this,
            [this](KelvoTaskInfoPtr task) {
                if (task && (task->kind == QLatin1String("Data") || task->kind == QLatin1String("Images"))) {
                    on_btRefresh_clicked();
                }
            },
            Qt::QueuedConnection);
    }
    m_model->Reload();
}

QPushButton* FPrjSample::addButton(const char* objectName, const QString& label) {
    auto* b = new QPushButton(label, this);
    b->setObjectName(QLatin1String(objectName));
    return b;
}

QString FPrjSample::SelectedSample() const {
    const QModelIndexList rows = m_view->selectionModel()->selectedRows();
    return rows.isEmpty() ? QString() : m_model->SampleAt(rows.first().row());
}

bool FPrjSample::SelectSample(const QString& name) {
    const int row = m_model->RowOf(name);
    if (row < 0) {
        m_view->clearSelection();
        return false;
    }
    m_view->selectRow(row);
    return true;
}

void FPrjSample::ProjectLoaded() {
    m_model->Reload();
}

void FPrjSample::on_btRefresh_clicked() {
    const QString selected = SelectedSample();
    m_model->Reload();
    if (!selected.isEmpty()) {
        SelectSample(selected);
    }
}

bool FPrjSample::EditSample(const QString& sample) {
    if (!m_project || !m_project->IsOpen() || sample.isEmpty()) {
        return false;
    }
    DlgCreateSample dlg(m_project, this);
    if (!dlg.OpenForSample(sample)) {
        return false;
    }
    return dlg.exec() == QDialog::Accepted;
}

void FPrjSample::on_btEditSample_clicked() {
    EditSample(SelectedSample());
}

void FPrjSample::on_tableView_doubleClicked(const QModelIndex& index) {
    if (index.isValid()) {
        EditSample(m_model->SampleAt(index.row()));
    }
}

void FPrjSample::queue(const QString& kind, const QStringList& samples) {
    if (!m_worker || !m_project || !m_project->IsOpen()) {
        return;
    }
    for (const QString& sample : samples) {
        if (!sample.isEmpty() && !m_worker->isPending(m_project->Path(), sample, kind)) {
            m_worker->enqueue(kind, m_project->Path(), sample, {}, true);
        }
    }
}

void FPrjSample::on_btprocessdataselected_clicked() {
    queue(QStringLiteral("Data"), {SelectedSample()});
}

void FPrjSample::on_btprocessimagesselected_clicked() {
    queue(QStringLiteral("Images"), {SelectedSample()});
}

void FPrjSample::on_btProcessAllData_clicked() {
    queue(QStringLiteral("Data"), m_model->Samples());
}

void FPrjSample::on_btProcessAllImages_clicked() {
    queue(QStringLiteral("Images"), m_model->Samples());
}

void FPrjSample::on_btViewVignettes_clicked() {
    const QString sample = SelectedSample();
    if (!sample.isEmpty() && m_project && m_project->IsOpen()) {
        auto* dlg = new DlgViewVignettes(*m_project, sample, this);
        dlg->setAttribute(Qt::WA_DeleteOnClose);
        dlg->show();
    }
}

void FPrjSample::on_btViewChart_clicked() {
    const QString sample = SelectedSample();
    if (sample.isEmpty() || !m_project || !m_project->IsOpen()) {
        return;
    }
    auto* dlg = new DlgSampleFigure(*m_project, sample, this);
    if (!dlg->isLoaded()) {
        UiDialogs::warning(this, QStringLiteral("View chart"), dlg->error());
        delete dlg;
        return;
    }
    dlg->setAttribute(Qt::WA_DeleteOnClose);
    dlg->show();
}

void FPrjSample::on_btExportODV_clicked() {
    queue(QStringLiteral("ExportODV"), {SelectedSample()});
}

void FPrjSample::on_btExportAllODV_clicked() {
    // One task writes every sample's file and the project's file holding them all.
    if (m_worker && m_project && m_project->IsOpen() && !m_model->Samples().isEmpty()) {
        m_worker->enqueue(QStringLiteral("ExportODV"), m_project->Path(), m_project->Acronym(),
                          {{QString::fromLatin1(ExportTasks::kProjectFileArg), true}}, true);
    }
}

void FPrjSample::on_btExportAllPlots_clicked() {
    queue(QStringLiteral("ExportPlots"), m_model->Samples());
}
