#pragma once

#include "LiveCameraSettings.h"

#include <QDialog>
#include <QString>

class InstrumentLock;
class InterfaceCamera;
class LiveCameraLoop;
class Project;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;
struct LiveFrame;

// Live frames of the instrument's camera with their statistics, the image settings changed
// between frames, and frames saved on request. In "Manual" mode the widgets give the settings;
// in "Driven" mode "./automate.ini" does, read again at every pass, and the widgets follow it.
// The frames are fetched by LiveCameraLoop on a thread of its own: the window never waits for
// the instrument.
class DlgLiveCamera : public QDialog {
    Q_OBJECT
public:
    static constexpr const char* kStartText = "Start Live Display";
    static constexpr const char* kStopText = "Stop Live Display";
    static constexpr const char* kStopStyle = "background-color:#f27f77;";

    DlgLiveCamera(InterfaceCamera* camera, Project* project, InstrumentLock* lock = nullptr,
                  QWidget* parent = nullptr);
    ~DlgLiveCamera() override;

    LiveCameraLoop* Loop() const { return m_loop; }
    // The settings the widgets give.
    LiveCameraSettings WidgetSettings() const;
    // Where "./automate.ini" is read from in Driven mode (tests point it elsewhere).
    void setDrivenIniPath(const QString& path) { m_iniPath = path; }

public Q_SLOTS:
    void on_btStartStop_clicked();
    void on_btExit_clicked();

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void pushSettings();
    void showFrame();
    void showSettings(const LiveCameraSettings& s);
    void loopStopped(const QString& error);

    InterfaceCamera* m_camera;
    Project* m_project;
    LiveCameraLoop* m_loop;
    QString m_iniPath;
    QRadioButton* m_rbManual;
    QRadioButton* m_rbDriven;
    QDoubleSpinBox* m_spExposure;
    QSpinBox* m_spBlack;
    QSpinBox* m_spGain;
    QComboBox* m_cbTransfer;
    QCheckBox* m_cbMire;
    QCheckBox* m_cbLight;
    QCheckBox* m_cbLightCorrection;
    QLineEdit* m_edBaseName;
    QLineEdit* m_edExt;
    QRadioButton* m_rbSaveNo;
    QRadioButton* m_rbSaveYes;
    QRadioButton* m_rbSaveOne;
    QLabel* m_image;
    QLabel* m_stats;
    QLabel* m_displayed;
    QLabel* m_saved;
    QPushButton* m_btStartStop;
    QPushButton* m_btExit;
};
