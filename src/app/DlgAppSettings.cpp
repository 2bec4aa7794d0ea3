#include "DlgAppSettings.h"

#include "AppSettings.h"
#include "SerialDevices.h"
#include "UiDialogs.h"
#include "link/SerialLink.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

DlgAppSettings::DlgAppSettings(QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("DlgAppSettings"));
    setWindowTitle(QStringLiteral("Application settings"));

    edSerialPort = new QComboBox(this);
    edSerialPort->setObjectName(QStringLiteral("edSerialPort"));
    edSerialPort->setEditable(true);
    edSerialPort->setInsertPolicy(QComboBox::NoInsert);
    edSerialPort->setMinimumWidth(280);
    edSerialPort->setToolTip(QStringLiteral("A serial device path, e.g. /dev/ttyUSB0"));
    edSerialSpeed = new QSpinBox(this);
    edSerialSpeed->setObjectName(QStringLiteral("edSerialSpeed"));
    edSerialSpeed->setRange(0, AppSettings::kMaxSerialSpeed);
    cbSerialMonitor = new QCheckBox(this);
    cbSerialMonitor->setObjectName(QStringLiteral("cbSerialMonitor"));
    edIP = new QLineEdit(this);
    edIP->setObjectName(QStringLiteral("edIP"));
    lblUdpPort = new QLabel(this);
    lblUdpPort->setObjectName(QStringLiteral("lblUdpPort"));
    lblPortWarning = new QLabel(this);
    lblPortWarning->setObjectName(QStringLiteral("lblPortWarning"));
    lblPortWarning->setWordWrap(true);
    lblPortWarning->setStyleSheet(QStringLiteral("color:#a05000;"));
    lblPortWarning->hide();
    connect(edSerialPort, &QComboBox::editTextChanged, this, &DlgAppSettings::checkPort);
    btSave = new QPushButton(QStringLiteral("Save Settings"), this);
    btSave->setObjectName(QStringLiteral("btSave"));
    btSave->setStatusTip(QStringLiteral("btGreen"));
    btSave->setMinimumHeight(32);
    btCancel = new QPushButton(QStringLiteral("Cancel"), this);
    btCancel->setObjectName(QStringLiteral("btCancel"));
    btCancel->setStatusTip(QStringLiteral("btOrange"));
    btCancel->setMinimumHeight(32);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Serial port #"), edSerialPort);
    form->addRow(QString(), lblPortWarning);
    form->addRow(QStringLiteral("Serial speed"), edSerialSpeed);
    form->addRow(QStringLiteral("Serial monitor displayed"), cbSerialMonitor);
    form->addRow(QStringLiteral("Local IP (or auto)"), edIP);
    form->addRow(QStringLiteral("UDP port"), lblUdpPort);
    auto* note = new QLabel(QStringLiteral("Restarting application may be required"), this);
    note->setObjectName(QStringLiteral("lblNote"));
    // The coloured buttons' style has no padding: their width comes from their text.
    for (QPushButton* b : {btSave, btCancel}) {
        b->ensurePolished();
        b->setMinimumWidth(b->fontMetrics().horizontalAdvance(b->text()) + 28);
    }
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(btCancel);
    buttons->addWidget(btSave);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(note);
    layout->addLayout(buttons);
    QMetaObject::connectSlotsByName(this);
}

void DlgAppSettings::loadFields() {
    edSerialPort->clear();
    edSerialPort->addItems(list_serial_devices(m_devRoot));
    edSerialPort->setEditText(AppSettings::serialPort());
    checkPort();
    edSerialSpeed->setValue(qBound(0, AppSettings::serialSpeed(), AppSettings::kMaxSerialSpeed));
    cbSerialMonitor->setChecked(AppSettings::serialMonitor());
    edIP->setText(AppSettings::localIp());
    lblUdpPort->setText(QString::number(AppSettings::udpPort()));
}

void DlgAppSettings::open() {
    loadFields();
    QDialog::open();
}

void DlgAppSettings::checkPort() {
    const QString port = edSerialPort->currentText().trimmed();
    const QString device = serial_device_path(port);
    const bool missing = !port.isEmpty() && !QFileInfo::exists(device);
    lblPortWarning->setText(missing
                                ? QStringLiteral("There is no device %1 on this computer now: it is saved as "
                                                 "it is, and the port opens once the device is plugged in.")
                                      .arg(device)
                                : QString());
    lblPortWarning->setVisible(missing);
}

void DlgAppSettings::on_btSave_clicked() {
    const QString ip = edIP->text().trimmed();
    if (!AppSettings::isLocalIpText(ip)) {
        UiDialogs::warning(
            this, QStringLiteral("Application settings"),
            QStringLiteral("Local IP must be \"auto\" or an IPv4 address such as 192.168.0.10, "
                           "not \"%1\". Nothing was saved.")
                .arg(ip));
        edIP->setFocus();
        edIP->selectAll();
        return;
    }
    AppSettings::setSerialPort(edSerialPort->currentText());
    AppSettings::setSerialSpeed(edSerialSpeed->value());
    AppSettings::setSerialMonitor(cbSerialMonitor->isChecked());
    AppSettings::setLocalIp(ip);
    accept();
    Q_EMIT settingsSaved();
}

void DlgAppSettings::on_btCancel_clicked() {
    reject();
}
