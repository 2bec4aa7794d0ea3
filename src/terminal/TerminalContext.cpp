#include "terminal/TerminalContext.h"

#include "app/AppSettings.h"
#include "app/WorkFolder.h"
#include "link/SerialLink.h"

TerminalContext::TerminalContext()
    : m_answerReads(kUnboundedAnswerReads) {}

QString TerminalContext::configuratorDir() const {
    return WorkFolder::subFolder(QStringLiteral("configurator")) + QLatin1Char('/');
}

QString TerminalContext::configuratorPath(const std::string& name) const {
    return configuratorDir() + QString::fromLocal8Bit(name.data(), static_cast<int>(name.size()));
}

QString TerminalContext::fileManagerDir() const {
    return WorkFolder::subFolder(QStringLiteral("filemanager")) + QLatin1Char('/');
}

std::string TerminalContext::hostAddress() const {
    return (m_overrideAddress.isEmpty() ? AppSettings::runLocalIp() : m_overrideAddress).toStdString();
}

int TerminalContext::udpPort() const {
    return m_overridePort > 0 ? m_overridePort : AppSettings::runUdpPort();
}

void TerminalContext::setEthernetOverride(const QString& localIp, int port) {
    m_overrideAddress = localIp;
    m_overridePort = port;
}

bool TerminalContext::send(const std::string& line) {
    return send_message("%s", line.c_str());
}

std::string TerminalContext::awaitAnswer() {
    std::string answer;
    for (int i = 0; i < m_answerReads; ++i) {
        bool received = false;
        answer.clear();
        get_message(answer, received, 1);
        if (received && !answer.empty()) {
            return answer;
        }
    }
    return {};
}

std::string TerminalContext::exchange(const std::string& line) {
    if (!send(line)) {
        return {};
    }
    return awaitAnswer();
}

void TerminalContext::clearView() const {
    if (m_clearView) {
        m_clearView();
    }
}

QDateTime TerminalContext::now() const {
    return m_clock ? m_clock() : QDateTime::currentDateTime();
}
