#include "MainTop.h"

#include "worker/TaskStatusLine.h"

#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>

#include <cmath>

namespace {

QLabel* value_label(const char* objectName) {
    auto* label = new QLabel(QStringLiteral("-"));
    label->setObjectName(QString::fromLatin1(objectName));
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

double field_mb(const QStringList& fields, int index) {
    bool ok = false;
    const double value = fields.value(index).trimmed().toDouble(&ok);
    // A negative or unreadable field counts as no space at all.
    return ok && std::isfinite(value) && value > 0 ? value : 0.0;
}

} // namespace

MainTop::MainTop(QWidget* parent)
    : QWidget(parent)
    , m_camera(value_label("lblCameraRef"))
    , m_light(value_label("lblLightRef"))
    , m_pu(value_label("lblPuSerial"))
    , m_variant(value_label("lblVariant"))
    , m_mode(value_label("lblMode"))
    , m_voltage(new QLabel(QStringLiteral("Input voltage = ?")))
    , m_sdBar(new QProgressBar)
    , m_sd(value_label("lblSdSpace"))
    , m_pressureLed(new QLabel)
    , m_project(value_label("lblProject"))
    , m_status(new QLabel) {
    setObjectName(QStringLiteral("MainTop"));
    // The pages below take the height; the dashboard keeps to what its fields need.
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    m_voltage->setObjectName(QStringLiteral("lblVoltage"));
    m_sdBar->setObjectName(QStringLiteral("pbSdMemory"));
    m_sdBar->setRange(0, 100);
    m_sdBar->setValue(0);
    m_sdBar->setFormat(QStringLiteral("%p% free"));
    m_pressureLed->setObjectName(QStringLiteral("ledPressureSensor"));
    m_pressureLed->setFixedSize(16, 16);
    m_pressureLed->setStyleSheet(QString::fromLatin1(kLedOff));
    m_status->setObjectName(QStringLiteral("lblTaskStatus"));
    m_status->setMinimumHeight(24);
    m_status->setContentsMargins(6, 2, 6, 2);

    auto* instrument = new QGroupBox(QStringLiteral("Kelvo6"));
    auto* idForm = new QFormLayout(instrument);
    idForm->addRow(QStringLiteral("Camera:"), m_camera);
    idForm->addRow(QStringLiteral("Light:"), m_light);
    idForm->addRow(QStringLiteral("PU:"), m_pu);

    auto* state = new QGroupBox(QStringLiteral("State"));
    auto* stateForm = new QFormLayout(state);
    stateForm->addRow(QStringLiteral("Variant:"), m_variant);
    stateForm->addRow(QStringLiteral("Mode:"), m_mode);
    auto* pressureRow = new QHBoxLayout;
    pressureRow->addWidget(m_pressureLed);
    pressureRow->addStretch();
    stateForm->addRow(QStringLiteral("Pressure sensor:"), pressureRow);

    auto* storage = new QGroupBox(QStringLiteral("Power and SD card"));
    auto* storageBox = new QVBoxLayout(storage);
    storageBox->addWidget(m_voltage);
    storageBox->addWidget(m_sdBar);
    storageBox->addWidget(m_sd);

    auto* project = new QGroupBox(QStringLiteral("Project"));
    auto* projectBox = new QVBoxLayout(project);
    m_project->setText(QStringLiteral("No project"));
    m_project->setWordWrap(true);
    projectBox->addWidget(m_project);
    projectBox->addStretch();

    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(4, 4, 4, 4);
    grid->addWidget(instrument, 0, 0);
    grid->addWidget(state, 0, 1);
    grid->addWidget(storage, 0, 2);
    grid->addWidget(project, 0, 3);
    grid->addWidget(m_status, 1, 0, 1, 4);
    for (int c = 0; c < 4; ++c) {
        grid->setColumnStretch(c, 1);
    }
    showInstrument({});
    showTaskStatus(QStringLiteral("Idle"), 0);
}

void MainTop::showInstrument(const DashboardIdentity& id) {
    const bool connected = !id.cameraRef.isEmpty();
    const auto or_dash = [](const QString& s) { return s.isEmpty() ? QStringLiteral("-") : s; };
    m_camera->setText(connected ? id.cameraRef : QStringLiteral("not connected"));
    m_light->setText(or_dash(id.lightRef));
    m_pu->setText(or_dash(id.hardwareInfo.value(0)));
    m_variant->setText(connected ? or_dash(id.variant) : QStringLiteral("-"));
    m_mode->setText(connected ? or_dash(modeText(id.acquisitionMode)) : QStringLiteral("-"));
    m_voltage->setText(QStringLiteral("Input voltage = ") +
                       (id.power.isEmpty() ? QStringLiteral("?") : id.power));

    const bool hf = id.variant == QLatin1String("HF");
    const double remaining = field_mb(id.hardwareInfo, hf ? kSdRemainingIndexHF : kSdRemainingIndexLP);
    const double total = field_mb(id.hardwareInfo, hf ? kSdTotalIndexHF : kSdTotalIndexLP);
    m_sdBar->setValue(sdPercent(remaining, total));
    m_sd->setText(sdText(remaining, total));

    m_pressureLed->setStyleSheet(
        QString::fromLatin1(hasPressureSensor(id.pressureSensorRef) ? kLedOn : kLedOff));
    m_pressureLed->setToolTip(id.pressureSensorRef.trimmed());
}

void MainTop::showProject(const QString& projectName) {
    m_project->setText(projectName.isEmpty() ? QStringLiteral("No project") : projectName);
}

void MainTop::showTaskStatus(const QString& status, int pending) {
    const QString text = TaskStatusLine::text(pending, status);
    m_status->setText(text);
    m_status->setStyleSheet(TaskStatusLine::style(text));
}

int MainTop::sdPercent(double remainingMb, double totalMb) {
    if (!(totalMb > 0) || !std::isfinite(remainingMb)) {
        return 0;
    }
    const double percent = 100.0 * remainingMb / totalMb;
    if (percent <= 0) {
        return 0;
    }
    return percent >= 100 ? 100 : static_cast<int>(percent);
}

QString MainTop::sdText(double remainingMb, double totalMb) {
    return QStringLiteral("%1 / %2 GB").arg(remainingMb / 1024.0, 0, 'f', 2).arg(totalMb / 1024.0, 0, 'f', 2);
}

QString MainTop::modeText(const QString& acquisitionMode) {
    const QString mode = acquisitionMode.trimmed();
    if (mode == QLatin1String("0")) {
        return QStringLiteral("SUPERVISED");
    }
    if (mode == QLatin1String("1")) {
        return QStringLiteral("AUTONOMOUS");
    }
    if (mode == QLatin1String("2")) {
        return QStringLiteral("TIME");
    }
    return mode;
}

bool MainTop::hasPressureSensor(const QString& pressureSensorRef) {
    return !pressureSensorRef.trimmed().isEmpty();
}
