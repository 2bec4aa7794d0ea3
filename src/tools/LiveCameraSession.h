#pragma once

#include "LiveCameraSettings.h"

#include <QString>

#include <opencv2/core.hpp>

#include <optional>

class InterfaceCamera;

// Statistics over every pixel of a frame (population standard deviation).
struct LiveFrameStats {
    double mean = 0.0;
    double stdDev = 0.0;
    double min = 0.0;
    double max = 0.0;
};

// One pass of the live camera, as its window or the command line shows it.
struct LiveFrame {
    QString status;               // the live-image answer: "OK", "KO1", "KO2", "Erreur Ethernet"
    bool good = false;            // "OK" and an image of positive size
    cv::Mat image;                // the frame (8-bit, one channel) when good
    cv::Mat preview;              // the frame fitted to the requested view size, when asked for
    LiveCameraSettings settings;  // the bounded settings the pass used
    LiveFrameStats stats;         // of a good frame
    int displayed = 0;            // good frames of the run so far
    int failed = 0;               // failed frames of the run so far
    int saved = 0;                // frames saved in the run so far
    QString temperature;          // the instrument's temperature text of the run
    QString savedPath;            // the image saved by this pass, empty when none
    QString settingsPath;         // the settings file written by this pass, empty when none
    QString saveError;            // why saving failed, empty otherwise
    bool consumedJustOne = false; // this pass saved the "Just one" frame
};

// Where saved frames go and what their settings file says about the project.
struct LiveSaveTarget {
    QString folder;        // the project's "livecamera" folder (Manual mode)
    bool driven = false;   // Driven mode: the base name is used exactly as given, every frame saved
    QString projectFolder; // "project/folder"
    QString serial;        // "project/sn"
    QString projectName;   // "project/name"
};

// The live camera's work on the instrument, one pass at a time: the image settings are sent
// only when they changed, the frame is fetched with the device interface's live image, and a
// good frame is measured and, when asked, saved with its settings file. GUI-free and
// synchronous: the window runs it on a thread of its own, the command line directly. The
// caller holds the instrument.
class LiveCameraSession {
public:
    explicit LiveCameraSession(InterfaceCamera& camera);

    // The instrument's temperature text, read once per run and written with the frames.
    void setTemperature(const QString& text) { m_temperature = text; }
    QString temperature() const { return m_temperature; }
    // The size the preview is fitted to (none when empty).
    void setPreviewSize(int width, int height);

    LiveFrame Pass(const LiveCameraSettings& requested, const LiveSaveTarget& target);

    int displayed() const { return m_displayed; }
    int failed() const { return m_failed; }
    int saved() const { return m_saved; }

    static LiveFrameStats Statistics(const cv::Mat& image);
    // "Mean level=...   Std dev=...   Min=...   Max=... \n"
    static QString StatisticsText(const LiveFrameStats& s);
    // "Acquisition Parameters\n..." with the counters and the temperature.
    static QString AcquisitionText(const LiveCameraSettings& s, int ok, int ko, const QString& temperature);
    // "Image OK=... , KO=...  , Temperature=... \n", the last line of AcquisitionText.
    static QString CountersText(int ok, int ko, const QString& temperature);
    // `image` scaled to fit `width` x `height` keeping its aspect ratio.
    static cv::Mat FitToView(const cv::Mat& image, int width, int height);
    // The base name with every "#" replaced by the local time "yyyyMMdd_hhmmss_zzz".
    static QString StampedBaseName(const QString& base);

private:
    bool saveFrame(LiveFrame& frame, const LiveSaveTarget& target);
    bool writeSettingsFile(const QString& path, const LiveFrame& frame, const LiveSaveTarget& target);

    InterfaceCamera& m_camera;
    std::optional<double> m_sentExposure;
    int m_sentBlack = -1;
    int m_sentGain = -1;
    int m_sentTransfer = 0;
    QString m_writtenSignature;
    QString m_lastFailure;
    QString m_temperature = QStringLiteral("?");
    int m_previewWidth = 0;
    int m_previewHeight = 0;
    int m_displayed = 0;
    int m_failed = 0;
    int m_saved = 0;
};
