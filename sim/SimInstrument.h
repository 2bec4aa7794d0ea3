#pragma once

#include "SimParamSchema.h"

#include "Kelvo6Simulator.h"
#include "SimCard.h"
#include "SimTimeProgram.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <vector>

// What the instrument does with one received line: the answer (possibly empty: no answer), how
// long after the command it is sent, and how long the instrument then ignores the line (reboot).
// A transfer the processing unit starts over UDP, carried out by the caller outside the lock.
struct SimUdpJob {
    enum Kind { None, File, Frame };
    Kind kind = None;
    QString host;
    int port = 0;
    int packetSize = 0;
    QString cardPath;             // File: as the host asked for it
    QString localPath;            // File: empty when the card path was refused (sent as "nothing to send")
    bool light = false;           // Frame
    bool lightCorrection = false; // Frame
    QByteArray answerAfter;       // serial answer once the data has gone out
};

struct SimReply {
    QByteArray text;
    qint64 delayMs = 0;
    qint64 deafMs = 0;
    SimUdpJob udp;
};

// The instrument's behaviour without any input/output: the supervision unit's command set, its
// mode, the PU power state machine, the stored configurations, the clock and a running
// acquisition. Times are milliseconds of a monotonic clock given by the caller, so that the
// state machine never sleeps. Not thread-safe: Kelvo6Simulator guards it.
class SimInstrument {
public:
    explicit SimInstrument(const SimOptions& options);

    SimReply handle(const QByteArray& line, qint64 nowMs);

    // Result lines of a running acquisition that are due by `nowMs` (sent unasked).
    QByteArray takeUnsolicited(qint64 nowMs);
    // When the next unsolicited output is due, -1 when none is expected.
    qint64 nextEventMs() const;

    // The persistent part (configurations and clock offset). fromJson checks everything
    // before changing anything.
    QJsonObject toJson() const;
    bool fromJson(const QJsonObject& json, QString* error);
    // Set whenever the persistent part changed; cleared by the caller once saved.
    bool dirty = false;

    SimMode mode = SimMode::User;
    SimPuState puState(qint64 nowMs) const;
    QStringList hardware;
    std::vector<QStringList> acqSlots; // empty list: "<invalid>"
    std::vector<SimTimeProgram> timetable;
    // Instrument clock minus host clock. Kept in milliseconds: a clock set to a whole second
    // must never read back an earlier second.
    qint64 clockOffsetMs = 0;
    // A value the instrument stores in place of the one sent (empty field: none), for the
    // read-back check of programming.
    QString storedValueField;
    QString storedValue;
    SimEthlinkDestination ethlink;
    QString running; // configuration of the running acquisition
    bool busy = false;
    bool puStartFailure = false;
    int makefsFailure = 0;
    SimAutocheck autocheck = SimAutocheck::Passed;
    QStringList synthetic;
    int datareqErrorAfter = -1;
    // Lines for the simulator's log, taken by the caller after each command.
    QStringList pendingLog;

private:
    SimReply dispatch(const QString& name, const QStringList& args, bool hasArgs, qint64 nowMs);
    SimReply puCommand(const QString& name, const QStringList& args, qint64 nowMs);
    SimReply answer(const QString& text, qint64 delayMs = -1) const;
    void alterStored(const std::vector<SimField>& fields, QStringList* stored) const;
    qint64 commandDelay() const;
    SimReply fileDump(const QStringList& args);
    SimReply frameDump(const QStringList& args);
    QString clockText() const;
    QString powerText(qint64 nowMs) const;
    QString hwinfoText(qint64 nowMs) const;
    double temperature(qint64 nowMs) const;
    void startAcquisition(int slot, qint64 nowMs);
    void stopAcquisition();

    SimOptions m_opt;
    SimCard m_card;
    QString m_serial;
    QString m_firmware;
    qint64 m_puStartupMs = 0;
    // PU power: the target and when the last change completes.
    bool m_puPowered = false;
    qint64 m_puSettledAt = 0;
    int m_sdFreeMb = 0;
    int m_datareqPos = -1; // -1: no data request in progress
    double m_pressure = 0;
    // Running acquisition.
    int m_runSlot = -1;
    int m_bloc = 0;
    qint64 m_blocPeriodMs = 0;
    qint64 m_nextBlocAt = -1;
    bool m_runSaves = false;
    bool m_runSends = false;
    QStringList m_runSynthetic;
};
