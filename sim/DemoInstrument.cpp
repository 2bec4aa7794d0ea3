#include "DemoInstrument.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void set_error(QString* error, const QString& text) {
    if (error != nullptr) {
        *error = text;
    }
}

} // namespace

DemoInstrument::DemoInstrument() = default;

DemoInstrument::~DemoInstrument() {
    stop();
}

QString DemoInstrument::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
           QStringLiteral("/KelvoApp/demo");
}

QString DemoInstrument::cardDir() const {
    return m_folder + QStringLiteral("/card");
}

QString DemoInstrument::portPath() const {
    return m_sim ? m_sim->devicePath() : QString();
}

bool DemoInstrument::isRunning() const {
    return m_sim && m_sim->isRunning();
}

int DemoInstrument::freeUdpPort(const QString& address) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        return 0;
    }
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = 0;
    int port = 0;
    if (::inet_pton(AF_INET, address.toLatin1().constData(), &addr.sin_addr) == 1 &&
        ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
        socklen_t len = sizeof addr;
        if (::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0) {
            port = ntohs(addr.sin_port);
        }
    }
    ::close(fd);
    return port;
}

bool DemoInstrument::ensureCard(const QString& cardDir, QString* error) {
    if (QFileInfo::exists(cardDir + QStringLiteral("/tree.txt"))) {
        return true;
    }
    // Made beside its final place and renamed when complete, so that an interrupted run never
    // leaves a card that looks finished.
    const QString building = cardDir + QStringLiteral(".building");
    QDir(building).removeRecursively();
    if (QFileInfo::exists(cardDir)) {
        QDir(cardDir).removeRecursively();
    }
    if (!QDir().mkpath(building)) {
        set_error(error, QStringLiteral("cannot create the demo card folder %1").arg(building));
        return false;
    }
    QString why;
    if (!Kelvo6Simulator::makeDemoCard(building, 1, &why)) {
        set_error(error, QStringLiteral("cannot make the demo card: %1").arg(why));
        QDir(building).removeRecursively();
        return false;
    }
    if (!QDir().rename(building, cardDir)) {
        set_error(error, QStringLiteral("cannot move the demo card into %1").arg(cardDir));
        return false;
    }
    return true;
}

bool DemoInstrument::start(QString* error, const QString& folder, SimOptions options) {
    stop();
    m_folder = folder.isEmpty() ? defaultFolder() : folder;
    if (!QDir().mkpath(m_folder)) {
        set_error(error, QStringLiteral("cannot create the demo folder %1").arg(m_folder));
        return false;
    }
    if (!ensureCard(cardDir(), error)) {
        return false;
    }
    m_udpPort = freeUdpPort(hostAddress());
    if (m_udpPort == 0) {
        set_error(error, QStringLiteral("no free UDP port on %1").arg(hostAddress()));
        return false;
    }
    options.cardDir = cardDir();
    options.stateFile = m_folder + QStringLiteral("/state.json");
    options.allowNetwork = false;
    m_sim = std::make_unique<Kelvo6Simulator>(options);
    if (!m_sim->start(error)) {
        m_sim.reset();
        return false;
    }
    return true;
}

void DemoInstrument::stop() {
    if (m_sim) {
        m_sim->stop();
        m_sim.reset();
    }
}
