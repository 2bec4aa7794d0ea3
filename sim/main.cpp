// kelvo6-sim: a Kelvo6 instrument on a pseudo-terminal. The first line of standard output is
// the device path to connect to; it serves until SIGINT or SIGTERM. Its own log (UDP dumps,
// refused destinations, card errors) goes to standard error.
// `kelvo6-sim --make-card DIR [--seed N]` writes a demo SD card and exits.
#include "Kelvo6Simulator.h"
#include "SimDemoCard.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <pthread.h>

namespace {

bool readInt(const QCommandLineParser& p, const QString& name, int lo, int hi, int* out, QString* error) {
    if (!p.isSet(name)) {
        return true;
    }
    bool ok = false;
    const int v = p.value(name).toInt(&ok);
    if (!ok || v < lo || v > hi) {
        *error = QStringLiteral("--%1 expects a whole number from %2 to %3, not \"%4\"")
                     .arg(name)
                     .arg(lo)
                     .arg(hi)
                     .arg(p.value(name));
        return false;
    }
    *out = v;
    return true;
}

bool readAutocheck(const QString& text, SimAutocheck* out) {
    static const struct {
        const char* name;
        SimAutocheck value;
    } table[] = {{"passed", SimAutocheck::Passed},
                 {"49", SimAutocheck::Mezzanine49},
                 {"59", SimAutocheck::Flash59},
                 {"69", SimAutocheck::Pressure69},
                 {"79", SimAutocheck::Temperature79}};
    for (const auto& e : table) {
        if (text == QLatin1String(e.name)) {
            *out = e.value;
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    // Signals are taken by sigwait below, never by the serving thread.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kelvo6-sim"));

    QCommandLineParser p;
    p.setApplicationDescription(
        QStringLiteral(
            "A Kelvo6 instrument on a pseudo-terminal. The first line printed is the device path\n"
            "to connect to; the simulator then serves until interrupted (Ctrl-C or SIGTERM).\n\n") +
        Kelvo6Simulator::behaviourText());
    p.addHelpOption();
    const QList<QCommandLineOption> options = {
        {QStringLiteral("variant"), QStringLiteral("Instrument variant, LP (default) or HF."),
         QStringLiteral("LP|HF")},
        {QStringLiteral("serial"), QStringLiteral("Camera serial number (default K6LP-0001 or K6HF-0001)."),
         QStringLiteral("text")},
        {QStringLiteral("firmware"),
         QStringLiteral(
             "Version text after \"$VERSION:\" (default %1); try \"V3.4.2,2022.01.10\" for a refused "
             "firmware.")
             .arg(Kelvo6Simulator::defaultFirmware()),
         QStringLiteral("text")},
        {QStringLiteral("realistic"),
         QStringLiteral("Instrument timings (PU start-up takes seconds) instead of "
                        "immediate answers.")},
        {QStringLiteral("pu-startup-ms"),
         QStringLiteral("PU start-up time (default 4000 realistic, 0 fast)."), QStringLiteral("ms")},
        {QStringLiteral("state"),
         QStringLiteral("Keep the configurations and the clock offset in this JSON file across runs."),
         QStringLiteral("file")},
        {QStringLiteral("card"),
         QStringLiteral("Folder that stands for the SD card: file dumps, tree.txt, datareq, makefs."),
         QStringLiteral("dir")},
        {QStringLiteral("allow-network"),
         QStringLiteral("Allow UDP to destinations outside 127.0.0.0/8 (refused otherwise).")},
        {QStringLiteral("link-rate"),
         QStringLiteral("Pace UDP sending at this rate in Mbit/s (default 100; 0 unpaced)."),
         QStringLiteral("Mbit/s")},
        {QStringLiteral("packet-size"),
         QStringLiteral("Datagram size of device-form file dumps and frame dumps (default 8192)."),
         QStringLiteral("bytes")},
        {QStringLiteral("lose-datagram"),
         QStringLiteral("Lose one data datagram in each of the next N dumps."), QStringLiteral("N")},
        {QStringLiteral("duplicate-datagram"),
         QStringLiteral("Send one data datagram twice in each of the next N dumps."), QStringLiteral("N")},
        {QStringLiteral("stray-datagram"),
         QStringLiteral("Send a 20-byte datagram from another port before the header of the next N dumps."),
         QStringLiteral("N")},
        {QStringLiteral("no-header"), QStringLiteral("Leave out the header of the next N dumps."),
         QStringLiteral("N")},
        {QStringLiteral("truncate-file"),
         QStringLiteral(
             "Halve the last datagram of the next N dumps (the header still announces the whole file)."),
         QStringLiteral("N")},
        {QStringLiteral("disconnect"),
         QStringLiteral("Drop the link after half of the datagrams of the next N dumps."),
         QStringLiteral("N")},
        {QStringLiteral("make-card"),
         QStringLiteral("Write a demo SD card into this new or empty folder and exit."),
         QStringLiteral("dir")},
        {QStringLiteral("seed"), QStringLiteral("Seed of the demo card (default 1)."), QStringLiteral("N")},
        {QStringLiteral("autocheck"),
         QStringLiteral("Self-check result: passed (default), 49, 59, 69 or 79."), QStringLiteral("result")},
        {QStringLiteral("pu-fail"), QStringLiteral("The PU powers but never becomes ready.")},
        {QStringLiteral("makefs-fail"), QStringLiteral("Formatting fails with this error code."),
         QStringLiteral("code")},
        {QStringLiteral("busy"), QStringLiteral("Busy instrument: supervisor mode is refused.")},
        {QStringLiteral("silent"), QStringLiteral("Ignore the next N commands entirely."),
         QStringLiteral("N")},
        {QStringLiteral("silent-for"),
         QStringLiteral("Limit --silent, --garble and --truncate to commands starting with this text."),
         QStringLiteral("prefix")},
        {QStringLiteral("unrelated"),
         QStringLiteral("Send N unrelated log lines (one burst each) before every "
                        "answer."),
         QStringLiteral("N")},
        {QStringLiteral("split"),
         QStringLiteral("Send every answer in two bursts with a pause in the middle.")},
        {QStringLiteral("split-pause-ms"), QStringLiteral("Pause inside a split answer (default 250)."),
         QStringLiteral("ms")},
        {QStringLiteral("garble"), QStringLiteral("Garble the next N answers."), QStringLiteral("N")},
        {QStringLiteral("truncate"), QStringLiteral("Cut the next N answers to their first half."),
         QStringLiteral("N")},
        {QStringLiteral("sd-total"), QStringLiteral("SD card size in MB (default 30436)."),
         QStringLiteral("MB")},
        {QStringLiteral("sd-free"), QStringLiteral("SD card free space in MB (default 29872)."),
         QStringLiteral("MB")},
    };
    p.addOptions(options);
    p.process(app);
    if (!p.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "kelvo6-sim: unexpected argument \"%s\" (see --help)\n",
                     qPrintable(p.positionalArguments().first()));
        return 2;
    }

    QString error;
    if (p.isSet(QStringLiteral("make-card"))) {
        bool seedOk = true;
        const quint32 seed =
            p.isSet(QStringLiteral("seed")) ? p.value(QStringLiteral("seed")).toUInt(&seedOk) : 1U;
        if (!seedOk) {
            std::fprintf(stderr,
                         "kelvo6-sim: --seed expects a whole number from 0 to 4294967295, not \"%s\"\n",
                         qPrintable(p.value(QStringLiteral("seed"))));
            return 2;
        }
        SimDemoCardReport report;
        if (!SimDemoCard::make(p.value(QStringLiteral("make-card")), seed, &error, &report)) {
            std::fprintf(stderr, "kelvo6-sim: %s\n", qPrintable(error));
            return 1;
        }
        std::printf("demo card written to %s: %d sequences and AUTOCHECK, %d files, %lld bytes (seed %u)\n",
                    qPrintable(p.value(QStringLiteral("make-card"))), report.sequences, report.files,
                    static_cast<long long>(report.bytes), seed);
        return 0;
    }

    SimOptions o;
    int n = 0;
    o.variant = p.isSet(QStringLiteral("variant")) ? p.value(QStringLiteral("variant")) : o.variant;
    o.serial = p.value(QStringLiteral("serial"));
    o.firmware = p.value(QStringLiteral("firmware"));
    o.realistic = p.isSet(QStringLiteral("realistic"));
    o.stateFile = p.value(QStringLiteral("state"));
    o.cardDir = p.value(QStringLiteral("card"));
    o.allowNetwork = p.isSet(QStringLiteral("allow-network"));
    bool ok = readInt(p, QStringLiteral("pu-startup-ms"), 0, 3600000, &o.puStartupMs, &error) &&
              readInt(p, QStringLiteral("split-pause-ms"), 101, 60000, &o.splitPauseMs, &error) &&
              readInt(p, QStringLiteral("sd-total"), 1, 1 << 30, &o.sdTotalMb, &error) &&
              readInt(p, QStringLiteral("sd-free"), 0, 1 << 30, &o.sdFreeMb, &error) &&
              readInt(p, QStringLiteral("packet-size"), 1, 65507, &o.packetSize, &error);
    if (ok && p.isSet(QStringLiteral("link-rate"))) {
        bool rateOk = false;
        o.linkRateMbps = p.value(QStringLiteral("link-rate")).toDouble(&rateOk);
        if (!rateOk || !(o.linkRateMbps >= 0) || o.linkRateMbps > 1e6) {
            error = QStringLiteral("--link-rate expects Mbit/s from 0 (unpaced) to 1000000, not \"%1\"")
                        .arg(p.value(QStringLiteral("link-rate")));
            ok = false;
        }
    }
    if (ok && p.isSet(QStringLiteral("autocheck")) &&
        !readAutocheck(p.value(QStringLiteral("autocheck")), &o.autocheck)) {
        error = QStringLiteral("--autocheck expects passed, 49, 59, 69 or 79, not \"%1\"")
                    .arg(p.value(QStringLiteral("autocheck")));
        ok = false;
    }
    if (!ok) {
        std::fprintf(stderr, "kelvo6-sim: %s\n", qPrintable(error));
        return 2;
    }

    Kelvo6Simulator sim(o);
    const QString only = p.value(QStringLiteral("silent-for"));
    const struct {
        const char* name;
        void (*apply)(Kelvo6Simulator&, int, const QString&);
    } counted[] = {
        {"silent", [](Kelvo6Simulator& s, int v, const QString& f) { s.setSilentCommands(v, f); }},
        {"garble", [](Kelvo6Simulator& s, int v, const QString& f) { s.setGarbleNextAnswers(v, f); }},
        {"truncate", [](Kelvo6Simulator& s, int v, const QString& f) { s.setTruncateNextAnswers(v, f); }},
        {"unrelated", [](Kelvo6Simulator& s, int v, const QString&) { s.setUnrelatedLinesBeforeAnswers(v); }},
        {"makefs-fail", [](Kelvo6Simulator& s, int v, const QString&) { s.setMakefsFailure(v); }},
    };
    for (const auto& c : counted) {
        n = 0;
        if (!readInt(p, QLatin1String(c.name), c.name == QLatin1String("makefs-fail") ? 1 : 0, 1000000, &n,
                     &error)) {
            std::fprintf(stderr, "kelvo6-sim: %s\n", qPrintable(error));
            return 2;
        }
        if (p.isSet(QLatin1String(c.name))) {
            c.apply(sim, n, only);
        }
    }
    const struct {
        const char* name;
        SimUdpFault fault;
    } udpFaults[] = {{"lose-datagram", SimUdpFault::LoseDatagram},
                     {"duplicate-datagram", SimUdpFault::DuplicateDatagram},
                     {"stray-datagram", SimUdpFault::StrayDatagram},
                     {"no-header", SimUdpFault::NoHeader},
                     {"truncate-file", SimUdpFault::TruncatedFile},
                     {"disconnect", SimUdpFault::Disconnect}};
    for (const auto& f : udpFaults) {
        n = 0;
        if (!readInt(p, QLatin1String(f.name), 0, 1000000, &n, &error)) {
            std::fprintf(stderr, "kelvo6-sim: %s\n", qPrintable(error));
            return 2;
        }
        sim.setUdpFault(f.fault, n);
    }
    sim.setLogSink([](const QString& line) {
        std::fprintf(stderr, "kelvo6-sim: %s\n", qPrintable(line));
        std::fflush(stderr);
    });
    sim.setSplitAnswers(p.isSet(QStringLiteral("split")));
    sim.setBusy(p.isSet(QStringLiteral("busy")));
    sim.setPuStartFailure(p.isSet(QStringLiteral("pu-fail")));

    if (!sim.start(&error)) {
        std::fprintf(stderr, "kelvo6-sim: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("%s\n", qPrintable(sim.devicePath()));
    std::fflush(stdout);

    int sig = 0;
    sigwait(&stopSignals, &sig);
    sim.stop();
    return 0;
}
