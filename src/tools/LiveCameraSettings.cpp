#include "LiveCameraSettings.h"

#include <QSettings>

#include <algorithm>

namespace {

struct Transfer {
    const char* name;
    const char* command;
};

// Each number after the leading 0 is one knee of the 12-bit to 8-bit curve: input level in the
// high 16 bits, output level in the low 16 bits.
constexpr Transfer kTransfers[LiveCameraSettings::kTransferCount] = {
    {"CURRENT", ""},
    {"LOG_1:1", "$PU:transferfunc,0,2031616,4128768,8323360,16712256,33489760,67044480,134153632,268371648;"},
    {"LOG_1:2",
     "$PU:transferfunc,0,4129024,8323328,16712224,33489728,67044448,134153600,201262464,268371328;"},
    {"LINEAR_1:16",
     "$PU:transferfunc,0,33489920,67044352,100598784,134153216,167707648,201262080,234816512,268370944;"},
    {"LINEAR_1:8",
     "$PU:transferfunc,0,16712448,33489664,50266880,67044096,83821312,100598528,117375744,134152960;"},
    {"LINEAR_1:4",
     "$PU:transferfunc,0,8323584,16712192,25100800,33489408,41878016,50266624,58655232,67043840;"},
    {"LINEAR_1:2",
     "$PU:transferfunc,0,4129024,8323328,12517632,16711936,20906240,25100544,29294848,33489152;"},
    {"LINEAR_1:1", "$PU:transferfunc,0,2031616,4128768,6225920,8323072,10420224,12517376,14614528,16711680;"},
};

double real_value(const QSettings& ini, const char* key, double fallback) {
    bool ok = false;
    const double v = ini.value(QLatin1String(key)).toString().trimmed().toDouble(&ok);
    return ok ? v : fallback;
}

int int_value(const QSettings& ini, const char* key, int fallback) {
    // "12.0" or "1e3" from a script count as the whole number they stand for.
    const double v = real_value(ini, key, fallback);
    return static_cast<int>(std::clamp(v, -2.0e9, 2.0e9));
}

} // namespace

LiveCameraSettings LiveCameraSettings::Bounded() const {
    LiveCameraSettings s = *this;
    if (!(s.exposureUs >= kMinExposureUs)) { // NaN too
        s.exposureUs = kMinExposureUs;
    }
    s.blackLevel = std::clamp(s.blackLevel, 0, kMaxBlackLevel);
    s.gain = std::clamp(s.gain, 0, kMaxGain);
    if (s.transferIndex < 0 || s.transferIndex >= kTransferCount) {
        s.transferIndex = 0;
    }
    return s;
}

QString LiveCameraSettings::Signature() const {
    return QStringLiteral("%1/%2/%3/%4/%5/%6/%7")
        .arg(exposureUs)
        .arg(blackLevel)
        .arg(gain)
        .arg(transferIndex)
        .arg(mire ? 1 : 0)
        .arg(light ? 1 : 0)
        .arg(lightCorrection ? 1 : 0);
}

LiveCameraSettings LiveCameraSettings::FromIni(const QString& path) {
    const QSettings ini(path, QSettings::IniFormat);
    LiveCameraSettings s;
    s.exposureUs = real_value(ini, "settings/Shutter", 1000);
    s.blackLevel = int_value(ini, "settings/Black_level", 0);
    s.gain = int_value(ini, "settings/Gain", 0);
    s.transferIndex = int_value(ini, "settings/transferfunc", 0);
    s.mire = int_value(ini, "settings/mire", 0) != 0;
    s.light = int_value(ini, "settings/light", 0) != 0;
    s.lightCorrection = int_value(ini, "settings/lightcorrection", 0) != 0;
    s.fileBaseName =
        ini.value(QStringLiteral("settings/filebasename"), QStringLiteral("livecamera")).toString();
    s.fileExt = ini.value(QStringLiteral("settings/fileext"), QStringLiteral("bmp")).toString();
    s.save = Save::Every;
    return s;
}

QString LiveCameraSettings::TransferName(int index) {
    return index >= 0 && index < kTransferCount ? QLatin1String(kTransfers[index].name) : QString();
}

QString LiveCameraSettings::TransferCommand(int index) {
    return index > 0 && index < kTransferCount ? QLatin1String(kTransfers[index].command) : QString();
}
