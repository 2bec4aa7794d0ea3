#pragma once

#include <QString>
#include <QStringList>
#include <QWidget>

class QLabel;
class QProgressBar;

// What the dashboard shows of the connected instrument (empty camera reference: none).
struct DashboardIdentity {
    QString cameraRef;
    QString lightRef;
    QString variant;           // "LP" or "HF"
    QString power;             // power reading, "?" when unknown
    QStringList hardwareInfo;  // "$PU:hwinfo;" fields
    QString acquisitionMode;   // hardware parameter Acquisition_mode ("0", "1", "2")
    QString pressureSensorRef; // hardware parameter Pressure_sensor_ref
};

// The dashboard above the pages: the connected instrument's serial numbers, variant and mode,
// input voltage, SD card space and pressure sensor, the open project, and the background task
// status line.
//
// SD space comes from the hardware information, in MB: remaining at field 5 and total at field
// 6 on an LP instrument; an HF instrument reports one more field (its flash driver) before them,
// so remaining is field 6 and total field 7.
class MainTop : public QWidget {
    Q_OBJECT
public:
    static constexpr int kSdRemainingIndexLP = 5;
    static constexpr int kSdTotalIndexLP = 6;
    static constexpr int kSdRemainingIndexHF = 6;
    static constexpr int kSdTotalIndexHF = 7;
    static constexpr const char* kLedOn = "background-color:green;border:1px solid black;";
    static constexpr const char* kLedOff = "background-color:white;border:1px solid black;";

    explicit MainTop(QWidget* parent = nullptr);

    void showInstrument(const DashboardIdentity& identity);
    void showProject(const QString& projectName);
    // The background task line: "Pending:<n> / <status>" while tasks are unfinished.
    void showTaskStatus(const QString& status, int pending);

    // --- Rules behind the display ----------------------------------------------------------
    // 100 x remaining / total, truncated; 0 when total is not above 0.
    static int sdPercent(double remainingMb, double totalMb);
    // "%1 / %2 GB", both in GB with two decimals.
    static QString sdText(double remainingMb, double totalMb);
    // "SUPERVISED", "AUTONOMOUS", "TIME" for 0, 1, 2; the raw text otherwise.
    static QString modeText(const QString& acquisitionMode);
    // A pressure sensor is fitted when its reference is not blank (the instrument keeps it
    // empty when none is installed).
    static bool hasPressureSensor(const QString& pressureSensorRef);

    QLabel* cameraLabel() const { return m_camera; }
    QLabel* lightLabel() const { return m_light; }
    QLabel* puLabel() const { return m_pu; }
    QLabel* variantLabel() const { return m_variant; }
    QLabel* modeLabel() const { return m_mode; }
    QLabel* voltageLabel() const { return m_voltage; }
    QProgressBar* sdBar() const { return m_sdBar; }
    QLabel* sdLabel() const { return m_sd; }
    QLabel* pressureLed() const { return m_pressureLed; }
    QLabel* projectLabel() const { return m_project; }
    QLabel* statusLabel() const { return m_status; }

private:
    QLabel* m_camera;
    QLabel* m_light;
    QLabel* m_pu;
    QLabel* m_variant;
    QLabel* m_mode;
    QLabel* m_voltage;
    QProgressBar* m_sdBar;
    QLabel* m_sd;
    QLabel* m_pressureLed;
    QLabel* m_project;
    QLabel* m_status;
};
