#include "SerialDevices.h"

#include <QDir>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace {

// Orders by the name without its trailing number, then by that number (ttyUSB2 before ttyUSB10).
std::pair<QString, qlonglong> natural_key(const QString& name) {
    static const QRegularExpression trailing(QStringLiteral("^(.*?)(\\d+)$"));
    const QRegularExpressionMatch m = trailing.match(name);
    return m.hasMatch() ? std::make_pair(m.captured(1), m.captured(2).toLongLong())
                        : std::make_pair(name, -1LL);
}

QStringList sorted(QStringList names) {
    std::sort(names.begin(), names.end(),
              [](const QString& a, const QString& b) { return natural_key(a) < natural_key(b); });
    return names;
}

} // namespace

QStringList list_serial_devices(const QString& devRoot) {
    QStringList out;
    const QDir dev(devRoot);
    // Device nodes are "system" entries; permissions are not filtered so that a port the user
    // may not open is still offered (opening it then says how to get access).
    const QDir::Filters any = QDir::System | QDir::Files | QDir::NoDotAndDotDot;
    for (const char* pattern : {"ttyUSB*", "ttyACM*", "ttyS*"}) {
        for (const QString& name : sorted(dev.entryList({QLatin1String(pattern)}, any))) {
            out << dev.absoluteFilePath(name);
        }
    }
    const QDir byId(devRoot + QStringLiteral("/serial/by-id"));
    for (const QString& name : sorted(byId.entryList(any))) {
        out << byId.absoluteFilePath(name);
    }
    return out;
}
