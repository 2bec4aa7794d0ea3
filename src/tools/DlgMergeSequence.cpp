#include "DlgMergeSequence.h"

#include "app/UiDialogs.h"
#include "app/WaitCursor.h"
#include "project/Project.h"

#include <QCheckBox>
#include <QEventLoop>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QThread>
#include <QVBoxLayout>

namespace {

QCheckBox* check_box(QWidget* parent, const char* name, const QString& text) {
    auto* cb = new QCheckBox(text, parent);
    cb->setObjectName(QLatin1String(name));
    cb->setChecked(true);
    return cb;
}

QLabel* label(QWidget* parent, const QString& text) {
    auto* l = new QLabel(text, parent);
    l->setWordWrap(true);
    return l;
}

} // namespace

DlgMergeSequence::DlgMergeSequence(Project* project, QWidget* parent)
    : QDialog(parent)
    , m_project(project) {
    setObjectName(QStringLiteral("DlgMergeSequence"));
    setWindowTitle(QStringLiteral("Merge sequences"));
    m_tabs = new QTabWidget(this);
    m_tabs->setObjectName(QStringLiteral("tabWidget"));

    // Automatic mode.
    auto* autoTab = new QWidget(m_tabs);
    m_cbLpm = check_box(autoTab, "cbBreakLpm", QStringLiteral("Lpm"));
    m_cbVig = check_box(autoTab, "cbBreakVig", QStringLiteral("Vig"));
    m_cbSave = check_box(autoTab, "cbBreakSave", QStringLiteral("Save"));
    m_cbRatio = check_box(autoTab, "cbBreakAppratio", QStringLiteral("Ratio"));
    m_cbHideUsed = check_box(autoTab, "cbHideUsedSequence", QStringLiteral("Hide already merged sequences"));
    m_edMaxTime = new QLineEdit(QStringLiteral("3600"), autoTab);
    m_edMaxTime->setObjectName(QStringLiteral("edMaxTimeBetween"));
    m_edMaxCount = new QLineEdit(QStringLiteral("0"), autoTab);
    m_edMaxCount->setObjectName(QStringLiteral("edMaxSequenceCount"));
    m_tbl = new QTableWidget(0, 4, autoTab);
    m_tbl->setObjectName(QStringLiteral("tbl"));
    m_tbl->setHorizontalHeaderLabels({QStringLiteral("Sequence"), QStringLiteral("Params"),
                                      QStringLiteral("Delta T (s)"), QStringLiteral("Proposal")});
    m_tbl->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tbl->setSelectionMode(QAbstractItemView::SingleSelection);
    m_tbl->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_tbl->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tbl->horizontalHeader()->setStretchLastSection(true);
    auto* criteriaRow = new QHBoxLayout;
    criteriaRow->addWidget(label(autoTab, QStringLiteral("Merge break Criteria :")));
    for (QCheckBox* cb : {m_cbLpm, m_cbVig, m_cbSave, m_cbRatio}) {
        criteriaRow->addWidget(cb);
    }
    criteriaRow->addStretch();
    auto* limits = new QFormLayout;
    limits->addRow(label(autoTab, QStringLiteral("Max duration between sequences (s) :")), m_edMaxTime);
    limits->addRow(label(autoTab, QStringLiteral("Max number of merged sequence")), m_edMaxCount);
    limits->addRow(m_cbHideUsed);
    auto* autoButtons = new QHBoxLayout;
    autoButtons->addWidget(button("btRefresh", QStringLiteral("Refresh List")));
    autoButtons->addStretch();
    autoButtons->addWidget(button("btMergeSequenceAuto", QStringLiteral("Merge")));
    autoButtons->addWidget(button("btMergeAllSequenceAuto", QStringLiteral("Merge All Sequences")));
    auto* autoLayout = new QVBoxLayout(autoTab);
    autoLayout->addLayout(criteriaRow);
    autoLayout->addLayout(limits);
    autoLayout->addWidget(m_tbl, 1);
    autoLayout->addLayout(autoButtons);
    m_tabs->addTab(autoTab, QStringLiteral("Automatic Mode"));

    // Manual mode.
    auto* manualTab = new QWidget(m_tabs);
    m_left = new QListWidget(manualTab);
    m_left->setObjectName(QStringLiteral("LBGauche"));
    m_left->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_right = new QListWidget(manualTab);
    m_right->setObjectName(QStringLiteral("LBDroite"));
    m_right->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_edMergedName = new QLineEdit(manualTab);
    m_edMergedName->setObjectName(QStringLiteral("edMergedName"));
    auto* grid = new QGridLayout(manualTab);
    grid->addWidget(label(manualTab, QStringLiteral("Project available sequences")), 0, 0);
    grid->addWidget(label(manualTab, QStringLiteral("Sequences to merge")), 0, 2);
    grid->addWidget(m_left, 1, 0);
    auto* moves = new QVBoxLayout;
    moves->addStretch();
    moves->addWidget(button("btAddToMerge", QStringLiteral(">>")));
    moves->addWidget(button("btRemoveFromMerge", QStringLiteral("<<")));
    moves->addStretch();
    moves->addWidget(button("btRemoveMergeRows", QStringLiteral("Remove \n *Merge* Rows \nfrom Left List")));
    grid->addLayout(moves, 1, 1);
    grid->addWidget(m_right, 1, 2);
    auto* nameRow = new QHBoxLayout;
    nameRow->addWidget(label(manualTab, QStringLiteral("Merged Sequence Name :")));
    nameRow->addWidget(m_edMergedName, 1);
    grid->addLayout(nameRow, 2, 0, 1, 3);
    auto* manualButtons = new QHBoxLayout;
    manualButtons->addWidget(button("btRestoreUsed", QStringLiteral("Remove _UsedForMerge from name")));
    manualButtons->addStretch();
    manualButtons->addWidget(button("btMergeSequence", QStringLiteral("Merge")));
    grid->addLayout(manualButtons, 3, 0, 1, 3);
    m_tabs->addTab(manualTab, QStringLiteral("Manual Mode"));

    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("lblStatus"));
    m_status->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs, 1);
    layout->addWidget(m_status);
    connect(m_left, &QListWidget::itemDoubleClicked, this, &DlgMergeSequence::on_btAddToMerge_clicked);
    connect(m_right, &QListWidget::itemDoubleClicked, this, &DlgMergeSequence::on_btRemoveFromMerge_clicked);
    QMetaObject::connectSlotsByName(this);
    resize(760, 560);
    updateParamsHeader();
    on_btRefresh_clicked();
}

QPushButton* DlgMergeSequence::button(const char* name, const QString& text) {
    auto* b = new QPushButton(text, this);
    b->setObjectName(QLatin1String(name));
    b->setAutoDefault(false);
    return b;
}

int DlgMergeSequence::criteria() const {
    return (m_cbLpm->isChecked() ? SequenceMerge::Lpm : 0) | (m_cbVig->isChecked() ? SequenceMerge::Vig : 0) |
           (m_cbSave->isChecked() ? SequenceMerge::Save : 0) |
           (m_cbRatio->isChecked() ? SequenceMerge::Ratio : 0);
}

void DlgMergeSequence::updateParamsHeader() {
    const QStringList labels = SequenceMerge::CriteriaLabels(criteria());
    m_tbl->horizontalHeaderItem(1)->setText(labels.isEmpty() ? QStringLiteral("Params")
                                                             : labels.join(QLatin1Char(',')));
}

void DlgMergeSequence::on_cbBreakLpm_toggled(bool) {
    updateParamsHeader();
}
void DlgMergeSequence::on_cbBreakVig_toggled(bool) {
    updateParamsHeader();
}
void DlgMergeSequence::on_cbBreakSave_toggled(bool) {
    updateParamsHeader();
}
void DlgMergeSequence::on_cbBreakAppratio_toggled(bool) {
    updateParamsHeader();
}

void DlgMergeSequence::on_btRefresh_clicked() {
    WaitCursor wait;
    m_status->setText(QStringLiteral("Refreshing sequences list"));
    m_tbl->setRowCount(0);
    m_left->clear();
    m_right->clear();
    m_candidates.clear();
    updateParamsHeader();
    if (m_project == nullptr || !m_project->IsOpen()) {
        m_status->clear();
        return;
    }
    SequenceMerge::Grouping g;
    g.criteria = criteria();
    g.maxGapSeconds = m_edMaxTime->text().trimmed().toLongLong();
    g.maxCount = m_edMaxCount->text().trimmed().toInt();
    g.hideUsed = m_cbHideUsed->isChecked();
    const QString path = m_project->Path();
    m_candidates = SequenceMerge::Candidates(path, SequenceMerge::ProjectSequences(path), g);
    m_tbl->setRowCount(static_cast<int>(m_candidates.size()));
    for (int row = 0; row < static_cast<int>(m_candidates.size()); ++row) {
        const MergeCandidate& c = m_candidates[static_cast<std::size_t>(row)];
        const QString cells[] = {c.name, c.key, c.gap, c.proposal};
        for (int col = 0; col < 4; ++col) {
            m_tbl->setItem(row, col, new QTableWidgetItem(cells[col]));
        }
        m_left->addItem(c.name);
    }
    m_status->clear();
}

bool DlgMergeSequence::runMerge(const QStringList& sources, const QString& destination) {
    m_status->setText(SequenceMerge::StatusText(destination, sources));
    setEnabled(false);
    WaitCursor wait;
    SequenceMerge::Result result;
    const QString path = m_project->Path();
    // Disk work of possibly gigabytes: the dialog keeps painting meanwhile.
    QThread* thread = QThread::create([&] { result = SequenceMerge::Merge(path, sources, destination); });
    QEventLoop loop;
    connect(thread, &QThread::finished, &loop, &QEventLoop::quit);
    thread->start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    thread->wait();
    delete thread;
    setEnabled(true);
    m_status->clear();
    if (!result.ok) {
        UiDialogs::critical(this, QStringLiteral("Merge error"), result.error);
    }
    return result.ok;
}

bool DlgMergeSequence::mergeGroup(const QString& base, bool tell) {
    const auto first = std::find_if(m_candidates.begin(), m_candidates.end(),
                                    [&](const MergeCandidate& c) { return c.name == base; });
    if (first == m_candidates.end()) {
        UiDialogs::warning(this, QStringLiteral("Invalid sequence"),
                           QStringLiteral("Invalid Referenced sequence ") + base);
        return false;
    }
    if (first->count < 2) {
        if (tell) {
            UiDialogs::warning(this, QStringLiteral("Not enougth sample"),
                               QStringLiteral("There's not enought sequence to merge"));
        }
        return false;
    }
    return runMerge(SequenceMerge::GroupMembers(m_candidates, base), first->proposal);
}

void DlgMergeSequence::on_btMergeSequenceAuto_clicked() {
    const QModelIndexList rows = m_tbl->selectionModel()->selectedRows();
    if (rows.isEmpty()) {
        UiDialogs::warning(this, QStringLiteral("No selection"),
                           QStringLiteral("You must select a sequence to merge first"));
        return;
    }
    const int row = rows.first().row();
    const QString name = m_tbl->item(row, 0) ? m_tbl->item(row, 0)->text() : QString();
    const auto it = std::find_if(m_candidates.begin(), m_candidates.end(),
                                 [&](const MergeCandidate& c) { return c.name == name; });
    if (it == m_candidates.end()) {
        UiDialogs::warning(this, QStringLiteral("Invalid sequence"),
                           QStringLiteral("Invalid sequence ") + name);
        return;
    }
    const bool merged = mergeGroup(it->base, true);
    if (merged) {
        Q_EMIT SequencesChanged();
        on_btRefresh_clicked();
    }
}

void DlgMergeSequence::on_btMergeAllSequenceAuto_clicked() {
    QStringList bases;
    for (const MergeCandidate& c : m_candidates) {
        if (c.count >= 2) {
            bases << c.name;
        }
    }
    for (const QString& base : bases) {
        if (!mergeGroup(base, false)) {
            break;
        }
    }
    Q_EMIT SequencesChanged();
    on_btRefresh_clicked();
}

void DlgMergeSequence::on_btMergeSequence_clicked() {
    QStringList sources;
    for (int i = 0; i < m_right->count(); ++i) {
        sources << m_right->item(i)->text();
    }
    if (sources.size() < 2) {
        UiDialogs::warning(this, QStringLiteral("Sequences required"),
                           QStringLiteral("You must select at least 2 sequences"));
        return;
    }
    const QString name = m_edMergedName->text().trimmed();
    if (name.isEmpty()) {
        UiDialogs::warning(this, QStringLiteral("Destination Sequence name required"),
                           QStringLiteral("You must provide a merged sequence name"));
        return;
    }
    if (runMerge(sources, name)) {
        Q_EMIT SequencesChanged();
        on_btRefresh_clicked();
    }
}

void DlgMergeSequence::on_btRestoreUsed_clicked() {
    QStringList errors;
    for (int i = 0; i < m_right->count(); ++i) {
        const QString name = m_right->item(i)->text();
        QString error;
        if (name.contains(QLatin1String(SequenceMerge::kUsedMark)) &&
            !SequenceMerge::Restore(m_project->Path(), name, &error)) {
            errors << error;
        }
    }
    Q_EMIT SequencesChanged();
    if (!errors.isEmpty()) {
        UiDialogs::critical(this, QStringLiteral("Restore error"), errors.join(QLatin1Char('\n')));
    }
    accept();
}

void DlgMergeSequence::on_btRemoveMergeRows_clicked() {
    for (int i = m_left->count() - 1; i >= 0; --i) {
        if (SequenceMerge::IsUsedName(m_left->item(i)->text())) {
            delete m_left->takeItem(i);
        }
    }
}

void DlgMergeSequence::on_btAddToMerge_clicked() {
    for (QListWidgetItem* item : m_left->selectedItems()) {
        m_right->addItem(m_left->takeItem(m_left->row(item)));
    }
}

void DlgMergeSequence::on_btRemoveFromMerge_clicked() {
    for (QListWidgetItem* item : m_right->selectedItems()) {
        m_left->addItem(m_right->takeItem(m_right->row(item)));
    }
}
