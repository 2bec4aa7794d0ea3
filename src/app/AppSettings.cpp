#include "AppSettings.h"

#include <QSettings>

#include <arpa/inet.h>

#include <mutex>

namespace {
QVariant read(const char* key, const QVariant& fallback = {}) {
    return QSettings().value(QLatin1String(key), fallback);
}
void write(const char* key, const QVariant& value) {
    QSettings().setValue(QLatin1String(key), value);
}
// Read by the terminal's and the worker's threads, set by the window's.
struct RunEthernet {
    std::mutex mutex;
    QString address;
    int port = 0;
};
RunEthernet& run_ethernet() {
    static RunEthernet r;
    return r;
}
} // namespace

QString AppSettings::serialPort() {
    return read(kSerialPort, kDefaultSerialPort).toString().trimmed();
}
void AppSettings::setSerialPort(const QString& port) {
    write(kSerialPort, port.trimmed());
}

int AppSettings::serialSpeed() {
    bool ok = false;
    const int baud = read(kSerialSpeed, kDefaultSerialSpeed).toInt(&ok);
    return ok ? baud : kDefaultSerialSpeed;
}
void AppSettings::setSerialSpeed(int baud) {
    write(kSerialSpeed, baud);
}

bool AppSettings::serialMonitor() {
    return read(kSerialMonitor, 0).toInt() != 0;
}
void AppSettings::setSerialMonitor(bool shown) {
    write(kSerialMonitor, shown ? 1 : 0);
}

QString AppSettings::localIp() {
    return read(kLocalIp, QStringLiteral("auto")).toString();
}
void AppSettings::setLocalIp(const QString& ip) {
    write(kLocalIp, ip);
}

int AppSettings::udpPort() {
    bool ok = false;
    const int port = read(kUdpPort, kDefaultUdpPort).toInt(&ok);
    return ok && port > 0 && port <= 65535 ? port : kDefaultUdpPort;
}

bool AppSettings::isLocalIpText(const QString& text) {
    if (text == QLatin1String("auto")) {
        return true;
    }
    in_addr parsed{};
    return ::inet_pton(AF_INET, text.toLatin1().constData(), &parsed) == 1;
}

void AppSettings::setRunEthernet(const QString& localIp, int port) {
    RunEthernet& r = run_ethernet();
    std::lock_guard lock(r.mutex);
    r.address = localIp;
    r.port = localIp.isEmpty() ? 0 : port;
}

QString AppSettings::runLocalIp() {
    RunEthernet& r = run_ethernet();
    {
        std::lock_guard lock(r.mutex);
        if (!r.address.isEmpty()) {
            return r.address;
        }
    }
    return localIp();
}

int AppSettings::runUdpPort() {
    RunEthernet& r = run_ethernet();
    {
        std::lock_guard lock(r.mutex);
        if (!r.address.isEmpty() && r.port > 0) {
            return r.port;
        }
    }
    return udpPort();
}

QString AppSettings::userName() {
    return read(kUserName).toString();
}
QString AppSettings::userEmail() {
    return read(kUserEmail).toString();
}
void AppSettings::setUser(const QString& name, const QString& email) {
    write(kUserName, name);
    write(kUserEmail, email);
}

QString AppSettings::hideLogin() {
    return read(kHideLogin).toString();
}

bool AppSettings::loginCanBeSkipped() {
    return !userName().isEmpty() && !userEmail().isEmpty() && hideLogin() == QLatin1String("Y");
}

QString AppSettings::loginActionText() {
    return QStringLiteral("             logged as : ") + read(kUserName, QStringLiteral("???")).toString();
}

QStringList AppSettings::recentFiles() {
    return read(kRecentFiles).toStringList();
}
void AppSettings::setRecentFiles(const QStringList& files) {
    write(kRecentFiles, files);
}

QStringList AppSettings::terminalHistory() {
    return read(kTerminalHistory).toStringList();
}
void AppSettings::addTerminalHistory(const QString& line) {
    if (line.trimmed().isEmpty()) {
        return;
    }
    QStringList history = terminalHistory();
    history.removeAll(line);
    history.prepend(line);
    while (history.size() > kMaxTerminalHistory) {
        history.removeLast();
    }
    write(kTerminalHistory, history);
}
