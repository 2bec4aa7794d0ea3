#pragma once

#include <QModelIndex>
#include <QString>
#include <QStringList>
#include <QWidget>

class CThWorker;
class Project;
class QPushButton;
class QTableView;
class modelPrjSample;

// The project's samples page: the samples table and the work on samples. Editing opens the
// sample dialog; processing and exports are queued on the background worker.
class FPrjSample : public QWidget {
    Q_OBJECT
public:
    FPrjSample(Project* project, CThWorker* worker, QWidget* parent = nullptr);

    modelPrjSample* Model() const { return m_model; }
    QTableView* View() const { return m_view; }
    QString SelectedSample() const;
    bool SelectSample(const QString& name);

    // Opens the sample dialog on `sample` (modal); true when it saved or deleted.
    bool EditSample(const QString& sample);

public Q_SLOTS:
    void ProjectLoaded();
    void on_btRefresh_clicked();
    void on_btEditSample_clicked();
    void on_tableView_doubleClicked(const QModelIndex& index);
    void on_btprocessdataselected_clicked();
    void on_btprocessimagesselected_clicked();
    void on_btProcessAllData_clicked();
    void on_btProcessAllImages_clicked();
    void on_btViewVignettes_clicked();
    void on_btViewChart_clicked();
    void on_btExportODV_clicked();
    void on_btExportAllODV_clicked();
    void on_btExportAllPlots_clicked();

private:
    QPushButton* addButton(const char* objectName, const QString& label);
    void queue(const QString& kind, const QStringList& samples);

    Project* m_project;
    CThWorker* m_worker;
    modelPrjSample* m_model;
    QTableView* m_view;
};
