#include "FFileTransfert.h"

#include "SdSequenceList.h"
#include "app/UiDialogs.h"
#include "project/Project.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"
#include "worker/CThWorker.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <set>

namespace {

constexpr const char* kModule = "ffiletransfert";
const char* const kRetrieve = "retrievefromsensor";

QString megabytes(std::int64_t bytes) {
    return QString::number(static_cast<double>(bytes) / 1e6, 'f', 1) + QStringLiteral(" MB");
}

} // namespace

FFileTransfert::FFileTransfert(Project* project, CThWorker* worker, QWidget* parent)
    : QWidget(parent)
    , m_project(project)
    , m_worker(worker)
    , m_tbl(new QTableWidget(0, 4, this))
    , m_treeUpdate(new QCheckBox(QStringLiteral("Refresh Kelvo6 \ninternal file list"), this))
    , m_info(new QLabel(this))
    , m_progress(new QProgressBar(this))
    , m_progressText(new QLabel(this))
    , m_progressTimer(new QTimer(this)) {
    setObjectName(QStringLiteral("FFileTransfert"));
    m_tbl->setObjectName(QStringLiteral("tbl"));
    m_tbl->setHorizontalHeaderLabels({QStringLiteral("Sequence"), QStringLiteral("Saved *.VIG images"),
                                      QStringLiteral("Saved *.RAW images"), QStringLiteral("Status")});
    m_tbl->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tbl->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_tbl->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_tbl->horizontalHeader()->setStretchLastSection(true);
    // Compact rows, but never lower than the text: 10 pixels is the least a row gets.
    m_tbl->verticalHeader()->setMinimumSectionSize(10);
    m_tbl->verticalHeader()->setDefaultSectionSize(std::max(10, fontMetrics().height() + 4));
    m_tbl->verticalHeader()->setVisible(false);
    m_treeUpdate->setObjectName(QStringLiteral("cbDoTreeUpdate"));
    m_info->setObjectName(QStringLiteral("lblInfo"));
    m_info->setStyleSheet(informationStyle());
    m_info->setAlignment(Qt::AlignCenter);
    m_progress->setObjectName(QStringLiteral("progressBar"));
    m_progressText->setObjectName(QStringLiteral("lblProgress"));

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(addButton("btGetFileList", QStringLiteral("Get File List")));
    buttons->addWidget(m_treeUpdate);
    buttons->addWidget(addButton("btRefresh", QStringLiteral("Refresh Grid")));
    buttons->addStretch();
    buttons->addWidget(addButton("btTransfertMissing", QStringLiteral("Download Missing\nSequences")));
    buttons->addWidget(addButton("btTrsf1Seq", QStringLiteral("Download Selected   \nSequences")));

    auto* progress = new QHBoxLayout;
    progress->addWidget(m_progress, 1);
    progress->addWidget(m_progressText, 2);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(buttons);
    layout->addWidget(m_info);
    layout->addWidget(m_tbl, 1);
    layout->addLayout(progress);
    m_info->hide();
    m_progress->setRange(0, 1);
    m_progress->setValue(0);
    m_progressText->setText(QStringLiteral("No download running"));

    QMetaObject::connectSlotsByName(this);
    if (m_worker) {
        connect(m_worker, &CThWorker::TaskFinished, this, &FFileTransfert::onTaskFinished,
                Qt::QueuedConnection);
    }
    connect(m_progressTimer, &QTimer::timeout, this, &FFileTransfert::updateProgress);
    m_progressTimer->start(250);
    redraw();
}

QPushButton* FFileTransfert::addButton(const char* objectName, const QString& label) {
    auto* b = new QPushButton(label, this);
    b->setObjectName(QLatin1String(objectName));
    return b;
}

QString FFileTransfert::projectPath() const {
    return m_project && m_project->IsOpen() ? m_project->Path() : QString();
}

void FFileTransfert::on_btGetFileList_clicked() {
    SdSequenceList& list = SdSequenceList::instance();
    list.clear();
    redraw();
    if (!m_project || !m_project->IsOpen()) {
        UiDialogs::warning(this, QStringLiteral("No project "), QStringLiteral("No project open"));
        return;
    }
    m_info->setText(QStringLiteral("Retrieving File list\nPlease Wait"));
    m_info->show();
    list.setNetworkError(false);
    if (m_worker) {
        const QString kind =
            m_treeUpdate->isChecked() ? QStringLiteral("treeupdatesdlist") : QStringLiteral("sdlist");
        m_worker->enqueue(kind, projectPath(), QString());
    }
}

void FFileTransfert::on_btRefresh_clicked() {
    redraw();
}

void FFileTransfert::on_btTransfertMissing_clicked() {
    QStringList names;
    for (int row = 0; row < m_tbl->rowCount(); ++row) {
        if (m_tbl->item(row, 3)->text() != QLatin1String("OK")) {
            names << m_tbl->item(row, 0)->text();
        }
    }
    schedule(names);
}

void FFileTransfert::on_btTrsf1Seq_clicked() {
    std::set<int> rows;
    for (const QModelIndex& index : m_tbl->selectionModel()->selectedRows()) {
        rows.insert(index.row());
    }
    QStringList names;
    for (int row : rows) {
        names << m_tbl->item(row, 0)->text();
    }
    schedule(names);
}

void FFileTransfert::schedule(const QStringList& names) {
    if (!m_worker || names.isEmpty()) {
        return;
    }
    for (const QString& name : names) {
        GetTraceMgr()->logf(kModule, ZelLevelInformation, "Request retrieve sequence={}", name);
        m_worker->enqueue(QString::fromLatin1(kRetrieve), projectPath(), name);
    }
    redraw();
    updateProgress();
}

void FFileTransfert::redraw() {
    SdSequenceList& list = SdSequenceList::instance();
    const SdSequenceList::Entries entries = list.entries();
    const QString project = projectPath();
    const QString current = list.currentTransfer();
    const auto scheduled = [this, &project](const QString& name) {
        return m_worker && m_worker->isPending(project, name, QString::fromLatin1(kRetrieve));
    };
    m_tbl->setRowCount(static_cast<int>(entries.size()));
    int row = 0;
    for (const auto& [key, entry] : entries) {
        const QString name = QString::fromUtf8(key);
        const QString status = sd_sequence_status(name, entry, project, current, scheduled);
        list.setStatus(name, status);
        const QStringList cells{name, QString::number(entry.vigCount), QString::number(entry.rawCount),
                                status};
        for (int column = 0; column < cells.size(); ++column) {
            auto* item = new QTableWidgetItem(cells[column]);
            if (column == 1 || column == 2) {
                item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            }
            m_tbl->setItem(row, column, item);
        }
        ++row;
    }
    m_tbl->horizontalHeaderItem(0)->setText(QStringLiteral("Sequence (%1)").arg(entries.size()));
    m_tbl->resizeColumnsToContents();
    m_shownTransfer = current;
}

void FFileTransfert::onTaskFinished(KelvoTaskInfoPtr task) {
    if (!task) {
        return;
    }
    const bool listing =
        task->kind == QLatin1String("sdlist") || task->kind == QLatin1String("treeupdatesdlist");
    if (!listing && task->kind != QLatin1String(kRetrieve)) {
        return;
    }
    redraw();
    updateProgress();
    if (listing) {
        m_info->clear();
        m_info->hide();
        if (SdSequenceList::instance().networkError()) {
            UiDialogs::warning(
                this, QStringLiteral("Network Error"),
                QStringLiteral("The application encountered a network issue during data retrieving.\n"
                               " - Check your Ethernet connection (cables)\n"
                               " - Check the firewall settings to provide permissions to Kelvoapp"));
        }
    }
}

void FFileTransfert::updateProgress() {
    SdSequenceList& list = SdSequenceList::instance();
    const QString current = list.currentTransfer();
    if (current != m_shownTransfer) {
        redraw(); // a download started: its row shows "transfer in progress"
    }
    int queued = 0;
    for (int row = 0; row < m_tbl->rowCount(); ++row) {
        if (m_tbl->item(row, 3)->text() == QLatin1String("transfer scheduled")) {
            ++queued;
        }
    }
    const DownloadProgress p = list.progress();
    if (current.isEmpty()) {
        if (!p.sequence.isEmpty()) {
            m_progress->setRange(0, std::max(1, p.filesTotal));
            m_progress->setValue(p.filesDone);
        }
        if (queued == 0) {
            m_progressText->setText(p.sequence.isEmpty()
                                        ? QStringLiteral("No download running")
                                        : QStringLiteral("Last download: %1, %2 of %3 files, %4")
                                              .arg(p.sequence)
                                              .arg(p.filesDone)
                                              .arg(p.filesTotal)
                                              .arg(megabytes(p.bytes)));
        } else {
            m_progressText->setText(QStringLiteral("Waiting for the instrument; %1 queued").arg(queued));
        }
        return;
    }
    m_progress->setRange(0, std::max(1, p.filesTotal));
    m_progress->setValue(p.sequence == current ? p.filesDone : 0);
    const double seconds = static_cast<double>(std::max<std::int64_t>(p.elapsedMs, 1)) / 1000.0;
    const QString rate =
        megabytes(static_cast<std::int64_t>(static_cast<double>(p.bytes) / seconds)) + QStringLiteral("/s");
    QString text = QStringLiteral("%1: %2 / %3 files, %4, %5")
                       .arg(current)
                       .arg(p.sequence == current ? p.filesDone : 0)
                       .arg(p.filesTotal)
                       .arg(megabytes(p.bytes), rate);
    if (queued > 0) {
        text += QStringLiteral("; %1 queued").arg(queued);
    }
    m_progressText->setText(text);
}
