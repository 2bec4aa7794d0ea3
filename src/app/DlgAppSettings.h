#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

// The application settings: serial port, speed, serial monitor at start-up, local address.
// The port field offers the serial devices present and takes any path typed in; a path with no
// device behind it is kept, with a warning under the field. The local address must be "auto"
// or an IPv4 address: anything else is refused with a message and nothing is saved.
class DlgAppSettings : public QDialog {
    Q_OBJECT
public:
    explicit DlgAppSettings(QWidget* parent = nullptr);

    // Fills the fields from the settings (with their defaults) and shows the dialog, modal but
    // without blocking.
    void open() override;

    // Where the port list is read from ("/dev"); tests point it at a made-up folder.
    void setDeviceRoot(const QString& root) { m_devRoot = root; }

    QComboBox* edSerialPort;
    QSpinBox* edSerialSpeed;
    QCheckBox* cbSerialMonitor;
    QLineEdit* edIP;
    QLabel* lblUdpPort;
    QLabel* lblPortWarning;
    QPushButton* btSave;
    QPushButton* btCancel;

Q_SIGNALS:
    // After the settings were written: the serial port is to be reopened.
    void settingsSaved();

private Q_SLOTS:
    void on_btSave_clicked();
    void on_btCancel_clicked();

private:
    void loadFields();
    void checkPort();

    QString m_devRoot = QStringLiteral("/dev");
};
