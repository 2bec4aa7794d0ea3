#pragma once

#include <QModelIndex>
#include <QString>
#include <QStringList>
#include <QWidget>

class Project;
class QPushButton;
class QTableView;
class modelPrjSeq;

// The project's sequences page: the table of "raw/" folders and the actions on a sequence.
// Creating a sample, building vignette archives and merging belong to other pages and tasks:
// this page only asks for them through its signals, which the main window connects.
class FPrjSeq : public QWidget {
    Q_OBJECT
public:
    explicit FPrjSeq(Project* project, QWidget* parent = nullptr);

    modelPrjSeq* Model() const { return m_model; }
    QTableView* View() const { return m_view; }
    // Name of the selected sequence, empty when none is selected.
    QString SelectedSequence() const;
    bool SelectSequence(const QString& name);

Q_SIGNALS:
    void CreateSampleRequested(const QString& sequence);
    void ZipVignettesRequested(const QStringList& sequences);
    void MergeSequencesRequested();

public Q_SLOTS:
    void ProjectLoaded();
    void on_btRefresh_clicked();
    void on_BtCreateSample_clicked();
    void on_tableView_doubleClicked(const QModelIndex& index);
    void on_btMakeZipVignette_clicked();
    void on_btMakeZipVignetteAll_clicked();
    void on_btdelete_clicked();
    void on_BtMergeSequence_clicked();

private:
    QPushButton* addButton(const char* objectName, const QString& label);

    Project* m_project;
    modelPrjSeq* m_model;
    QTableView* m_view;
};
