#pragma once

#include "link/EthLink.h"
#include "link/InstrumentProtocol.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <string>
#include <vector>

// Argument words of a command line, the command name excluded.
using ShellArgs = std::vector<std::string>;

// What every terminal command works with: the instrument's message protocol, its own UDP link
// for file dumps, the folders its files live in, the view it may clear and the host clock. One
// context per shell; commands run one at a time, on whichever thread runs the shell.
class TerminalContext {
public:
    TerminalContext();

    InstrumentProtocol& protocol() { return m_protocol; }

    // "configurator/" inside the working folder (created if missing), with a trailing slash.
    QString configuratorDir() const;
    // `name` inside "configurator/".
    QString configuratorPath(const std::string& name) const;

    // "filemanager/" inside the working folder (created if missing), with a trailing slash: the
    // mirror of the instrument's SD card.
    QString fileManagerDir() const;

    // The shell's own UDP link, opened and closed by each storage command.
    EthLink& ethLink() { return m_eth; }

    // Host address and UDP port used when a storage command names none: this run's Ethernet
    // link (AppSettings::runLocalIp, the demo instrument's address in demo mode), unless
    // replaced for this shell (an empty address or a port of 0 keeps the run's).
    std::string hostAddress() const;
    int udpPort() const;
    void setEthernetOverride(const QString& localIp, int port);

    // Sends `line` (a dollar message without line feed); false when it could not be written.
    bool send(const std::string& line);
    // Reads with one try at a time until something arrives, at most answerReads() reads, so a
    // silent instrument yields "" instead of a hang.
    std::string awaitAnswer();
    // send() then awaitAnswer(); "" when the line could not be written or nothing came.
    std::string exchange(const std::string& line);

    int answerReads() const { return m_answerReads; }
    void setAnswerReads(int reads) { m_answerReads = reads; }

    // Empties the terminal view ("clear"); nothing happens without a view.
    void clearView() const;
    void setClearView(std::function<void()> clear) { m_clearView = std::move(clear); }

    // The host's local date and time (pt, rtcsync); replaceable so that tests fix the clock.
    QDateTime now() const;
    void setClock(std::function<QDateTime()> clock) { m_clock = std::move(clock); }

private:
    InstrumentProtocol m_protocol;
    EthLink m_eth;
    QString m_overrideAddress;
    int m_overridePort = 0;
    int m_answerReads;
    std::function<void()> m_clearView;
    std::function<QDateTime()> m_clock;
};
