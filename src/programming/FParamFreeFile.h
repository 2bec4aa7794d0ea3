#pragma once

#include "params/ParamTable.h"
#include "params/Timetable.h"

#include <QDialog>
#include <QVariant>

class InterfaceCamera;
class QCheckBox;
class QLineEdit;
class QSpinBox;

// "Free file transfert": uploads a hardware file, an acquisition file or a timetable file
// chosen by the user, each with its preview; the hardware upload keeps the instrument's serial
// numbers and settings unless told to override them. Uploads run off the GUI thread under the
// instrument lock.
class FParamFreeFile : public QDialog {
    Q_OBJECT
public:
    explicit FParamFreeFile(InterfaceCamera* camera, const QString& startDir, QWidget* parent = nullptr);

public Q_SLOTS:
    void on_btHWFile_clicked();
    void on_btACQFile_clicked();
    void on_btTimeTableFile_clicked();
    void on_btUploadHW_clicked();
    void on_btUploadACQ_clicked();
    void on_btUploadTimeTable_clicked();
    void on_btHWPreview_clicked();
    void on_btACQPreview_clicked();
    void on_btTimeTablePreview_clicked();

private:
    bool readTable(const QLineEdit* path, bool hardware, ParamTable& table);
    bool readTimetable(Timetable& timetable);
    void report(const QVariant& result, const QString& done, const QString& failed);

    InterfaceCamera* m_camera;
    QString m_startDir;
    QLineEdit* m_edHW;
    QLineEdit* m_edACQ;
    QLineEdit* m_edTimeTable;
    QSpinBox* m_slot;
    QCheckBox* m_overrideSerials;
    QCheckBox* m_overrideSettings;
};
