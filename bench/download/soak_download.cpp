// A fault soak of the whole download road: the demo card's sequences downloaded and downloaded
// again, one after another, against the simulator, with a random fault (seeded) injected into
// one download in three: lost, duplicated or stray datagrams, a silent instrument, or a link
// that drops in the middle of a file, on one to three attempts of one file (three attempts make
// that file, and so the download, fail). After each download every copy in the project is
// checked against the card: a complete copy byte for byte (raw frames decoded and compared
// pixel for pixel), and a failed download must have left the previous copy as it was.
//
// Usage: soak_download [DOWNLOADS] [SEED]   (default 100 downloads, seed 1)
// Prints: downloads, faults injected, downloads ended complete, copies lost, incomplete copies
// reported as "OK". The last two must be 0 (exit status 1 otherwise).
#include "DownloadBenchCard.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "processing/RawFrame.h"
#include "project/DemoProject.h"
#include "sim/DemoInstrument.h"
#include "sim/Kelvo6Simulator.h"
#include "tools/DownloadTasks.h"
#include "tools/SdSequenceList.h"
#include "tools/SequenceDownload.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <cstdio>
#include <map>
#include <random>

namespace {

QByteArray read(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Whether the project's copy of the sequence equals the card's files.
bool copy_matches_card(const QString& folder, const QString& card, const SdSequenceEntry& e) {
    if (read(folder + QLatin1Char('/') + e.dataFile) != read(card + QLatin1Char('/') + e.dir + e.dataFile)) {
        return false;
    }
    if (!e.syntheticFile.isEmpty() && read(folder + QLatin1Char('/') + e.syntheticFile) !=
                                          read(card + QLatin1Char('/') + e.dir + e.syntheticFile)) {
        return false;
    }
    if (e.images.isEmpty()) {
        return true;
    }
    QuaZip zip(folder + QStringLiteral("/images.zip"));
    if (!zip.open(QuaZip::mdUnzip) || zip.getEntriesCount() != e.images.size()) {
        return false;
    }
    int i = 0;
    for (bool more = zip.goToFirstFile(); more; more = zip.goToNextFile(), ++i) {
        const QString image = e.images[i];
        QByteArray source = read(card + QLatin1Char('/') + e.dir + image);
        QuaZipFile file(&zip);
        if (!file.open(QIODevice::ReadOnly)) {
            return false;
        }
        QByteArray bytes = file.readAll();
        if (image.endsWith(QLatin1String(".raw"))) {
            const cv::Mat png =
                cv::imdecode(cv::Mat(1, bytes.size(), CV_8UC1, bytes.data()), cv::IMREAD_UNCHANGED);
            if (png.rows != RawFrame::kRows || png.cols != RawFrame::kColumns ||
                static_cast<std::size_t>(source.size()) != RawFrame::kStoredBytes) {
                return false;
            }
            const cv::Mat stored(RawFrame::kStoredRows, RawFrame::kStoredColumns, CV_8UC1, source.data());
            if (cv::countNonZero(png != stored(cv::Rect(0, RawFrame::kFirstKeptRow, RawFrame::kColumns,
                                                        RawFrame::kRows))) != 0) {
                return false;
            }
        } else if (bytes != source) {
            return false;
        }
    }
    return true;
}

QByteArray fingerprint(const QString& folder) {
    QCryptographicHash h(QCryptographicHash::Sha1);
    for (const QString& f : QDir(folder).entryList(QDir::Files, QDir::Name)) {
        h.addData(f.toUtf8());
        h.addData(read(folder + QLatin1Char('/') + f));
    }
    return h.result();
}

} // namespace

int main(int argc, char** argv) {
    downloadbench::use_temporary_home();
    QCoreApplication app(argc, argv);
    const int downloads = argc > 1 ? std::max(1, std::atoi(argv[1])) : 100;
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 1u;
    QTemporaryDir work(QDir::tempPath() + QStringLiteral("/kelvo-soak-XXXXXX"));
    const QString card = work.path() + QStringLiteral("/card");
    if (!Kelvo6Simulator::makeDemoCard(card, 1)) {
        return 1;
    }
    SimOptions o;
    o.cardDir = card;
    o.linkRateMbps = 1000;
    Kelvo6Simulator sim(o);
    if (!sim.start() || !init_comm(sim.devicePath(), 38400)) {
        std::fprintf(stderr, "simulator did not start\n");
        return 1;
    }
    InterfaceCamera cam;
    cam.setEthernetOverride(QStringLiteral("127.0.0.2"),
                            DemoInstrument::freeUdpPort(QStringLiteral("127.0.0.2")));
    cam.setEthernetTimeoutMs(100);
    const QString project = DemoProject::ensure(work.path(), QStringLiteral("K6LP-0001"));
    if (!DownloadTasks::listCard(cam, false)) {
        std::fprintf(stderr, "the card could not be listed\n");
        return 1;
    }
    QStringList names;
    for (const auto& [key, e] : SdSequenceList::instance().entries()) {
        if (key != SdSequenceList::kSelfCheckKey) {
            names << QString::fromUtf8(key);
        }
    }

    std::mt19937 rng(seed);
    int faults = 0;
    int complete = 0;
    int lost = 0;
    int falseOk = 0;
    std::map<QString, QByteArray> goodCopies; // sequence -> fingerprint of its verified copy
    const char* const kinds[] = {"lost datagram", "duplicated datagram", "stray datagram",
                                 "silent instrument", "disconnect"};
    for (int n = 0; n < downloads; ++n) {
        const QString name = names[n % names.size()];
        const SdSequenceEntry entry = SdSequenceList::instance().find(name).value_or(SdSequenceEntry());
        const QString folder = project + QStringLiteral("/raw/") + name;
        SequenceDownload download(cam, project);
        const bool inject = rng() % 3 == 0;
        const int files = 1 + (entry.syntheticFile.isEmpty() ? 0 : 1) + static_cast<int>(entry.images.size());
        const int at = static_cast<int>(rng() % static_cast<unsigned>(files));
        const int kind = static_cast<int>(rng() % 5);
        const int attempts = 1 + static_cast<int>(rng() % 3);
        bool injected = false;
        if (inject) {
            download.setProgressCallback([&](const DownloadProgress& p) {
                if (injected || p.filesDone < at) {
                    return;
                }
                injected = true;
                switch (kind) {
                case 0:
                    sim.setUdpFault(SimUdpFault::LoseDatagram, attempts);
                    break;
                case 1:
                    sim.setUdpFault(SimUdpFault::DuplicateDatagram, attempts);
                    break;
                case 2:
                    sim.setUdpFault(SimUdpFault::StrayDatagram, attempts);
                    break;
                case 3:
                    sim.setSilentCommands(attempts, QStringLiteral("$PU:filedump"));
                    break;
                default:
                    sim.setUdpFault(SimUdpFault::Disconnect, attempts);
                    break;
                }
            });
        }
        const DownloadResult r = download.run(name, entry);
        faults += injected ? 1 : 0;
        // Faults left over (the download ended first) do not reach the next download.
        for (SimUdpFault f : {SimUdpFault::LoseDatagram, SimUdpFault::DuplicateDatagram,
                              SimUdpFault::StrayDatagram, SimUdpFault::Disconnect}) {
            sim.setUdpFault(f, 0);
        }
        sim.setSilentCommands(0);
        const QString status = sd_sequence_status(name, entry, project, QString(), {});
        const bool matches = copy_matches_card(folder, card, entry);
        if (status == QLatin1String("OK") && !matches) {
            ++falseOk;
        }
        if (r.complete) {
            ++complete;
            if (matches) {
                goodCopies[name] = fingerprint(folder);
            }
        } else if (goodCopies.count(name) && fingerprint(folder) != goodCopies[name]) {
            ++lost;
        }
        std::printf("%3d %-16s %-9s %s%s\n", n + 1, qPrintable(name), r.complete ? "complete" : "failed",
                    qPrintable(status),
                    injected ? qPrintable(QStringLiteral("  [%1 x%2]").arg(kinds[kind]).arg(attempts)) : "");
    }
    close_comm();
    sim.stop();
    std::printf("\ndownloads: %d\nfaults injected: %d\ndownloads ended complete: %d\ncopies lost: %d\n"
                "incomplete copies reported as \"OK\": %d\n",
                downloads, faults, complete, lost, falseOk);
    return lost == 0 && falseOk == 0 ? 0 : 1;
}
