#pragma once

#include "LiveCameraSession.h"
#include "worker/InstrumentOperation.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

class InstrumentLock;
class InterfaceCamera;

// The live camera's loop: passes run one after another on a thread of their own, holding the
// instrument for the whole run, until stop() (which ends the loop after the frame in flight).
// The window is told through frameAvailable() and takes the newest frame; frames that arrive
// while it is still drawing are skipped for display, never for counting or saving.
class LiveCameraLoop : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kOperationName = "Live camera";
    static constexpr const char* kDrivenIni = "./automate.ini";

    explicit LiveCameraLoop(InterfaceCamera& camera, InstrumentLock* lock = nullptr,
                            QObject* parent = nullptr);
    ~LiveCameraLoop() override;

    // Thread-safe: taken at the start of the next pass.
    void setSettings(const LiveCameraSettings& settings);
    LiveCameraSettings settings() const;
    void setTarget(const LiveSaveTarget& target);
    // In Driven mode the settings are read from `iniPath` at the start of every pass.
    void setDriven(bool driven, const QString& iniPath = QLatin1String(kDrivenIni));
    void setPreviewSize(int width, int height);

    // False (with "the instrument is busy with ..." in `refusal`) when the instrument is held.
    bool start(QString* refusal = nullptr);
    void stop();
    bool isRunning() const { return m_op->isRunning(); }

    // The newest frame not taken yet.
    std::optional<LiveFrame> takeFrame();

Q_SIGNALS:
    void frameAvailable();
    // The loop ended; `error` is the text of a failure that ended it, empty after stop().
    void stopped(const QString& error);

private:
    void run();

    InterfaceCamera& m_camera;
    std::unique_ptr<InstrumentOperation> m_op;
    mutable std::mutex m_mutex;
    LiveCameraSettings m_settings;
    LiveSaveTarget m_target;
    bool m_driven = false;
    QString m_iniPath = QLatin1String(kDrivenIni);
    int m_previewWidth = 0;
    int m_previewHeight = 0;
    std::optional<LiveFrame> m_latest;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_notified{false};
};
