#include "LiveCameraLoop.h"

#include "device/InterfaceCamera.h"
#include "trace/ZelTraceMgr.h"

#include <QFileInfo>

#include <chrono>
#include <thread>

namespace {

// After a failed pass the next one waits this long, so that a missing link is not hammered.
constexpr auto kPauseAfterFailure = std::chrono::milliseconds(100);

} // namespace

LiveCameraLoop::LiveCameraLoop(InterfaceCamera& camera, InstrumentLock* lock, QObject* parent)
    : QObject(parent)
    , m_camera(camera)
    , m_op(std::make_unique<InstrumentOperation>(lock)) {
    connect(m_op.get(), &InstrumentOperation::finished, this,
            [this](const QVariant&, const QString& error) { Q_EMIT stopped(error); });
}

LiveCameraLoop::~LiveCameraLoop() {
    m_stop = true;
    // The operation waits for the frame in flight, while everything its thread uses still lives.
    m_op.reset();
}

void LiveCameraLoop::setSettings(const LiveCameraSettings& settings) {
    std::lock_guard lock(m_mutex);
    m_settings = settings;
}

LiveCameraSettings LiveCameraLoop::settings() const {
    std::lock_guard lock(m_mutex);
    return m_settings;
}

void LiveCameraLoop::setTarget(const LiveSaveTarget& target) {
    std::lock_guard lock(m_mutex);
    m_target = target;
}

void LiveCameraLoop::setDriven(bool driven, const QString& iniPath) {
    std::lock_guard lock(m_mutex);
    m_driven = driven;
    m_iniPath = iniPath;
}

void LiveCameraLoop::setPreviewSize(int width, int height) {
    std::lock_guard lock(m_mutex);
    m_previewWidth = width;
    m_previewHeight = height;
}

bool LiveCameraLoop::start(QString* refusal) {
    m_stop = false;
    return m_op->start(
        QLatin1String(kOperationName),
        [this] {
            run();
            return QVariant(true);
        },
        refusal);
}

void LiveCameraLoop::stop() {
    m_stop = true;
}

std::optional<LiveFrame> LiveCameraLoop::takeFrame() {
    std::lock_guard lock(m_mutex);
    m_notified = false;
    std::optional<LiveFrame> frame = std::move(m_latest);
    m_latest.reset();
    return frame;
}

void LiveCameraLoop::run() {
    LiveCameraSession session(m_camera);
    session.setTemperature(m_camera.temperature());
    bool toldMissingIni = false;
    while (!m_stop) {
        LiveCameraSettings settings;
        LiveSaveTarget target;
        {
            std::lock_guard lock(m_mutex);
            settings = m_settings;
            target = m_target;
            target.driven = m_driven;
            session.setPreviewSize(m_previewWidth, m_previewHeight);
            if (m_driven) {
                if (!QFileInfo::exists(m_iniPath) && !toldMissingIni) {
                    GetTraceMgr()->logf("DlgLiveCamera", ZelLevelWarning, "{} not found: defaults used",
                                        m_iniPath.toStdString());
                    toldMissingIni = true;
                }
                settings = LiveCameraSettings::FromIni(m_iniPath);
            }
        }
        LiveFrame frame = session.Pass(settings, target);
        const bool good = frame.good;
        {
            std::lock_guard lock(m_mutex);
            if (frame.consumedJustOne && m_settings.save == LiveCameraSettings::Save::One) {
                m_settings.save = LiveCameraSettings::Save::Off;
            }
            m_latest = std::move(frame);
        }
        if (!m_notified.exchange(true)) {
            QMetaObject::invokeMethod(
                this, [this] { Q_EMIT frameAvailable(); }, Qt::QueuedConnection);
        }
        if (!good && !m_stop) {
            std::this_thread::sleep_for(kPauseAfterFailure);
        }
    }
}
