#pragma once

#include "worker/KelvoTaskInfo.h"

#include <QString>
#include <QStringList>
#include <QWidget>

class CThWorker;
class Project;
class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTableWidget;
class QTimer;

// The download page: the sequences of the instrument's SD card, whether the open project holds
// a complete copy of each, and the downloads of the chosen ones. Listing and downloading are
// worker tasks; the page posts them, watches their progress and redraws its grid when they end.
class FFileTransfert : public QWidget {
    Q_OBJECT
public:
    FFileTransfert(Project* project, CThWorker* worker, QWidget* parent = nullptr);

    QTableWidget* grid() const { return m_tbl; }
    QLabel* informationLabel() const { return m_info; }
    QProgressBar* progressBar() const { return m_progress; }
    QLabel* progressLabel() const { return m_progressText; }

    static QString informationStyle() {
        return QStringLiteral("background-color : #f8f1d6; color : #8f6b2d;font-size:20px;font-weight:bold;");
    }

public Q_SLOTS:
    void on_btGetFileList_clicked();
    void on_btRefresh_clicked();
    void on_btTransfertMissing_clicked();
    void on_btTrsf1Seq_clicked();
    // Redraws the grid from the current list, computing every status.
    void redraw();

private Q_SLOTS:
    void onTaskFinished(KelvoTaskInfoPtr task);
    void updateProgress();

private:
    QPushButton* addButton(const char* objectName, const QString& label);
    void schedule(const QStringList& names);
    QString projectPath() const;

    Project* m_project;
    CThWorker* m_worker;
    QTableWidget* m_tbl;
    QCheckBox* m_treeUpdate;
    QLabel* m_info;
    QProgressBar* m_progress;
    QLabel* m_progressText;
    QTimer* m_progressTimer;
    QString m_shownTransfer;
};
