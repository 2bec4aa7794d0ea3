#include "SerialDevices.h"

#include <QCollator>
#include <QDir>

#include <algorithm>

QStringList list_serial_devices(const QString& devRoot) {
    QCollator natural;
    natural.setNumericMode(true);
    const auto sorted = [&](QStringList names) {
        std::sort(names.begin(), names.end(),
                  [&](const QString& a, const QString& b) { return natural.compare(a, b) < 0; });
        return names;
    };
    QStringList out;
    const QDir dev(devRoot);
    const QDir::Filters any = QDir::System | QDir::Files;
    for (const char* pattern : {"ttyUSB*", "ttyACM*", "ttyS*"}) {
        for (const QString& name :
             sorted(dev.entryList({QLatin1String(pattern)}, any | QDir::NoDotAndDotDot))) {
            out << dev.absoluteFilePath(name);
        }
    }
    const QDir byId(devRoot + QStringLiteral("/serial/by-id"));
    for (const QString& name : sorted(byId.entryList(QDir::System | QDir::Files | QDir::NoDotAndDotDot))) {
        out << byId.absoluteFilePath(name);
    }
    return out;
}
