#pragma once

#include "SequenceMerge.h"

#include <QDialog>
#include <QString>
#include <QStringList>

#include <vector>

class Project;
class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QTableWidget;
class QTabWidget;

// Joins sequences of the open project: in "Automatic Mode" the candidates are grouped by equal
// acquisition settings and closeness in time, in "Manual Mode" the user picks them. The work is
// SequenceMerge's; the dialog asks, refuses and shows. A merge runs on a thread of its own while
// the dialog keeps repainting its status text.
class DlgMergeSequence : public QDialog {
    Q_OBJECT
public:
    explicit DlgMergeSequence(Project* project, QWidget* parent = nullptr);

    const std::vector<MergeCandidate>& Candidates() const { return m_candidates; }
    QLabel* StatusLabel() const { return m_status; }

Q_SIGNALS:
    // The project's sequences changed on disk (a merge or a restore): the sequences page reloads.
    void SequencesChanged();

public Q_SLOTS:
    void on_btRefresh_clicked();
    void on_btMergeSequenceAuto_clicked();
    void on_btMergeAllSequenceAuto_clicked();
    void on_btMergeSequence_clicked();
    void on_btRestoreUsed_clicked();
    void on_btRemoveMergeRows_clicked();
    void on_btAddToMerge_clicked();
    void on_btRemoveFromMerge_clicked();
    void on_cbBreakLpm_toggled(bool);
    void on_cbBreakVig_toggled(bool);
    void on_cbBreakSave_toggled(bool);
    void on_cbBreakAppratio_toggled(bool);

private:
    int criteria() const;
    void updateParamsHeader();
    bool mergeGroup(const QString& base, bool tell);
    // Merges and tells the user about a failure; false when it did not complete.
    bool runMerge(const QStringList& sources, const QString& destination);
    QPushButton* button(const char* name, const QString& text);

    Project* m_project;
    std::vector<MergeCandidate> m_candidates;
    QTabWidget* m_tabs;
    QCheckBox* m_cbLpm;
    QCheckBox* m_cbVig;
    QCheckBox* m_cbSave;
    QCheckBox* m_cbRatio;
    QCheckBox* m_cbHideUsed;
    QLineEdit* m_edMaxTime;
    QLineEdit* m_edMaxCount;
    QTableWidget* m_tbl;
    QListWidget* m_left;
    QListWidget* m_right;
    QLineEdit* m_edMergedName;
    QLabel* m_status;
};
