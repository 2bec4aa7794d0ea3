// `kelvo camera grab`: live frames taken with given image settings, saved as PNG with their
// settings file, over the same core as the live camera window.
#include "CliCommand.h"
#include "CliOutput.h"

#include "app/AppSettings.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "tools/LiveCameraSession.h"
#include "trace/FmtQt.h"

#include <QDir>

#include <arpa/inet.h>
#include <cstdio>
#include <fmt/format.h>

namespace {

const char* const kUsage =
    "Usage: kelvo camera grab [--count N] [--exposure US] [--gain G] [--black B] [--transfer NAME]\n"
    "                         [--light] [--out DIR] [--port P] [--localip ADDR] [--udpport N]\n";

const char* const kHelp =
    "Identifies the instrument, then takes N live frames (default 1) with the given settings and writes\n"
    "each as DIR/livecamera<time>.png (default DIR: the current folder) with a settings file beside it\n"
    "when the settings change; prints the statistics line of each frame. Exit status 0 when every\n"
    "frame arrived.\n"
    "  --exposure US   exposure time in microseconds (default 1000; at least 13.78)\n"
    "  --gain G        gain in tenths of dB (default 0; 0 to 480)\n"
    "  --black B       black level, 12 bits (default 0; 0 to 4095)\n"
    "  --transfer NAME transfer function: CURRENT, LOG_1:1, LOG_1:2, LINEAR_1:16, LINEAR_1:8,\n"
    "                  LINEAR_1:4, LINEAR_1:2, LINEAR_1:1 (or its index 0 to 7; default CURRENT)\n"
    "  --light         frames taken with the flash\n"
    "  --port DEVICE   serial port (default: the serialport setting)\n"
    "  --localip ADDR  host IPv4 address the instrument sends to (default: the localip setting)\n"
    "  --udpport N     host UDP port (default: the udpport setting)\n";

int transfer_index(const QString& text) {
    for (int i = 0; i < LiveCameraSettings::kTransferCount; ++i) {
        if (text.compare(LiveCameraSettings::TransferName(i), Qt::CaseInsensitive) == 0 ||
            text == QString::number(i)) {
            return i;
        }
    }
    return -1;
}

int camera_grab(const QStringList& args) {
    int count = 1;
    LiveCameraSettings settings;
    settings.save = LiveCameraSettings::Save::Every;
    QString folder = QStringLiteral(".");
    QString port;
    QString localIp;
    int udpPort = 0;
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            out(kUsage);
            out(kHelp);
            return 0;
        }
        if (a == QLatin1String("--light")) {
            settings.light = true;
            continue;
        }
        static const QStringList valued = {"--count", "--exposure", "--gain",    "--black",  "--transfer",
                                           "--out",   "--port",     "--localip", "--udpport"};
        if (!valued.contains(a)) {
            err(fmt::format("kelvo camera grab: unknown argument {}\n{}", a, kUsage));
            return 2;
        }
        if (i + 1 >= args.size()) {
            err(fmt::format("kelvo camera grab: {} needs a value\n{}", a, kUsage));
            return 2;
        }
        const QString v = args[++i];
        bool ok = true;
        auto bad = [&](const char* what) {
            err(fmt::format("kelvo camera grab: {} needs {}, not \"{}\"\n", a, what, v));
            return 2;
        };
        if (a == QLatin1String("--count")) {
            count = v.toInt(&ok);
            if (!ok || count < 1) {
                return bad("a number of frames of at least 1");
            }
        } else if (a == QLatin1String("--exposure")) {
            settings.exposureUs = v.toDouble(&ok);
            if (!ok) {
                return bad("microseconds");
            }
        } else if (a == QLatin1String("--gain")) {
            settings.gain = v.toInt(&ok);
            if (!ok) {
                return bad("tenths of dB");
            }
        } else if (a == QLatin1String("--black")) {
            settings.blackLevel = v.toInt(&ok);
            if (!ok) {
                return bad("a whole number");
            }
        } else if (a == QLatin1String("--transfer")) {
            settings.transferIndex = transfer_index(v);
            if (settings.transferIndex < 0) {
                return bad("a transfer function name");
            }
        } else if (a == QLatin1String("--out")) {
            folder = v;
        } else if (a == QLatin1String("--port")) {
            port = v;
        } else if (a == QLatin1String("--localip")) {
            in_addr parsed{};
            if (::inet_pton(AF_INET, v.toLatin1().constData(), &parsed) != 1) {
                return bad("an IPv4 address");
            }
            localIp = v;
        } else if (a == QLatin1String("--udpport")) {
            udpPort = v.toInt(&ok);
            if (!ok || udpPort < 1 || udpPort > 65535) {
                return bad("a port number from 1 to 65535");
            }
        }
    }
    if (!QDir().mkpath(folder)) {
        err(fmt::format("kelvo camera grab: unable to create {}\n", folder));
        return 1;
    }
    if (port.isEmpty()) {
        port = AppSettings::serialPort();
    }
    std::string linkError;
    set_comm_error_hook([&linkError](const std::string& text) { linkError = text; });
    const bool opened = init_comm(port, static_cast<quint32>(AppSettings::serialSpeed()));
    set_comm_error_hook({});
    if (!opened) {
        err(fmt::format("kelvo camera grab: serial port {} not opened: {}\n", port, linkError));
        return 1;
    }
    InterfaceCamera camera;
    if (!localIp.isEmpty() || udpPort > 0) {
        camera.setEthernetOverride(localIp.isEmpty() ? AppSettings::localIp() : localIp,
                                   udpPort > 0 ? udpPort : AppSettings::udpPort());
    }
    int status = 0;
    if (!camera.connectAndIdentify()) {
        err("kelvo camera grab: no instrument answered on the serial port (or its firmware is not "
            "supported)\n");
        status = 1;
    } else {
        LiveCameraSession session(camera);
        session.setTemperature(camera.temperature());
        LiveSaveTarget target;
        target.folder = QDir(folder).absolutePath();
        target.serial = camera.cameraRef();
        for (int i = 0; i < count; ++i) {
            const LiveFrame frame = session.Pass(settings, target);
            if (!frame.good) {
                err(fmt::format("frame {}: {}\n", i + 1, frame.status));
                status = 1;
                continue;
            }
            out(LiveCameraSession::StatisticsText(frame.stats).toStdString());
            if (!frame.saveError.isEmpty()) {
                err(fmt::format("frame {}: {}\n", i + 1, frame.saveError));
                status = 1;
            }
        }
    }
    close_comm();
    return status;
}

int camera_command(const QStringList& args) {
    if (args.value(0) == QLatin1String("grab")) {
        return camera_grab(args);
    }
    if (args.value(0) == QLatin1String("--help") || args.value(0) == QLatin1String("-h")) {
        out(kUsage);
        return 0;
    }
    err(kUsage);
    return 2;
}

static CliRegistrar cameraReg(
    {"camera",
     "camera grab [--count N] [--exposure US] [--gain G] [--black B] [--transfer NAME] "
     "[--light] [--out DIR]",
     "take live frames with given settings, save them as PNG and print their statistics", &camera_command});

} // namespace
