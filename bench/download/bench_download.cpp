// One realistic sequence (a 50,000-line data file, 2,000 vignettes of 1-60 KB, 20 raw frames)
// downloaded from the simulator, from listing to closed "images.zip", against the same file
// dumps alone (no archive), at the simulator's paced 100 Mbit/s and 1 Gbit/s; at 1 Gbit/s also
// against building the archive alone from memory. Then the vignette archive of the same
// vignettes from disk against Info-ZIP `zip -r -6` on the same tree. Each side is measured in the
// same run, alternately; the ratios are printed with the peak memory of the download.
//
// Usage: bench_download [REPETITIONS [MBIT/S...]]   (default 3 repetitions at 100 and 1000 Mbit/s;
//        the best time of each side is compared)
#include "DownloadBenchCard.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "processing/ParallelZipWriter.h"
#include "processing/SequenceDataProcessor.h"
#include "project/DemoProject.h"
#include "sim/DemoInstrument.h"
#include "sim/Kelvo6Simulator.h"
#include "tools/DownloadTasks.h"
#include "tools/SdSequenceList.h"
#include "tools/SequenceDownload.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <sys/resource.h>
#include <vector>

using namespace downloadbench;

namespace {

// Processor time of the whole process (every thread, the in-process simulator's included).
double cpu_seconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

double seconds(const QElapsedTimer& t) {
    return static_cast<double>(t.nsecsElapsed()) / 1e9;
}

struct Rig {
    std::unique_ptr<Kelvo6Simulator> sim;
    InterfaceCamera cam;

    bool start(const QString& card, double mbps) {
        SimOptions o;
        o.cardDir = card;
        o.linkRateMbps = mbps;
        sim = std::make_unique<Kelvo6Simulator>(o);
        if (!sim->start() || !init_comm(sim->devicePath(), 38400)) {
            return false;
        }
        cam.setEthernetOverride(QStringLiteral("127.0.0.2"),
                                DemoInstrument::freeUdpPort(QStringLiteral("127.0.0.2")));
        return true;
    }
    ~Rig() {
        close_comm();
        if (sim) {
            sim->stop();
        }
    }
};

// Listing, then every file of the sequence dumped into memory and dropped.
double dumps_alone(InterfaceCamera& cam, const QString& name, bool* ok) {
    QElapsedTimer t;
    t.start();
    *ok = DownloadTasks::listCard(cam, false);
    const SdSequenceEntry e = SdSequenceList::instance().find(name).value_or(SdSequenceEntry());
    cam.prepareEthernet();
    cam.puSetup();
    cam.setEthernetDestination();
    QStringList files{e.dataFile, e.syntheticFile};
    files += e.images;
    for (const QString& f : files) {
        cam.dumpFile(e.dir + f);
        *ok = *ok && cam.lastTransferSucceeded();
    }
    return seconds(t);
}

// The time from the last file received to the closed archive, of the latest download.
double g_tail = 0;

double download(InterfaceCamera& cam, const QString& name, const QString& project, bool* ok) {
    QElapsedTimer t;
    t.start();
    *ok = DownloadTasks::listCard(cam, false);
    SequenceDownload d(cam, project);
    double lastFile = 0;
    d.setProgressCallback([&](const DownloadProgress& p) {
        if (p.filesDone == p.filesTotal) {
            lastFile = seconds(t);
        }
    });
    struct Tail {
        const QElapsedTimer& t;
        const double& lastFile;
        ~Tail() { g_tail = seconds(t) - lastFile; }
    } tail{t, lastFile};
    *ok = *ok && d.run(name, SdSequenceList::instance().find(name).value_or(SdSequenceEntry())).complete;
    return seconds(t);
}

double archive_from_memory(const std::vector<std::pair<QString, QByteArray>>& files, const QString& path) {
    QElapsedTimer t;
    t.start();
    ParallelZipWriter zip;
    zip.open(path);
    for (const auto& [name, bytes] : files) {
        const bool raw = name.endsWith(QLatin1String(".raw"));
        zip.add(raw ? name.left(name.size() - 4) + QStringLiteral(".png") : name, bytes,
                raw ? ParallelZipWriter::Content::RawFrame : ParallelZipWriter::Content::Bytes);
    }
    zip.close(true);
    return seconds(t);
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    use_temporary_home();
    QCoreApplication app(argc, argv);
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    QTemporaryDir work(QDir::tempPath() + QStringLiteral("/kelvo-bench-download-XXXXXX"));
    const QString card = work.path() + QStringLiteral("/card");
    std::int64_t bytes = 0;
    const QString name = write_realistic_sequence(card, &bytes);
    std::printf("sequence %s: %d files, %.1f MB on the card\n", qPrintable(name), 2 + 2000 + 20, bytes / 1e6);

    std::vector<double> rates;
    for (int i = 2; i < argc; ++i) {
        rates.push_back(std::atof(argv[i]));
    }
    if (rates.empty()) {
        rates = {100.0, 1000.0};
    }
    for (const double mbps : rates) {
        Rig rig;
        if (!rig.start(card, mbps)) {
            std::fprintf(stderr, "simulator did not start\n");
            return 1;
        }
        double bestDumps = 1e9;
        double bestDownload = 1e9;
        double bestTail = 0;
        double dumpsCpu = 0;
        double downloadCpu = 0;
        double peak = 0;
        bool allOk = true;
        for (int r = 0; r < reps; ++r) {
            bool ok = false;
            double cpu = cpu_seconds();
            bestDumps = std::min(bestDumps, dumps_alone(rig.cam, name, &ok));
            dumpsCpu = cpu_seconds() - cpu;
            allOk = allOk && ok;
            const QString project = DemoProject::ensure(
                work.path() + QStringLiteral("/p%1_%2").arg(mbps).arg(r), QStringLiteral("K6LP-0001"));
            reset_peak_rss();
            cpu = cpu_seconds();
            const double took = download(rig.cam, name, project, &ok);
            downloadCpu = cpu_seconds() - cpu;
            if (took < bestDownload) {
                bestDownload = took;
                bestTail = g_tail;
            }
            peak = std::max(peak, peak_rss_mb());
            allOk = allOk && ok;
            QDir(project).removeRecursively();
        }
        std::printf(
            "\n%.0f Mbit/s: dumps alone %.3f s, download to closed images.zip %.3f s (of which %.3f s "
            "after the last file arrived), peak memory %.0f MB%s\n",
            mbps, bestDumps, bestDownload, bestTail, peak, allOk ? "" : "  (SOME TRANSFERS FAILED)");
        std::printf("  processor time: dumps alone %.2f s, download %.2f s (simulator included)\n", dumpsCpu,
                    downloadCpu);
        if (mbps < 500) {
            std::printf("  ratio download / dumps alone = %.3f (target <= 1.05)\n", bestDownload / bestDumps);
            continue;
        }
        std::vector<std::pair<QString, QByteArray>> files;
        const SdSequenceEntry e = SdSequenceList::instance().find(name).value_or(SdSequenceEntry());
        for (const QString& image : e.images) {
            QFile f(card + QLatin1Char('/') + e.dir + image);
            f.open(QIODevice::ReadOnly);
            files.emplace_back(image, f.readAll());
        }
        double bestArchive = 1e9;
        const double cpu = cpu_seconds();
        for (int r = 0; r < reps; ++r) {
            bestArchive =
                std::min(bestArchive, archive_from_memory(files, work.path() + QStringLiteral("/mem.zip")));
        }
        const double archiveCpu = (cpu_seconds() - cpu) / reps;
        const int cores = std::max(1, QThread::idealThreadCount());
        std::printf("  archive alone from memory %.3f s, processor time %.2f s\n", bestArchive, archiveCpu);
        // Both sides need the processor at once: on few cores their sum bounds the download.
        std::printf("  processor floor (dumps + archive processor time) / %d cores = %.3f s\n", cores,
                    (dumpsCpu + archiveCpu) / cores);
        std::printf("  ratio download / max(dumps alone, archive alone) = %.3f (target <= 1.10)\n",
                    bestDownload / std::max(bestDumps, bestArchive));
    }

    // The vignette archive from disk against zip -r -6 on the same vignettes.
    const QString source = card + QStringLiteral("/acq/202506/") + name;
    const QStringList folders = QDir(source).entryList({QStringLiteral("img_*")}, QDir::Dirs, QDir::Name);
    double bestOurs = 1e9;
    double bestZip = 1e9;
    for (int r = 0; r < reps; ++r) {
        const QString project = work.path() + QStringLiteral("/z%1").arg(r);
        const QString seq = project + QStringLiteral("/raw/S");
        for (const QString& folder : folders) {
            QDir().mkpath(seq + QLatin1Char('/') + folder);
            for (const QString& f :
                 QDir(source + QLatin1Char('/') + folder).entryList({QStringLiteral("*.vig")}, QDir::Files)) {
                QFile::copy(source + QLatin1Char('/') + folder + QLatin1Char('/') + f,
                            seq + QLatin1Char('/') + folder + QLatin1Char('/') + f);
            }
        }
        const QString copy = project + QStringLiteral("/zip");
        QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-r"), seq, copy});
        QProcess::execute(QStringLiteral("sync"), {});
        QElapsedTimer t;
        t.start();
        const QString status = SequenceDataProcessor(project).ZipVignettes(QStringLiteral("S"));
        bestOurs = std::min(bestOurs, seconds(t));
        QProcess zip;
        zip.setWorkingDirectory(copy);
        t.restart();
        zip.start(QStringLiteral("zip"), QStringList{QStringLiteral("-q"), QStringLiteral("-r"),
                                                     QStringLiteral("-6"), QStringLiteral("images.zip")} +
                                             folders);
        zip.waitForFinished(-1);
        bestZip = std::min(bestZip, seconds(t));
        if (!status.isEmpty() || zip.exitCode() != 0) {
            std::printf("archive failed: %s / zip exit %d\n", qPrintable(status), zip.exitCode());
        }
        QDir(project).removeRecursively();
    }
    std::printf("\nvignette archive of 2,000 vignettes: ZipVignettes %.3f s, zip -r -6 %.3f s\n", bestOurs,
                bestZip);
    std::printf("  ratio ZipVignettes / zip -r -6 = %.3f (target <= 1.0)\n", bestOurs / bestZip);
    return 0;
}
