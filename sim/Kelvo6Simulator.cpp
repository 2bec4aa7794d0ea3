#include "Kelvo6Simulator.h"

#include "SimDemoCard.h"
#include "SimFrame.h"
#include "SimInstrument.h"
#include "SimUdpLink.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kMaxLine = 1024;
// Bytes waiting for a reader beyond this are dropped (nobody is listening on the line).
constexpr qsizetype kMaxPendingOutput = 1 << 20;
constexpr qsizetype kMaxRecordedBytes = 16 << 20;
constexpr int kMaxLogLines = 10000;
constexpr int kUdpFaultCount = 6;

qint64 monotonicMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

struct CountedFault {
    int remaining = 0;
    QString onlyFor;

    // Uses one count when the fault applies to this command line.
    bool take(const QByteArray& line) {
        if (remaining <= 0 || (!onlyFor.isEmpty() && !line.startsWith(onlyFor.toLatin1()))) {
            return false;
        }
        --remaining;
        return true;
    }
};

struct Outgoing {
    qint64 dueMs;
    QByteArray bytes;
};

bool setRaw(int fd) {
    termios t{};
    if (tcgetattr(fd, &t) != 0) {
        return false;
    }
    cfmakeraw(&t);
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    return tcsetattr(fd, TCSANOW, &t) == 0;
}

// A card file opened for a dump: one open and fstat, as the PU finds a file on its card. The
// bytes are read only once the header is out (see readAll), so the host's wait for the header
// does not include the read. On failure `note` says why nothing is sent.
class CardFile {
public:
    bool open(const QString& path, QString* note) {
        m_fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
        struct stat st {};
        if (m_fd < 0 || ::fstat(m_fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            const int err = errno;
            const bool missing = m_fd < 0 ? err == ENOENT : !S_ISREG(st.st_mode);
            *note = missing ? QStringLiteral("no such file on the card, announced as nothing to send")
                            : QStringLiteral("cannot read it (%1), announced as nothing to send")
                                  .arg(QString::fromLocal8Bit(std::strerror(err)));
            return false;
        }
        if (st.st_size > qint64(INT32_MAX)) {
            *note = QStringLiteral("file too large for a dump header, announced as nothing to send");
            return false;
        }
        m_size = int(st.st_size);
        return true;
    }
    ~CardFile() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    int size() const { return m_size; }

    // The whole file, or what could be read of it with `note` saying what went wrong.
    QByteArray readAll(QString* note) {
        QByteArray bytes(qsizetype(m_size), Qt::Uninitialized);
        qsizetype got = 0;
        int readError = 0;
        while (got < bytes.size()) {
            const ssize_t n = ::read(m_fd, bytes.data() + got, size_t(bytes.size() - got));
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                readError = n < 0 ? errno : 0;
                break;
            }
            got += n;
        }
        if (got != bytes.size()) {
            *note = QStringLiteral("read %1 of the %2 bytes announced (%3); the dump ends there")
                        .arg(got)
                        .arg(m_size)
                        .arg(readError != 0 ? QString::fromLocal8Bit(std::strerror(readError))
                                            : QStringLiteral("the file shrank while read"));
            bytes.truncate(got);
        }
        return bytes;
    }

private:
    int m_fd = -1;
    int m_size = -1;
};

QString systemError(const char* what) {
    return QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno)));
}

} // namespace

struct Kelvo6Simulator::Impl {
    explicit Impl(const SimOptions& o)
        : opt(o)
        , inst(o)
        , udp(o.allowNetwork, o.linkRateMbps) {}

    SimOptions opt;
    mutable std::mutex m;
    SimInstrument inst;

    CountedFault silent, garble, truncate;
    int unrelated = 0;
    bool split = false;
    int unrelatedCounter = 0;

    QStringList receivedLines;
    QByteArray receivedBytes;

    // UDP side. The link itself is used by the serving thread only.
    SimUdpLink udp;
    int udpFaults[kUdpFaultCount] = {};
    int udpDumps = 0;
    std::uint32_t frameIndex = 0;
    QStringList log;
    QStringList logToEmit;
    std::function<void(const QString&)> logSink;
    std::mutex sinkMutex;

    int master = -1;
    int slaveKeep = -1; // our own slave descriptor: the master never sees a hang-up
    int wake[2] = {-1, -1};
    QString path;
    std::thread thread;
    std::atomic<bool> stopping{false};
    bool running = false;

    // Owned by the serving thread.
    QByteArray inbuf;
    bool discarding = false;
    std::deque<QByteArray> pendingLines;
    std::deque<Outgoing> out;
    qint64 busyUntil = 0;
    qint64 deafUntil = 0;

    bool loadState(QString* error);
    void saveState();
    void serve();
    void readInput(qint64 now);
    void processLines(qint64 now);
    void queueAnswer(const QByteArray& line, SimReply reply, qint64 now);
    void flushOutput(qint64 now);
    void queue(qint64 due, const QByteArray& bytes);
    // With the lock held.
    void addLog(const QString& line);
    void takeInstrumentLog();
    SimDumpFaults takeUdpFaults();
    // Without the lock.
    void emitLog();
    void runUdpJob(SimReply& reply, const SimDumpFaults& faults);
};

void Kelvo6Simulator::Impl::addLog(const QString& line) {
    if (log.size() >= kMaxLogLines) {
        log.removeFirst();
    }
    log << line;
    logToEmit << line;
}

void Kelvo6Simulator::Impl::takeInstrumentLog() {
    for (const QString& l : std::as_const(inst.pendingLog)) {
        addLog(l);
    }
    inst.pendingLog.clear();
}

void Kelvo6Simulator::Impl::emitLog() {
    QStringList lines;
    std::function<void(const QString&)> sink;
    {
        std::lock_guard<std::mutex> lock(m);
        lines.swap(logToEmit);
    }
    std::lock_guard<std::mutex> lock(sinkMutex);
    if (logSink) {
        for (const QString& l : lines) {
            logSink(l);
        }
    }
}

SimDumpFaults Kelvo6Simulator::Impl::takeUdpFaults() {
    bool on[kUdpFaultCount] = {};
    for (int i = 0; i < kUdpFaultCount; ++i) {
        if (udpFaults[i] > 0) {
            --udpFaults[i];
            on[i] = true;
        }
    }
    SimDumpFaults f;
    f.lose = on[int(SimUdpFault::LoseDatagram)];
    f.duplicate = on[int(SimUdpFault::DuplicateDatagram)];
    f.stray = on[int(SimUdpFault::StrayDatagram)];
    f.noHeader = on[int(SimUdpFault::NoHeader)];
    f.truncate = on[int(SimUdpFault::TruncatedFile)];
    f.disconnect = on[int(SimUdpFault::Disconnect)];
    return f;
}

void Kelvo6Simulator::Impl::runUdpJob(SimReply& reply, const SimDumpFaults& faults) {
    const SimUdpJob& job = reply.udp;
    QByteArray data;
    int fileSize = -1;
    QString what;
    QStringList notes;
    CardFile file;
    if (job.kind == SimUdpJob::Frame) {
        data = SimFrame::live(frameIndex++, job.light, job.lightCorrection);
        fileSize = int(data.size());
        what = QStringLiteral("framedump (light %1, correction %2)")
                   .arg(int(job.light))
                   .arg(int(job.lightCorrection));
    } else {
        what = QStringLiteral("filedump %1").arg(job.cardPath);
        QString note;
        if (!job.localPath.isEmpty()) {
            if (file.open(job.localPath, &note)) {
                fileSize = file.size();
            } else {
                notes << note;
            }
        }
    }
    const auto load = [&]() -> QByteArray {
        if (job.kind == SimUdpJob::Frame) {
            return data;
        }
        QString note;
        QByteArray bytes = file.readAll(&note);
        if (!note.isEmpty()) {
            notes << note;
        }
        return bytes;
    };
    const SimDumpResult r =
        udp.sendDump(job.host, job.port, load, fileSize, job.packetSize, faults, &stopping);
    std::lock_guard<std::mutex> lock(m);
    for (const QString& n : notes) {
        addLog(what + QStringLiteral(": ") + n);
    }
    if (!r.sent) {
        addLog(what + QStringLiteral(": ") + r.error);
        if (job.kind == SimUdpJob::Frame) {
            reply.text = "[PU]:$framedump:ERROR;\n";
        }
        return;
    }
    ++udpDumps;
    QStringList faultNames;
    const std::pair<bool, const char*> names[] = {
        {faults.lose, "lost datagram"},      {faults.duplicate, "duplicated datagram"},
        {faults.stray, "stray datagram"},    {faults.noHeader, "no header"},
        {faults.truncate, "truncated file"}, {faults.disconnect, "disconnect"}};
    for (const auto& [on, name] : names) {
        if (on) {
            faultNames << QLatin1String(name);
        }
    }
    addLog(QStringLiteral("%1: %2 bytes announced, %3 data bytes in %4 datagrams of at most %5 to %6:%7%8")
               .arg(what)
               .arg(fileSize)
               .arg(r.bytes)
               .arg(r.datagrams)
               .arg(job.packetSize)
               .arg(job.host)
               .arg(job.port)
               .arg(faultNames.isEmpty()
                        ? QString()
                        : QStringLiteral(" (fault: %1)").arg(faultNames.join(QStringLiteral(", ")))));
    if (!r.error.isEmpty()) {
        addLog(what + QStringLiteral(": ") + r.error);
    }
    reply.text = job.answerAfter;
}

bool Kelvo6Simulator::Impl::loadState(QString* error) {
    if (opt.stateFile.isEmpty()) {
        return true;
    }
    QFile f(opt.stateFile);
    if (!f.exists()) {
        saveState(); // a fresh instrument: its state file starts now
        return true;
    }
    if (!f.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read the state file %1: %2").arg(opt.stateFile, f.errorString());
        return false;
    }
    QJsonParseError pe{};
    const QJsonDocument doc = QJsonDocument::fromJson(f.read(16 << 20), &pe);
    if (pe.error != QJsonParseError::NoError || !doc.isObject()) {
        *error =
            QStringLiteral("the state file %1 is not valid JSON (%2 at offset %3); it was left untouched")
                .arg(opt.stateFile, pe.errorString())
                .arg(pe.offset);
        return false;
    }
    QString why;
    if (!inst.fromJson(doc.object(), &why)) {
        *error =
            QStringLiteral("the state file %1 is damaged: %2; it was left untouched").arg(opt.stateFile, why);
        return false;
    }
    return true;
}

void Kelvo6Simulator::Impl::saveState() {
    inst.dirty = false;
    if (opt.stateFile.isEmpty()) {
        return;
    }
    const QFileInfo fi(opt.stateFile);
    QDir().mkpath(fi.absolutePath());
    QSaveFile f(opt.stateFile);
    if (!f.open(QIODevice::WriteOnly) ||
        f.write(QJsonDocument(inst.toJson()).toJson(QJsonDocument::Indented)) < 0 || !f.commit()) {
        qWarning("kelvo6-sim: cannot save the state file %s: %s", qPrintable(opt.stateFile),
                 qPrintable(f.errorString()));
    }
}

void Kelvo6Simulator::Impl::queue(qint64 due, const QByteArray& bytes) {
    qsizetype total = 0;
    for (const Outgoing& o : out) {
        total += o.bytes.size();
    }
    if (total + bytes.size() > kMaxPendingOutput) {
        return;
    }
    out.push_back({due, bytes});
}

void Kelvo6Simulator::Impl::queueAnswer(const QByteArray& line, SimReply reply, qint64 now) {
    deafUntil = std::max(deafUntil, now + reply.deafMs);
    if (reply.text.isEmpty()) {
        busyUntil = now + reply.delayMs;
        return;
    }
    QByteArray text = reply.text;
    if (garble.take(line)) {
        // Same length, the final line feed kept, every third character from the second on lost.
        const qsizetype end = text.endsWith('\n') ? text.size() - 1 : text.size();
        for (qsizetype i = 1; i < end; i += 3) {
            text[int(i)] = '?';
        }
    }
    if (truncate.take(line)) {
        const qsizetype keep =
            std::max<qsizetype>(1, (text.endsWith('\n') ? text.size() - 1 : text.size()) / 2);
        text.truncate(keep);
    }
    qint64 t = now + reply.delayMs;
    for (int i = 0; i < unrelated; ++i) {
        ++unrelatedCounter;
        queue(t, QStringLiteral("<SU> housekeeping %1: battery nominal, leak sensor dry\n")
                     .arg(unrelatedCounter)
                     .toLatin1());
        t += opt.unrelatedGapMs;
    }
    if (split && text.size() >= 2) {
        const qsizetype half = text.size() / 2;
        queue(t, text.left(half));
        t += opt.splitPauseMs;
        queue(t, text.mid(half));
    } else {
        queue(t, text);
    }
    busyUntil = t;
}

void Kelvo6Simulator::Impl::readInput(qint64 now) {
    char buf[4096];
    for (;;) {
        const ssize_t n = ::read(master, buf, sizeof buf);
        if (n <= 0) {
            return;
        }
        {
            std::lock_guard<std::mutex> lock(m);
            if (receivedBytes.size() + n <= kMaxRecordedBytes) {
                receivedBytes.append(buf, n);
            }
        }
        if (now < deafUntil) {
            continue; // rebooting: whatever comes in is lost
        }
        for (ssize_t i = 0; i < n; ++i) {
            const char c = buf[i];
            if (c == '\n' || c == '\r') {
                if (discarding) {
                    discarding = false; // the over-long line was already queued, cut
                } else if (!inbuf.isEmpty()) {
                    pendingLines.push_back(inbuf);
                }
                inbuf.clear();
                continue;
            }
            if (discarding) {
                continue;
            }
            inbuf.append(c);
            if (inbuf.size() > kMaxLine) {
                // Keep enough to be refused as over-long, drop the rest of the line.
                pendingLines.push_back(inbuf);
                inbuf.clear();
                discarding = true;
            }
        }
    }
}

void Kelvo6Simulator::Impl::processLines(qint64 now) {
    while (!pendingLines.empty() && out.empty() && now >= busyUntil && now >= deafUntil) {
        const QByteArray line = pendingLines.front();
        pendingLines.pop_front();
        SimReply reply;
        SimDumpFaults faults;
        {
            std::lock_guard<std::mutex> lock(m);
            receivedLines << QString::fromLatin1(line.left(kMaxLine + 1));
            if (silent.take(line)) {
                continue; // lost: the instrument never heard it
            }
            reply = inst.handle(line, now);
            takeInstrumentLog();
            if (inst.dirty) {
                saveState();
            }
            if (reply.udp.kind == SimUdpJob::None) {
                queueAnswer(line, reply, now);
                continue;
            }
            faults = takeUdpFaults();
        }
        // The transfer runs without the lock, so that tests and the executable can watch it.
        emitLog();
        runUdpJob(reply, faults);
        now = monotonicMs();
        {
            std::lock_guard<std::mutex> lock(m);
            queueAnswer(line, reply, now);
        }
    }
    emitLog();
}

void Kelvo6Simulator::Impl::flushOutput(qint64 now) {
    while (!out.empty() && out.front().dueMs <= now) {
        Outgoing& o = out.front();
        const ssize_t n = ::write(master, o.bytes.constData(), size_t(o.bytes.size()));
        if (n < 0) {
            return; // full: poll tells when there is room again
        }
        if (n < o.bytes.size()) {
            o.bytes.remove(0, n);
            return;
        }
        out.pop_front();
    }
}

void Kelvo6Simulator::Impl::serve() {
    while (!stopping.load()) {
        const qint64 now = monotonicMs();
        {
            std::lock_guard<std::mutex> lock(m);
            const QByteArray unsolicited = inst.takeUnsolicited(now);
            if (!unsolicited.isEmpty()) {
                queue(now, unsolicited);
            }
        }
        flushOutput(now);
        processLines(now);
        flushOutput(now);

        qint64 next = -1;
        const auto consider = [&](qint64 t) {
            if (t >= 0 && (next < 0 || t < next)) {
                next = t;
            }
        };
        if (!out.empty()) {
            consider(out.front().dueMs);
        }
        if (!pendingLines.empty() && out.empty()) {
            consider(std::max(busyUntil, deafUntil));
        }
        {
            std::lock_guard<std::mutex> lock(m);
            consider(inst.nextEventMs());
        }
        int timeout = -1;
        if (next >= 0) {
            timeout = int(std::clamp<qint64>(next - monotonicMs(), 0, 1000));
        }
        pollfd fds[2] = {{master, POLLIN, 0}, {wake[0], POLLIN, 0}};
        if (!out.empty() && out.front().dueMs <= now) {
            fds[0].events |= POLLOUT;
        }
        const int r = ::poll(fds, 2, timeout);
        if (r < 0 && errno != EINTR) {
            break;
        }
        if (fds[1].revents & POLLIN) {
            char b[64];
            while (::read(wake[0], b, sizeof b) > 0) {
            }
        }
        if (fds[0].revents & POLLIN) {
            readInput(monotonicMs());
        }
    }
}

Kelvo6Simulator::Kelvo6Simulator(SimOptions options)
    : d(std::make_unique<Impl>(options)) {}

Kelvo6Simulator::~Kelvo6Simulator() {
    stop();
}

QString Kelvo6Simulator::defaultFirmware() {
    return QStringLiteral("V3.4.2,2021.06.30");
}

QString Kelvo6Simulator::behaviourText() {
    return QStringLiteral(
        "Answers (each one burst; the host ends an answer after ~100 ms of silence):\n"
        "  $SU;                 \"== Kelvo6-LP == Entering Supervisor Mode ==\" (or -HF), also when already\n"
        "                       in supervisor mode; \"$SU:BUSY;\" when busy or while an acquisition runs\n"
        "  $USER;               \"== Leaving Supervisor Mode ==\"; \"$starterr:30;\" when already in user "
        "mode\n"
        "  $stop;  ($stop;;)    \"$ok;\" in any mode; ends a running acquisition\n"
        "  $VERSION;            \"$VERSION:<firmware>;\"\n"
        "  $POWERmonitor;       voltage lines (\"B0 voltage: ...\" on LP, \"PBU input voltage: ...\" on "
        "HF),\n"
        "                       current lines, then \"$POWERmonitor:OK;\"\n"
        "  $TSread;             \"$TSread:<degrees>;\" (warmer while the PU runs)\n"
        "  $RTCread;            \"$RTCread:YYYYMMDD,hhmmss;\": host UTC clock plus the instrument's offset\n"
        "  $RTCset:YYYYMMDD,hhmmss;  \"$ok;\" (the offset from the host clock is kept)\n"
        "  $HWCONFread;         \"$HWCONFread:\" and the 25 hardware fields, internal ones included\n"
        "  $HWCONFset:<23 fields>;   \"$ok;\"; stamps Last_parameters_modification (YYYYMMDDhhmm,\n"
        "                       instrument clock) and Storage_capacity (card size, MB)\n"
        "  $ACQCONFread:<n>;    \"$ACQCONFread:<n>,\" and 20 fields, or \"$ACQCONFread:<n>,<invalid>;\" when "
        "empty\n"
        "  $ACQCONFset:<n>,<20 fields>;  $ACQCONFerase:<n>;   \"$ok;\"\n"
        "  $TIMEPROGread:<i>;   \"$TIMEPROGread:<i>,<program>;\" or \"$TIMEPROGread:<i>,<invalid>;\" past "
        "the end\n"
        "  $TIMEPROGinit;  $TIMEPROGadd:<program>;   one \"$ok;\" each (at most 128 programs)\n"
        "  $POWERPUset:<0|1>;   \"$ok;\"\n"
        "  $PUready;            \"$PUready:OK;\" once the last power change has finished (power-off too);\n"
        "                       \"$PUready:FAILED;\" when the PU fails to start (--pu-fail)\n"
        "  $autocheck;          \"$autocheckpassed;\" or \"$starterr:49;\", \"$starterr:59;\", "
        "\"$starterr:69;\",\n"
        "                       \"$starterr:79;\" (--autocheck), in either mode\n"
        "  $SUreboot;           no answer; back to user mode, PU off, Ethernet destination forgotten\n"
        "  $pt:<p>,<date>,<time>;  no answer (the pressure is used for the synthetic results)\n"
        "  $start:<name>;       \"$ok;\" when a slot holds that Configuration_name, else \"$start:ERROR;\";\n"
        "                       the acquisition runs in user mode; with Result_sending each bloc sends\n"
        "                       \"$result:<bloc>,<pressure>,<objects>,<small>,<medium>,<large>;\" unasked\n"
        "                       (blocs every Frames_per_bloc/Acquisition_frequency s; ten times faster\n"
        "                       in fast mode); with Save_synthetic_data_for_delayed_request the same\n"
        "                       results become the synthetic data served by $PU:datareq;\n"
        "Processing unit (PU) commands:\n"
        "  $PU:alive;           \"[PU]:$aliveack;\"\n"
        "  $PU:ethlink,<mode>[,<host>,<port>[,<mac>]];  \"[PU]:$ethlink:OK;\" (destination kept) or "
        "\":ERROR;\"\n"
        "  $PU:hwinfo;          \"[PU]:$hwinfo:\" (13 characters) then comma fields:\n"
        "                       LP: PU serial, PU firmware, sensor, width, height, SD remaining MB (5),\n"
        "                           SD total MB (6), PU temperature\n"
        "                       HF: PU serial, PU firmware, sensor, width, height, flash driver,\n"
        "                           SD remaining MB (6), SD total MB (7), PU temperature\n"
        "  $PU:makefs;          \"[PU]:$makefs:OK,<total MB>,<free MB>,3,64;\" (exFAT, 64-sector clusters)\n"
        "                       or \"[PU]:$makefs:FAILED,<code>;\" (--makefs-fail); empties the --card "
        "folder\n"
        "  $PU:treeupdate;      \"[PU]:$treeupdate:OK;\"; rewrites \"tree.txt\" at the card's root: every\n"
        "                       file as \"a/b/c/file\", byte-sorted, one per line ended by a line feed\n"
        "  $PU:datareq;         first request \"[PU]:$datareq:OK;\" (\"...:FAILED;\" without synthetic "
        "data),\n"
        "                       then one \"[PU]:<line>\" per request, then \"[PU]:$datareq:$eof;\"\n"
        "                       (\"[PU]:$datareq:ERROR;\" on a read error); any other command ends it.\n"
        "                       With --card the lines come from the synthetic file of the latest\n"
        "                       sequence folder (named yyyyMMdd-HHmmss); none there: FAILED\n"
        "UDP (to 127.0.0.0/8 only unless --allow-network; paced at --link-rate, default 100 Mbit/s):\n"
        "  every dump is a 16-byte header (little-endian int32 packet count, file size, packet\n"
        "  size, 0) and the data datagrams. A missing file or a card path that is absolute or\n"
        "  holds \"..\" is announced with size -1 and 0 packets.\n"
        "  $PU:filedump,<path>;  to the $PU:ethlink,2,... destination in --packet-size datagrams\n"
        "                       (default 8192); no serial answer (nothing sent without a destination)\n"
        "  $PU:filedump,<path>,<host>,<port>,<mac>;  to host:port in 1024-byte datagrams\n"
        "  $PU:framedump,<light>,<correction>;  a 2056 x 2464 frame (5,065,984 bytes) in --packet-size\n"
        "                       datagrams, then \"[PU]:$framedump:OK;\" on the serial line\n"
        "                       (\"[PU]:$framedump:ERROR;\" without a destination or when refused)\n"
        "  $PU:imgparamset,...; $PU:transferfunc,...;  no serial answer\n"
        "  faults on request: a lost, duplicated or stray (20-byte, other port) datagram, no header,\n"
        "  a truncated file (last datagram halved), a disconnect after half the datagrams\n"
        "  while the PU is off any $PU: command gets \"$PU:OFF;\"; while it boots, no answer at all\n"
        "Refusals:\n"
        "  a line that is not \"$...;\", holds control or non-ASCII bytes (NUL included) or is\n"
        "  longer than 1024 characters: \"$error:SYNTAX;\"; an unknown command: \"$error:UNKNOWN;\";\n"
        "  bad arguments: \"$<NAME>:ERROR;\"; a configuration command (RTCset, HWCONFset,\n"
        "  ACQCONFset, ACQCONFerase, TIMEPROGinit, TIMEPROGadd, POWERPUset, SUreboot) in user mode:\n"
        "  \"$<NAME>:DENIED;\". Lines end at a line feed or a carriage return; empty lines are ignored.\n"
        "Timing: fast answers at once; realistic takes 30 ms per command, boots the PU in\n"
        "--pu-startup-ms (4000), powers it off in 1 s, runs the self-check in 8 s, formats in 3 s,\n"
        "updates the file list in 1.5 s and ignores the line for 3 s after a reboot.\n");
}

bool Kelvo6Simulator::start(QString* error) {
    QString dummy;
    QString& err = error ? *error : dummy;
    if (d->running) {
        err = QStringLiteral("the simulator is already running");
        return false;
    }
    if (d->opt.variant != QLatin1String("LP") && d->opt.variant != QLatin1String("HF")) {
        err = QStringLiteral("unknown variant \"%1\" (LP or HF)").arg(d->opt.variant);
        return false;
    }
    if (d->opt.serial.size() > 15 || d->opt.serial.contains(QLatin1Char(',')) ||
        d->opt.serial.contains(QLatin1Char(';'))) {
        err = QStringLiteral("the serial number must be at most 15 characters without \",\" or \";\"");
        return false;
    }
    if (d->opt.firmware.contains(QLatin1Char(';')) || d->opt.firmware.contains(QLatin1Char('\n'))) {
        err = QStringLiteral("the firmware text may not hold \";\" or a line feed");
        return false;
    }
    if (d->opt.sdTotalMb <= 0 || d->opt.sdFreeMb < 0 || d->opt.sdFreeMb > d->opt.sdTotalMb) {
        err = QStringLiteral("SD sizes must satisfy 0 <= free <= total and total > 0");
        return false;
    }
    if (!(d->opt.linkRateMbps >= 0) || d->opt.linkRateMbps > 1e6) {
        err = QStringLiteral("the link rate must be from 0 (unpaced) to 1000000 Mbit/s");
        return false;
    }
    if (d->opt.packetSize < 1 || d->opt.packetSize > SimUdpLink::kMaxDatagram) {
        err = QStringLiteral("the packet size must be from 1 to %1 bytes").arg(SimUdpLink::kMaxDatagram);
        return false;
    }
    if (!d->opt.cardDir.isEmpty() && !QFileInfo(d->opt.cardDir).isDir()) {
        err = QStringLiteral("the card folder \"%1\" does not exist").arg(d->opt.cardDir);
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(d->m);
        if (!d->loadState(&err)) {
            return false;
        }
    }
    d->master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (d->master < 0) {
        err = systemError("posix_openpt");
        return false;
    }
    char name[128] = {0};
    if (grantpt(d->master) != 0 || unlockpt(d->master) != 0 || ptsname_r(d->master, name, sizeof name) != 0) {
        err = systemError("pseudo-terminal set-up");
        stop();
        return false;
    }
    d->path = QString::fromLocal8Bit(name);
    d->slaveKeep = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (d->slaveKeep < 0 || !setRaw(d->slaveKeep) || !setRaw(d->master)) {
        err = systemError("raw mode on the pseudo-terminal");
        stop();
        return false;
    }
    fcntl(d->master, F_SETFL, fcntl(d->master, F_GETFL) | O_NONBLOCK);
    if (::pipe2(d->wake, O_CLOEXEC | O_NONBLOCK) != 0) {
        err = systemError("pipe");
        stop();
        return false;
    }
    d->stopping = false;
    d->running = true;
    d->thread = std::thread([this] { d->serve(); });
    return true;
}

void Kelvo6Simulator::stop() {
    if (d->thread.joinable()) {
        d->stopping = true;
        const char c = 'x';
        [[maybe_unused]] const ssize_t w = ::write(d->wake[1], &c, 1);
        d->thread.join();
    }
    for (int* fd : {&d->master, &d->slaveKeep, &d->wake[0], &d->wake[1]}) {
        if (*fd >= 0) {
            ::close(*fd);
            *fd = -1;
        }
    }
    d->running = false;
}

bool Kelvo6Simulator::isRunning() const {
    return d->running;
}

QString Kelvo6Simulator::devicePath() const {
    return d->path;
}

const SimOptions& Kelvo6Simulator::options() const {
    return d->opt;
}

void Kelvo6Simulator::setSilentCommands(int n, const QString& onlyFor) {
    std::lock_guard<std::mutex> lock(d->m);
    d->silent = {std::max(0, n), onlyFor};
}

void Kelvo6Simulator::setUnrelatedLinesBeforeAnswers(int n) {
    std::lock_guard<std::mutex> lock(d->m);
    d->unrelated = std::max(0, n);
}

void Kelvo6Simulator::setSplitAnswers(bool on) {
    std::lock_guard<std::mutex> lock(d->m);
    d->split = on;
}

void Kelvo6Simulator::setGarbleNextAnswers(int n, const QString& onlyFor) {
    std::lock_guard<std::mutex> lock(d->m);
    d->garble = {std::max(0, n), onlyFor};
}

void Kelvo6Simulator::setTruncateNextAnswers(int n, const QString& onlyFor) {
    std::lock_guard<std::mutex> lock(d->m);
    d->truncate = {std::max(0, n), onlyFor};
}

void Kelvo6Simulator::setUdpFault(SimUdpFault fault, int dumps) {
    std::lock_guard<std::mutex> lock(d->m);
    d->udpFaults[int(fault)] = std::max(0, dumps);
}

void Kelvo6Simulator::setLinkRateMbps(double mbps) {
    d->udp.setLinkRateMbps(std::max(0.0, mbps));
}

QStringList Kelvo6Simulator::logLines() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->log;
}

void Kelvo6Simulator::setLogSink(std::function<void(const QString&)> sink) {
    std::lock_guard<std::mutex> lock(d->sinkMutex);
    d->logSink = std::move(sink);
}

int Kelvo6Simulator::udpDumpCount() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->udpDumps;
}

bool Kelvo6Simulator::makeDemoCard(const QString& dir, quint32 seed, QString* error) {
    return SimDemoCard::make(dir, seed, error);
}

void Kelvo6Simulator::setStoredValue(const QString& field, const QString& value) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.storedValueField = field;
    d->inst.storedValue = value;
}

void Kelvo6Simulator::setBusy(bool busy) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.busy = busy;
}

void Kelvo6Simulator::setAutocheckResult(SimAutocheck result) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.autocheck = result;
}

void Kelvo6Simulator::setPuStartFailure(bool fail) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.puStartFailure = fail;
}

void Kelvo6Simulator::setMakefsFailure(int code) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.makefsFailure = code;
}

void Kelvo6Simulator::setSyntheticData(const QStringList& lines) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.synthetic = lines;
}

void Kelvo6Simulator::setDatareqErrorAfter(int n) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.datareqErrorAfter = n;
}

SimMode Kelvo6Simulator::mode() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->inst.mode;
}

SimPuState Kelvo6Simulator::puState() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->inst.puState(monotonicMs());
}

QString Kelvo6Simulator::variant() const {
    return d->opt.variant;
}

QStringList Kelvo6Simulator::hardwareFields() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->inst.hardware;
}

QStringList Kelvo6Simulator::slotFields(int slot) const {
    std::lock_guard<std::mutex> lock(d->m);
    if (slot < 0 || slot >= kSlotCount) {
        return {};
    }
    return d->inst.acqSlots[size_t(slot)];
}

QStringList Kelvo6Simulator::timetable() const {
    std::lock_guard<std::mutex> lock(d->m);
    QStringList out;
    for (const SimTimeProgram& p : d->inst.timetable) {
        out << p.toWire();
    }
    return out;
}

qint64 Kelvo6Simulator::clockOffsetSeconds() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->inst.clockOffsetMs / 1000;
}

void Kelvo6Simulator::setClockOffsetSeconds(qint64 seconds) {
    std::lock_guard<std::mutex> lock(d->m);
    d->inst.clockOffsetMs = seconds * 1000;
    d->saveState();
}

SimEthlinkDestination Kelvo6Simulator::ethlinkDestination() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->inst.ethlink;
}

QString Kelvo6Simulator::runningAcquisition() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->inst.running;
}

QStringList Kelvo6Simulator::receivedLines() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->receivedLines;
}

QByteArray Kelvo6Simulator::receivedBytes() const {
    std::lock_guard<std::mutex> lock(d->m);
    return d->receivedBytes;
}

void Kelvo6Simulator::clearReceived() {
    std::lock_guard<std::mutex> lock(d->m);
    d->receivedLines.clear();
    d->receivedBytes.clear();
}
