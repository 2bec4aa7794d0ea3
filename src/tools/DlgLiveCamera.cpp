#include "DlgLiveCamera.h"

#include "LiveCameraLoop.h"
#include "app/UiDialogs.h"
#include "device/InterfaceCamera.h"
#include "project/Project.h"
#include "worker/InstrumentBusyRunner.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

template <typename T> T* named(T* w, const char* name) {
    w->setObjectName(QLatin1String(name));
    return w;
}

// The test pattern: a centre cross, a centre circle and the thirds, to line the camera up.
void draw_mire(QPixmap& pixmap) {
    QPainter p(&pixmap);
    p.setPen(QPen(QColor(255, 64, 64), 1));
    const int w = pixmap.width();
    const int h = pixmap.height();
    p.drawLine(w / 2, 0, w / 2, h);
    p.drawLine(0, h / 2, w, h / 2);
    p.drawEllipse(QPoint(w / 2, h / 2), std::min(w, h) / 4, std::min(w, h) / 4);
    p.setPen(QPen(QColor(255, 200, 64), 1, Qt::DashLine));
    for (int i = 1; i < 3; ++i) {
        p.drawLine(w * i / 3, 0, w * i / 3, h);
        p.drawLine(0, h * i / 3, w, h * i / 3);
    }
}

} // namespace

DlgLiveCamera::DlgLiveCamera(InterfaceCamera* camera, Project* project, InstrumentLock* lock, QWidget* parent)
    : QDialog(parent)
    , m_camera(camera)
    , m_project(project)
    , m_loop(new LiveCameraLoop(*camera, lock, this))
    , m_iniPath(QLatin1String(LiveCameraLoop::kDrivenIni)) {
    setObjectName(QStringLiteral("DlgLiveCamera"));
    setWindowTitle(QStringLiteral("Live Camera"));

    m_rbManual = named(new QRadioButton(QStringLiteral("Manual"), this), "rbManual");
    m_rbDriven = named(new QRadioButton(QStringLiteral("Driven"), this), "rbDriven");
    m_rbManual->setChecked(true);
    m_spExposure = named(new QDoubleSpinBox(this), "spExposure");
    m_spExposure->setDecimals(2);
    m_spExposure->setRange(0, 10000000);
    m_spExposure->setValue(1000);
    m_spBlack = named(new QSpinBox(this), "spBlackLevel");
    m_spBlack->setRange(-100000, 100000);
    m_spGain = named(new QSpinBox(this), "spGain");
    m_spGain->setRange(-100000, 100000);
    m_cbTransfer = named(new QComboBox(this), "cbTransferFunc");
    for (int i = 0; i < LiveCameraSettings::kTransferCount; ++i) {
        m_cbTransfer->addItem(LiveCameraSettings::TransferName(i));
    }
    m_cbMire = named(new QCheckBox(QStringLiteral("Test pattern"), this), "cbMire");
    m_cbLight = named(new QCheckBox(QStringLiteral("Light"), this), "cbLight");
    m_cbLightCorrection = named(new QCheckBox(QStringLiteral("Light correction"), this), "cbLightCorrection");
    m_edBaseName = named(new QLineEdit(QStringLiteral("livecamera#"), this), "edFileBaseName");
    m_edExt = named(new QLineEdit(QStringLiteral("png"), this), "edFileExt");
    m_rbSaveNo = named(new QRadioButton(QStringLiteral("Off"), this), "rbSaveFileNo");
    m_rbSaveYes = named(new QRadioButton(QStringLiteral("Every frame"), this), "rbSaveFileYes");
    m_rbSaveOne = named(new QRadioButton(QStringLiteral("Just one"), this), "rbSaveFileOne");
    m_rbSaveNo->setChecked(true);
    m_image = named(new QLabel(this), "lblImage");
    m_image->setMinimumSize(320, 260);
    m_image->setAlignment(Qt::AlignCenter);
    m_image->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    m_stats = named(new QLabel(this), "lblStatistics");
    m_stats->setWordWrap(true);
    m_stats->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_displayed = named(new QLabel(QStringLiteral("%1 Images displayed").arg(0), this), "lblDisplayed");
    m_saved = named(new QLabel(QStringLiteral("%1 Images saved").arg(0), this), "lblSaved");
    m_btStartStop = named(new QPushButton(QLatin1String(kStartText), this), "btStartStop");
    m_btExit = named(new QPushButton(QStringLiteral("EXIT Live \nDisplay"), this), "btExit");

    auto* mode = new QGroupBox(QStringLiteral("Mode"), this);
    auto* modeLayout = new QHBoxLayout(mode);
    modeLayout->addWidget(m_rbManual);
    modeLayout->addWidget(m_rbDriven);
    auto* settings = new QGroupBox(QStringLiteral("Settings"), this);
    auto* form = new QFormLayout(settings);
    form->addRow(QStringLiteral("Exposure time (us)"), m_spExposure);
    form->addRow(QStringLiteral("Gain (0.1 dB)"), m_spGain);
    form->addRow(QStringLiteral("Black level (12 bits)"), m_spBlack);
    form->addRow(QStringLiteral("Transfer function"), m_cbTransfer);
    form->addRow(m_cbMire);
    form->addRow(m_cbLight);
    form->addRow(m_cbLightCorrection);
    form->addRow(QStringLiteral("File base name"), m_edBaseName);
    form->addRow(QStringLiteral("File extension"), m_edExt);
    auto* save = new QGroupBox(QStringLiteral("Save file"), this);
    auto* saveLayout = new QHBoxLayout(save);
    saveLayout->addWidget(m_rbSaveNo);
    saveLayout->addWidget(m_rbSaveYes);
    saveLayout->addWidget(m_rbSaveOne);
    auto* side = new QVBoxLayout;
    side->addWidget(mode);
    side->addWidget(settings);
    side->addWidget(save);
    side->addWidget(m_stats);
    side->addWidget(m_displayed);
    side->addWidget(m_saved);
    side->addStretch();
    side->addWidget(m_btStartStop);
    side->addWidget(m_btExit);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(m_image, 1);
    layout->addLayout(side);

    const auto push = [this] { pushSettings(); };
    connect(m_spExposure, qOverload<double>(&QDoubleSpinBox::valueChanged), this, push);
    connect(m_spBlack, qOverload<int>(&QSpinBox::valueChanged), this, push);
    connect(m_spGain, qOverload<int>(&QSpinBox::valueChanged), this, push);
    connect(m_cbTransfer, qOverload<int>(&QComboBox::currentIndexChanged), this, push);
    for (QCheckBox* cb : {m_cbMire, m_cbLight, m_cbLightCorrection}) {
        connect(cb, &QCheckBox::toggled, this, push);
    }
    for (QLineEdit* ed : {m_edBaseName, m_edExt}) {
        connect(ed, &QLineEdit::textChanged, this, push);
    }
    for (QRadioButton* rb : {m_rbSaveNo, m_rbSaveYes, m_rbSaveOne, m_rbManual, m_rbDriven}) {
        connect(rb, &QRadioButton::toggled, this, push);
    }
    connect(m_loop, &LiveCameraLoop::frameAvailable, this, &DlgLiveCamera::showFrame);
    connect(m_loop, &LiveCameraLoop::stopped, this, &DlgLiveCamera::loopStopped);
    QMetaObject::connectSlotsByName(this);
    resize(1100, 700);
    pushSettings();
}

DlgLiveCamera::~DlgLiveCamera() {
    m_loop->stop();
}

LiveCameraSettings DlgLiveCamera::WidgetSettings() const {
    LiveCameraSettings s;
    s.exposureUs = m_spExposure->value();
    s.blackLevel = m_spBlack->value();
    s.gain = m_spGain->value();
    s.transferIndex = m_cbTransfer->currentIndex();
    s.mire = m_cbMire->isChecked();
    s.light = m_cbLight->isChecked();
    s.lightCorrection = m_cbLightCorrection->isChecked();
    s.fileBaseName = m_edBaseName->text();
    s.fileExt = m_edExt->text().trimmed();
    s.save = m_rbSaveYes->isChecked()   ? LiveCameraSettings::Save::Every
             : m_rbSaveOne->isChecked() ? LiveCameraSettings::Save::One
                                        : LiveCameraSettings::Save::Off;
    return s;
}

void DlgLiveCamera::pushSettings() {
    m_loop->setSettings(WidgetSettings());
    m_loop->setDriven(m_rbDriven->isChecked(), m_iniPath);
    LiveSaveTarget target;
    if (m_project != nullptr && m_project->IsOpen()) {
        target.folder = m_project->Path() + QStringLiteral("/livecamera");
        target.projectFolder = m_project->Path();
        target.projectName = m_project->FolderName();
    } else {
        target.folder = QDir::current().absoluteFilePath(QStringLiteral("livecamera"));
    }
    target.serial = m_camera->cameraRef();
    m_loop->setTarget(target);
}

void DlgLiveCamera::on_btStartStop_clicked() {
    if (m_loop->isRunning()) {
        m_loop->stop(); // the button returns to "Start" once the frame in flight is in
        m_btStartStop->setEnabled(false);
        return;
    }
    if (m_camera->cameraRef().isEmpty()) {
        UiDialogs::warning(this, QStringLiteral("No device"), QStringLiteral("No device found"));
        return;
    }
    pushSettings();
    m_loop->setPreviewSize(m_image->width(), m_image->height());
    QString refusal;
    if (!m_loop->start(&refusal)) {
        UiDialogs::warning(this, QLatin1String(InstrumentBusyRunner::kBusyTitle), refusal);
        return;
    }
    m_btStartStop->setText(QLatin1String(kStopText));
    m_btStartStop->setStyleSheet(QLatin1String(kStopStyle));
}

void DlgLiveCamera::loopStopped(const QString& error) {
    m_btStartStop->setText(QLatin1String(kStartText));
    m_btStartStop->setStyleSheet(QString());
    m_btStartStop->setEnabled(true);
    if (!error.isEmpty()) {
        UiDialogs::critical(this, QStringLiteral("Live Camera"), error);
    }
}

void DlgLiveCamera::on_btExit_clicked() {
    close();
}

void DlgLiveCamera::closeEvent(QCloseEvent* event) {
    m_loop->stop();
    QDialog::closeEvent(event);
}

void DlgLiveCamera::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    m_loop->setPreviewSize(m_image->width(), m_image->height());
}

void DlgLiveCamera::showSettings(const LiveCameraSettings& s) {
    const QSignalBlocker b1(m_spExposure), b2(m_spBlack), b3(m_spGain), b4(m_cbTransfer), b5(m_cbMire),
        b6(m_cbLight), b7(m_cbLightCorrection), b8(m_edBaseName), b9(m_edExt);
    m_spExposure->setValue(s.exposureUs);
    m_spBlack->setValue(s.blackLevel);
    m_spGain->setValue(s.gain);
    m_cbTransfer->setCurrentIndex(s.transferIndex);
    m_cbMire->setChecked(s.mire);
    m_cbLight->setChecked(s.light);
    m_cbLightCorrection->setChecked(s.lightCorrection);
    m_edBaseName->setText(s.fileBaseName);
    m_edExt->setText(s.fileExt);
}

void DlgLiveCamera::showFrame() {
    const std::optional<LiveFrame> taken = m_loop->takeFrame();
    if (!taken) {
        return;
    }
    const LiveFrame& f = *taken;
    if (m_rbDriven->isChecked()) {
        showSettings(f.settings);
    }
    if (m_rbSaveOne->isChecked() && m_loop->settings().save == LiveCameraSettings::Save::Off) {
        m_rbSaveNo->setChecked(true); // "Just one" was saved
    }
    if (f.good) {
        QString text = LiveCameraSession::StatisticsText(f.stats) +
                       LiveCameraSession::AcquisitionText(f.settings, f.displayed, f.failed, f.temperature);
        if (!f.saveError.isEmpty()) {
            text += f.saveError + QLatin1Char('\n');
        }
        m_stats->setText(text);
        if (!f.preview.empty()) {
            const QImage image(f.preview.data, f.preview.cols, f.preview.rows,
                               static_cast<int>(f.preview.step), QImage::Format_Grayscale8);
            QPixmap pixmap = QPixmap::fromImage(image.convertToFormat(QImage::Format_RGB32));
            if (f.settings.mire) {
                draw_mire(pixmap);
            }
            m_image->setPixmap(pixmap);
        }
    } else {
        m_stats->setText(QStringLiteral("Live image failed: %1\n").arg(f.status) +
                         LiveCameraSession::CountersText(f.displayed, f.failed, f.temperature));
    }
    m_displayed->setText(QStringLiteral("%1 Images displayed").arg(f.displayed));
    m_saved->setText(QStringLiteral("%1 Images saved").arg(f.saved));
}
