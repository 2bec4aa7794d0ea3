#pragma once

#include "Kelvo6Simulator.h"

#include <QString>

#include <memory>

// The instrument of the demo mode: a simulator inside the application, so that a newcomer sees
// a live Kelvo6 without any hardware. It serves its serial side on a pseudo-terminal and sends
// its UDP data to 127.0.0.2; its SD card is a demo card generated once into the per-user cache
// folder and reused by later runs, and its configuration persists beside it.
//
// It only hands out the port path and the host address and port for this run: the caller
// points its link at them without writing them into the saved settings.
class DemoInstrument {
public:
    static constexpr const char* kHostAddress = "127.0.0.2";

    DemoInstrument();
    ~DemoInstrument(); // stops the simulator
    DemoInstrument(const DemoInstrument&) = delete;
    DemoInstrument& operator=(const DemoInstrument&) = delete;

    // `folder`: where the demo card and state live (empty: "<per-user cache>/demo").
    // `options`: the simulator's options; the card, state file and loopback-only sending are
    // set here.
    bool start(QString* error = nullptr, const QString& folder = QString(), SimOptions options = {});
    void stop();
    bool isRunning() const;

    // The pseudo-terminal to open as serial port.
    QString portPath() const;
    QString hostAddress() const { return QString::fromLatin1(kHostAddress); }
    // A UDP port free on the host address when the demo started.
    int udpPort() const { return m_udpPort; }
    QString folder() const { return m_folder; }
    QString cardDir() const;

    Kelvo6Simulator* simulator() const { return m_sim.get(); }

    // The per-user default folder of the demo.
    static QString defaultFolder();
    // Makes the demo card in `cardDir` unless a complete one is there already (its "tree.txt"
    // is written last). A half-made card from an interrupted run is made again.
    static bool ensureCard(const QString& cardDir, QString* error = nullptr);
    // A UDP port nobody uses on `address` (0 when none could be found).
    static int freeUdpPort(const QString& address);

private:
    std::unique_ptr<Kelvo6Simulator> m_sim;
    QString m_folder;
    int m_udpPort = 0;
};
