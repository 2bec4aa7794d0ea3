#include "LiveCameraSession.h"

#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "trace/FmtQt.h"
#include "trace/ZelTraceMgr.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <exception>
#include <vector>

namespace {

constexpr const char* kModule = "DlgLiveCamera";

} // namespace

LiveCameraSession::LiveCameraSession(InterfaceCamera& camera)
    : m_camera(camera) {}

void LiveCameraSession::setPreviewSize(int width, int height) {
    m_previewWidth = width;
    m_previewHeight = height;
}

LiveFrame LiveCameraSession::Pass(const LiveCameraSettings& requested, const LiveSaveTarget& target) {
    LiveFrame frame;
    const LiveCameraSettings s = requested.Bounded();
    frame.settings = s;
    if (!m_sentExposure || *m_sentExposure != s.exposureUs || m_sentBlack != s.blackLevel ||
        m_sentGain != s.gain) {
        m_sentExposure = s.exposureUs;
        m_sentBlack = s.blackLevel;
        m_sentGain = s.gain;
        m_camera.setImageParameters(s.blackLevel, s.gain, s.exposureUs);
    }
    if (s.transferIndex != 0 && s.transferIndex != m_sentTransfer) {
        m_sentTransfer = s.transferIndex;
        send_message("%s", LiveCameraSettings::TransferCommand(s.transferIndex).toLatin1().constData());
    }
    cv::Mat image;
    frame.status = m_camera.liveImage(s.light ? 1 : 0, s.lightCorrection ? 1 : 0,
                                      static_cast<std::int64_t>(s.exposureUs), m_displayed == 0, image);
    frame.good = frame.status == QLatin1String("OK") && image.cols > 0 && image.rows > 0;
    if (frame.good) {
        m_lastFailure.clear();
        ++m_displayed;
        frame.image = image;
        frame.stats = Statistics(image);
        if (m_previewWidth > 0 && m_previewHeight > 0) {
            frame.preview = FitToView(image, m_previewWidth, m_previewHeight);
        }
        if (target.driven || s.save != LiveCameraSettings::Save::Off) {
            frame.consumedJustOne = !target.driven && s.save == LiveCameraSettings::Save::One;
            saveFrame(frame, target);
        }
    } else {
        ++m_failed;
        // A lost link fails every pass: the log says so when the answer changes, not each time.
        if (frame.status != m_lastFailure) {
            GetTraceMgr()->logf(kModule, ZelLevelWarning, "Live image failed: {}", frame.status);
        }
        m_lastFailure = frame.status;
    }
    frame.displayed = m_displayed;
    frame.failed = m_failed;
    frame.saved = m_saved;
    frame.temperature = m_temperature;
    return frame;
}

LiveFrameStats LiveCameraSession::Statistics(const cv::Mat& image) {
    LiveFrameStats s;
    if (image.empty()) {
        return s;
    }
    cv::Scalar mean;
    cv::Scalar dev;
    cv::meanStdDev(image, mean, dev);
    cv::minMaxLoc(image, &s.min, &s.max);
    s.mean = mean[0];
    s.stdDev = dev[0];
    return s;
}

QString LiveCameraSession::StatisticsText(const LiveFrameStats& s) {
    return QString::asprintf("Mean level=%.2f   Std dev=%.2f   Min=%3.0f   Max=%3.0f \n", s.mean, s.stdDev,
                             s.min, s.max);
}

QString LiveCameraSession::AcquisitionText(const LiveCameraSettings& s, int ok, int ko,
                                           const QString& temperature) {
    return QString::asprintf("Acquisition Parameters\nExposure time = %.2f microseconds \n", s.exposureUs) +
           QString::asprintf("Gain = %.1f dB \nBlack level = %d (12 bits)\nTransfert Fct : %s\n",
                             s.gain / 10.0, s.blackLevel,
                             LiveCameraSettings::TransferName(s.transferIndex).toLatin1().constData()) +
           CountersText(ok, ko, temperature);
}

QString LiveCameraSession::CountersText(int ok, int ko, const QString& temperature) {
    return QStringLiteral("Image OK=%1 , KO=%2  , Temperature=%3 \n").arg(ok).arg(ko).arg(temperature);
}

cv::Mat LiveCameraSession::FitToView(const cv::Mat& image, int width, int height) {
    if (image.empty() || width <= 0 || height <= 0) {
        return {};
    }
    const double ratio =
        std::min(static_cast<double>(width) / image.cols, static_cast<double>(height) / image.rows);
    const int w = std::max(1, static_cast<int>(image.cols * ratio));
    const int h = std::max(1, static_cast<int>(image.rows * ratio));
    cv::Mat out;
    cv::resize(image, out, cv::Size(w, h), 0, 0, ratio < 1.0 ? cv::INTER_AREA : cv::INTER_LINEAR);
    return out;
}

QString LiveCameraSession::StampedBaseName(const QString& base) {
    QString name = base;
    return name.replace(QLatin1Char('#'),
                        QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd_hhmmss_zzz")));
}

bool LiveCameraSession::saveFrame(LiveFrame& frame, const LiveSaveTarget& target) {
    const LiveCameraSettings& s = frame.settings;
    const QString stamped = StampedBaseName(s.fileBaseName);
    const QString base = target.driven ? stamped : target.folder + QLatin1Char('/') + stamped;
    const QString path = base + QLatin1Char('.') + s.fileExt;
    auto fail = [&](const QString& text) {
        frame.saveError = text;
        GetTraceMgr()->logf(kModule, ZelLevelError, "{}", text);
        return false;
    };
    std::vector<uchar> bytes;
    try {
        if (!cv::imencode("." + s.fileExt.toStdString(), frame.image, bytes)) {
            return fail(QStringLiteral("Unable to encode the frame as %1").arg(s.fileExt));
        }
    } catch (const std::exception& e) {
        return fail(QStringLiteral("Unable to encode the frame as %1: %2")
                        .arg(s.fileExt, QString::fromLocal8Bit(e.what())));
    }
    const QFileInfo info(path);
    QDir().mkpath(info.absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size())) !=
            static_cast<qint64>(bytes.size())) {
        return fail(QStringLiteral("Unable to write %1: %2").arg(path, file.errorString()));
    }
    file.close();
    ++m_saved;
    frame.savedPath = path;
    const QString signature = s.Signature();
    if (target.driven || signature != m_writtenSignature) {
        // A path written relative to the working folder is marked so explicitly.
        const QString txt = QDir::isRelativePath(base) ? QStringLiteral("./") + base + QStringLiteral(".txt")
                                                       : base + QStringLiteral(".txt");
        if (writeSettingsFile(txt, frame, target)) {
            m_writtenSignature = signature;
            frame.settingsPath = txt;
        }
    }
    return true;
}

bool LiveCameraSession::writeSettingsFile(const QString& path, const LiveFrame& frame,
                                          const LiveSaveTarget& target) {
    const LiveCameraSettings& s = frame.settings;
    QSettings ini(path, QSettings::IniFormat);
    ini.setValue(QStringLiteral("settings/Shutter"), s.exposureUs);
    ini.setValue(QStringLiteral("settings/Black_level"), s.blackLevel);
    ini.setValue(QStringLiteral("settings/Gain"), s.gain);
    ini.setValue(QStringLiteral("settings/transferfunc"), s.transferIndex);
    ini.setValue(QStringLiteral("settings/mire"), s.mire ? 1 : 0);
    ini.setValue(QStringLiteral("settings/light"), s.light ? 1 : 0);
    ini.setValue(QStringLiteral("settings/lightcorrection"), s.lightCorrection ? 1 : 0);
    ini.setValue(QStringLiteral("data/MeanLevel"), frame.stats.mean);
    ini.setValue(QStringLiteral("data/StdDev"), frame.stats.stdDev);
    ini.setValue(QStringLiteral("data/Min"), frame.stats.min);
    ini.setValue(QStringLiteral("data/Max"), frame.stats.max);
    ini.setValue(QStringLiteral("data/Temperature"), m_temperature);
    ini.setValue(QStringLiteral("project/folder"), target.projectFolder);
    ini.setValue(QStringLiteral("project/sn"), target.serial);
    ini.setValue(QStringLiteral("project/name"), target.projectName);
    ini.sync();
    if (ini.status() != QSettings::NoError) {
        GetTraceMgr()->logf(kModule, ZelLevelError, "Unable to write {}", path);
        return false;
    }
    return true;
}
