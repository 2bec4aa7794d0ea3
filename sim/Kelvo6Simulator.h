#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

// An in-process Kelvo6 instrument. It opens a pseudo-terminal, serves the supervision unit's
// serial protocol on its own thread and keeps the state a real instrument keeps: user or
// supervisor mode, the processing unit (PU) power and readiness, the hardware configuration,
// the ten acquisition slots, the timetable and the clock. The application connects to
// devicePath() exactly as to a real port.
//
// Answers are written as one burst each (the application ends an answer after ~100 ms of
// silence). Everything the instrument leaves open is decided here and printed by
// `kelvo6-sim --help` (Kelvo6Simulator::behaviourText()):
//   - a line that is not "$...;" (or holds control bytes, or is over-long)  -> "$error:SYNTAX;\n"
//   - a well-formed command nobody knows                                    -> "$error:UNKNOWN;\n"
//   - a known command with bad arguments                                    -> "$<NAME>:ERROR;\n"
//   - a configuration command in user mode                                  -> "$<NAME>:DENIED;\n"
//   - "$USER;" while already in user mode                                   -> "$starterr:30;\n"
//   - "$SU;" while busy (setBusy, or an acquisition running)                -> "$SU:BUSY;\n"
//   - a "$PU:..." command while the PU is off                               -> "$PU:OFF;\n"
//     (while the PU is still booting such commands get no answer at all)
//
// Hardware information ("$PU:hwinfo;") is "[PU]:$hwinfo:" (13 characters) then comma fields:
//   LP: 0 PU serial, 1 PU firmware, 2 image sensor, 3 frame width, 4 frame height,
//       5 SD remaining MB, 6 SD total MB, 7 PU temperature
//   HF: 0 PU serial, 1 PU firmware, 2 image sensor, 3 frame width, 4 frame height,
//       5 flash driver, 6 SD remaining MB, 7 SD total MB, 8 PU temperature
// (see kHwinfoSdRemainingIndex / kHwinfoSdTotalIndex below).

enum class SimMode { User, Supervisor };

// Off: no power. Booting: powered, not yet answering. Ready: answers "$PU:..." commands.
// ShuttingDown: power-off in progress ("$PUready;" waits for it to finish).
enum class SimPuState { Off, Booting, Ready, ShuttingDown };

// Result of "$autocheck;": "$autocheckpassed;\n" or one of the four start errors.
enum class SimAutocheck { Passed, Mezzanine49, Flash59, Pressure69, Temperature79 };

// Where the PU sends UDP data, as named by the last "$PU:ethlink,...;" command.
struct SimEthlinkDestination {
    int mode = -1; // -1: never named
    QString host;  // empty for the simple form "$PU:ethlink,%d;"
    int port = 0;  // 0 for the simple form
    QString mac;   // empty when not given
};

// Faults of the processing unit's UDP side, each applied to a number of coming dumps (file or
// frame dumps alike).
enum class SimUdpFault {
    LoseDatagram,      // the second data datagram (the first of a one-datagram file) is not sent
    DuplicateDatagram, // the second data datagram (the first of a one-datagram file) is sent twice
    StrayDatagram,     // a 20-byte datagram from another port arrives before the header
    NoHeader,          // the data datagrams come without their header
    TruncatedFile,     // the header announces the whole file; the last datagram carries half its bytes
    Disconnect,        // the link drops after half of the data datagrams
};

struct SimOptions {
    QString variant = QStringLiteral("LP"); // "LP" or "HF"
    // Camera serial number: Camera_ref of a fresh hardware configuration and the PU serial of
    // the hardware information. Empty: "K6LP-0001" or "K6HF-0001".
    QString serial;
    // Text of the version answer after "$VERSION:" (the answer is "$VERSION:<firmware>;\n").
    // Empty: defaultFirmware(). The application accepts it only with "2021" right after the
    // first comma, so "V3.4.2,2022.01.10" tries a refused firmware.
    QString firmware;
    // Fast (false): every answer at once. Realistic: command handling takes a few tens of
    // milliseconds, the PU takes puStartupMs to boot, the self-check and formatting take seconds.
    bool realistic = false;
    int puStartupMs = -1; // -1: 4000 in realistic mode, 0 in fast mode
    // Configuration and clock offset persisted across runs (JSON); empty: kept in memory only.
    QString stateFile;
    // The SD card, a folder on disk (file dumps and the demo card; unused by the serial side).
    QString cardDir;
    // Let UDP go to non-loopback destinations. Without it a dump to an address outside
    // 127.0.0.0/8 is refused with a log line and nothing is sent.
    bool allowNetwork = false;
    // Pacing of UDP sending in Mbit/s of data; 0 sends as fast as the host's stack takes it.
    double linkRateMbps = 100;
    // Datagram size of the device form of "$PU:filedump" and of "$PU:framedump" (announced in
    // the header). The terminal form always uses 1024-byte datagrams.
    int packetSize = 8192;
    SimAutocheck autocheck = SimAutocheck::Passed;
    int sdTotalMb = 30436;
    int sdFreeMb = 29872;
    double inputVoltage = -1; // -1: 12.10 V on LP, 24.05 V on HF
    // Pause between the bursts of a split answer and between unrelated lines (milliseconds).
    int splitPauseMs = 250;
    int unrelatedGapMs = 140;
};

class Kelvo6Simulator {
public:
    // Positions of the SD values in the hardware information list (after its 13 characters).
    static constexpr int kHwinfoSdRemainingIndexLP = 5;
    static constexpr int kHwinfoSdTotalIndexLP = 6;
    static constexpr int kHwinfoSdRemainingIndexHF = 6;
    static constexpr int kHwinfoSdTotalIndexHF = 7;
    static constexpr int kMaxTimePrograms = 128;
    static constexpr int kSlotCount = 10;

    explicit Kelvo6Simulator(SimOptions options = {});
    ~Kelvo6Simulator(); // stops
    Kelvo6Simulator(const Kelvo6Simulator&) = delete;
    Kelvo6Simulator& operator=(const Kelvo6Simulator&) = delete;

    // Validates the options, loads the state file (a damaged one is an error, never
    // overwritten), opens the pseudo-terminal in raw mode and starts serving.
    bool start(QString* error = nullptr);
    // The slave side of the pseudo-terminal ("/dev/pts/N"); empty before start().
    QString devicePath() const;
    void stop();
    bool isRunning() const;

    const SimOptions& options() const;
    static QString defaultFirmware();
    // The decisions the instrument's description leaves open, as printed by --help.
    static QString behaviourText();

    // --- Fault injection: thread-safe, effective from the next command received. -----------
    // `onlyFor`, when not empty, limits a counted fault to commands whose line starts with it
    // (for instance "$PUready" or "$PU:alive"); other commands are answered normally and do
    // not use up the count.
    void setSilentCommands(int n, const QString& onlyFor = QString());
    // n unrelated log lines, each its own burst, before every answer (0 turns it off).
    void setUnrelatedLinesBeforeAnswers(int n);
    // Every answer sent in two bursts separated by options().splitPauseMs.
    void setSplitAnswers(bool on);
    // The next n answers with some characters replaced (same length, line feed kept).
    void setGarbleNextAnswers(int n, const QString& onlyFor = QString());
    // The next n answers cut to their first half (no line feed).
    void setTruncateNextAnswers(int n, const QString& onlyFor = QString());
    // Every later "$HWCONFset"/"$ACQCONFset" that holds `field` stores `value` there instead of
    // the value sent, as an instrument that clamps or ignores a value would (an empty field
    // turns it off).
    void setStoredValue(const QString& field, const QString& value);
    // A busy instrument refuses supervisor mode with "$SU:BUSY;\n".
    void setBusy(bool busy);
    void setAutocheckResult(SimAutocheck result);
    // The PU powers but never becomes ready: "$PUready;" answers "$PUready:FAILED;\n".
    void setPuStartFailure(bool fail);
    // "$PU:makefs;" answers "[PU]:$makefs:FAILED,<code>;\n"; 0 restores success.
    void setMakefsFailure(int code);
    // Synthetic data of the last acquisition, served by "$PU:datareq;" (empty: FAILED).
    void setSyntheticData(const QStringList& lines);
    // After n data lines "$PU:datareq;" answers "[PU]:$datareq:ERROR;\n"; -1 turns it off.
    void setDatareqErrorAfter(int n);

    // Faults of the UDP side for the next `dumps` dumps (0 clears that fault).
    void setUdpFault(SimUdpFault fault, int dumps = 1);
    void setLinkRateMbps(double mbps);

    // --- The simulator's own log: refused destinations, bad card paths, what was sent. -----
    QStringList logLines() const;
    // Called (from the serving thread) with every new log line; the executable prints them.
    void setLogSink(std::function<void(const QString&)> sink);

    // Writes a realistic demo SD card into `dir` (new or empty): sequences in three folder
    // levels named after their start time, data and synthetic files, vignettes, raw frames, an
    // "AUTOCHECK" folder and "tree.txt". The same seed gives the same bytes.
    static bool makeDemoCard(const QString& dir, quint32 seed = 1, QString* error = nullptr);

    // --- State, for tests and the demo mode. ---------------------------------------------
    SimMode mode() const;
    SimPuState puState() const;
    QString variant() const;
    // The 25 hardware fields in table order, as "$HWCONFread:" carries them.
    QStringList hardwareFields() const;
    // The 20 fields of a slot; empty for an empty ("<invalid>") slot or a bad index.
    QStringList slotFields(int slot) const;
    // Time programs in wire form ("2019,7,*,*,20,0,July_CONF,120"), in priority order.
    QStringList timetable() const;
    // Instrument clock minus host UTC clock, in seconds.
    qint64 clockOffsetSeconds() const;
    void setClockOffsetSeconds(qint64 seconds);
    SimEthlinkDestination ethlinkDestination() const;
    // Configuration of the running acquisition ("$start:<name>;"), empty when idle.
    QString runningAcquisition() const;
    // Every command line received, in order (without the line feed), and the raw bytes.
    QStringList receivedLines() const;
    // Dumps carried out over UDP so far (file and frame dumps, refused ones left out).
    int udpDumpCount() const;
    QByteArray receivedBytes() const;
    void clearReceived();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
