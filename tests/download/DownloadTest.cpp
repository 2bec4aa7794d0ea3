// Listing and downloading the demo card's sequences from the simulator over its pseudo-terminal
// and loopback UDP, into a project; the listing rules; and `kelvo sequence` on the same card.
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "processing/RawFrame.h"
#include "project/DemoProject.h"
#include "sim/DemoInstrument.h"
#include "sim/Kelvo6Simulator.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"
#include "tools/DownloadTasks.h"
#include "tools/SdSequenceList.h"
#include "tools/SequenceDownload.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <memory>

using kelvotest::read_file;

namespace {

// The demo card, made once for the whole program.
QString card_dir() {
    static const QString dir = [] {
        const QString d = kelvotest::make_temp_dir(QStringLiteral("card"));
        QDir(d).removeRecursively();
        EXPECT_TRUE(Kelvo6Simulator::makeDemoCard(d, 1));
        return d;
    }();
    return dir;
}

class DownloadTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimOptions options;
        options.cardDir = card_dir();
        options.linkRateMbps = 0;
        sim = std::make_unique<Kelvo6Simulator>(options);
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        udpPort = DemoInstrument::freeUdpPort(QStringLiteral("127.0.0.2"));
        cam.setEthernetOverride(QStringLiteral("127.0.0.2"), udpPort);
        cam.setEthernetTimeoutMs(150); // a lost datagram ends its attempt quickly
        project =
            DemoProject::ensure(kelvotest::make_temp_dir(QStringLiteral("prj")), QStringLiteral("K6LP-0001"));
        ASSERT_FALSE(project.isEmpty());
    }
    void TearDown() override {
        close_comm();
        sim->stop();
        set_instrument_variant(QString());
    }

    SdSequenceList::Entries listCard() {
        EXPECT_TRUE(DownloadTasks::listCard(cam, false));
        return SdSequenceList::instance().entries();
    }
    // The sequence with vignettes and raw frames that has the fewest images.
    QString sequenceWithFrames(const SdSequenceList::Entries& entries) {
        QString best;
        int least = INT_MAX;
        for (const auto& [key, e] : entries) {
            if (key != "AUTOCHECK" && e.rawCount > 0 && e.vigCount > 0 && e.images.size() < least) {
                least = static_cast<int>(e.images.size());
                best = QString::fromUtf8(key);
            }
        }
        return best;
    }
    QString status(const QString& name) {
        const auto e = SdSequenceList::instance().find(name);
        return sd_sequence_status(name, e.value_or(SdSequenceEntry()), project, QString(), {});
    }
    // Every entry of the archive against the card: vignettes byte for byte, frames decoded and
    // compared pixel for pixel with the kept part of the stored frame.
    void expectArchiveMatchesCard(const QString& folder, const SdSequenceEntry& entry) {
        QuaZip zip(folder + QStringLiteral("/images.zip"));
        ASSERT_TRUE(zip.open(QuaZip::mdUnzip));
        QStringList names = zip.getFileNameList();
        ASSERT_EQ(names.size(), entry.images.size());
        int i = 0;
        for (bool more = zip.goToFirstFile(); more; more = zip.goToNextFile(), ++i) {
            const QString image = entry.images[i];
            const QByteArray card = read_file(card_dir() + QLatin1Char('/') + entry.dir + image);
            QuaZipFile file(&zip);
            ASSERT_TRUE(file.open(QIODevice::ReadOnly));
            const QByteArray bytes = file.readAll();
            if (image.endsWith(QLatin1String(".raw"))) {
                ASSERT_EQ(zip.getCurrentFileName(), image.left(image.size() - 4) + QStringLiteral(".png"));
                const cv::Mat png = cv::imdecode(
                    cv::Mat(1, bytes.size(), CV_8UC1, const_cast<char*>(bytes.data())), cv::IMREAD_UNCHANGED);
                ASSERT_EQ(png.rows, RawFrame::kRows);
                ASSERT_EQ(png.cols, RawFrame::kColumns);
                ASSERT_EQ(png.type(), CV_8UC1);
                ASSERT_EQ(static_cast<std::size_t>(card.size()), RawFrame::kStoredBytes);
                const cv::Mat stored(RawFrame::kStoredRows, RawFrame::kStoredColumns, CV_8UC1,
                                     const_cast<char*>(card.data()));
                const cv::Mat kept = stored(cv::Rect(0, 11, 2464, 2056));
                EXPECT_EQ(cv::countNonZero(png != kept), 0) << image.toStdString();
            } else {
                EXPECT_EQ(zip.getCurrentFileName(), image);
                EXPECT_EQ(bytes, card) << image.toStdString();
            }
        }
    }

    std::unique_ptr<Kelvo6Simulator> sim;
    InterfaceCamera cam;
    int udpPort = 0;
    QString project;
};

} // namespace

TEST(SdSequenceListTest, ListingLinesAndTheirEntries) {
    const QByteArray listing = "acq/202403/S1/S1_data.txt\r\n" // CR line end
                               "acq/202403/S1/img_0000/a.vig\n"
                               "acq/202403/S1/img_0000/a.vig\n" // repeated: counted once
                               "acq/202403/S1/img_0001/f.raw\n"
                               "acq/202403/S1/S1_synthetic.txt\n"
                               "acq/202403/S1/notes.csv\n"      // other files make nothing
                               "acq/202403/S2/img_0000/b.vig\n" // no data file: no dir
                               "acq/202403/S3/S3_DATA.TXT\n"    // endings are case-sensitive
                               "acq/202403/../x_data.txt\n"     // ".." as the sequence name
                               "acq/202403/S4/../../y.vig\n"    // a file leaving the sequence
                               "/abs/202403/S5/S5_data.txt\n"   // absolute: not a listing line
                               "onlytwo/levels_data.txt\n"
                               "AUTOCHECK/20240301_autocheck_data.txt\n"
                               "AUTOCHECK/20240301_autocheck_000.raw\n"
                               "\n";
    SdSequenceList::Entries e;
    SdSequenceList::parseListingInto(listing, e);
    ASSERT_EQ(e.size(), 3u);
    const SdSequenceEntry& s1 = e.at("S1");
    EXPECT_EQ(s1.dir, QStringLiteral("acq/202403/S1/"));
    EXPECT_EQ(s1.dataFile, QStringLiteral("S1_data.txt"));
    EXPECT_EQ(s1.syntheticFile, QStringLiteral("S1_synthetic.txt"));
    EXPECT_EQ(s1.images, QStringList({"img_0000/a.vig", "img_0001/f.raw"}));
    EXPECT_EQ(s1.vigCount, 1u);
    EXPECT_EQ(s1.rawCount, 1u);
    EXPECT_TRUE(e.at("S2").dir.isEmpty());
    EXPECT_EQ(e.at("S2").vigCount, 1u);
    EXPECT_EQ(e.at("AUTOCHECK").dir, QStringLiteral("AUTOCHECK/"));
    EXPECT_EQ(e.at("AUTOCHECK").rawCount, 1u);
    EXPECT_EQ(sd_sequence_status(QStringLiteral("AUTOCHECK"), e.at("AUTOCHECK"), QString(), QString(), {}),
              QStringLiteral("N/A"));
}

TEST_F(DownloadTest, ListDownloadAndCompareEveryFileWithTheCard) {
    kelvotest::LogCapture log;
    const SdSequenceList::Entries entries = listCard();
    ASSERT_EQ(entries.size(), 5u); // four sequences and the self-check folder
    const QString name = sequenceWithFrames(entries);
    ASSERT_FALSE(name.isEmpty());
    EXPECT_EQ(status(name), QStringLiteral("Not in project"));
    EXPECT_TRUE(log.saw("ffiletransfert|2|Nbr sequence=5"));

    const SdSequenceEntry entry = entries.at(name.toUtf8());
    SequenceDownload download(cam, project);
    int reports = 0;
    download.setProgressCallback([&](const DownloadProgress& p) {
        ++reports;
        EXPECT_EQ(SdSequenceList::instance().currentTransfer(), name);
        EXPECT_LE(p.filesDone, p.filesTotal);
    });
    const DownloadResult r = download.run(name, entry);
    ASSERT_TRUE(r.complete) << r.error.toStdString();
    EXPECT_TRUE(SdSequenceList::instance().currentTransfer().isEmpty());
    EXPECT_EQ(reports, 1 + 2 + entry.images.size());
    const QString folder = project + QStringLiteral("/raw/") + name;
    EXPECT_EQ(read_file(folder + QLatin1Char('/') + entry.dataFile),
              read_file(card_dir() + QLatin1Char('/') + entry.dir + entry.dataFile));
    EXPECT_EQ(read_file(folder + QLatin1Char('/') + entry.syntheticFile),
              read_file(card_dir() + QLatin1Char('/') + entry.dir + entry.syntheticFile));
    expectArchiveMatchesCard(folder, entry);
    EXPECT_EQ(status(name), QStringLiteral("OK"));
    EXPECT_FALSE(QFileInfo::exists(project + QStringLiteral("/raw/.") + name + QStringLiteral(".partial")));
    const int tens = static_cast<int>(entry.images.size()) / 10;
    EXPECT_TRUE(log.saw(QStringLiteral("ffiletransfert|2|Processed image %1/%2 ")
                            .arg(tens * 10)
                            .arg(entry.images.size())
                            .toStdString()));
    EXPECT_TRUE(log.saw(("ffiletransfert|2|Sequence " + name + " transfert done").toStdString()));

    // The self-check folder lands in a dated folder of its own.
    download.setProgressCallback({});
    download.setClock([] { return QDateTime(QDate(2026, 3, 4), QTime(5, 6, 59)); });
    ASSERT_TRUE(download.run(QStringLiteral("AUTOCHECK"), entries.at("AUTOCHECK")).complete);
    EXPECT_TRUE(QFileInfo(project + QStringLiteral("/autocheck/20260304_0506/images.zip")).isFile());
}

TEST_F(DownloadTest, AFaultMidSequenceNeverCostsTheOlderCopyAndAFirstCopyShowsWhatIsMissing) {
    const SdSequenceList::Entries entries = listCard();
    const QString name = sequenceWithFrames(entries);
    const SdSequenceEntry entry = entries.at(name.toUtf8());
    const QString folder = project + QStringLiteral("/raw/") + name;
    SequenceDownload download(cam, project);
    // The link drops in the middle of the fifth image on every attempt.
    download.setProgressCallback([&](const DownloadProgress& p) {
        if (p.filesDone == 6) {
            sim->setUdpFault(SimUdpFault::Disconnect, 3);
        }
    });
    kelvotest::LogCapture log;
    DownloadResult r = download.run(name, entry);
    EXPECT_FALSE(r.complete);
    EXPECT_EQ(r.error, QStringLiteral("Sequence %1 unable to retrieve file %2").arg(name, entry.images[4]));
    EXPECT_TRUE(log.saw(("ffiletransfert|0|" + r.error).toStdString()));
    // No copy before: what arrived is in place, and the grid says what is missing.
    EXPECT_EQ(status(name), QStringLiteral("Some Vignettes missing"));

    download.setProgressCallback({});
    ASSERT_TRUE(download.run(name, entry).complete);
    const QByteArray complete = read_file(folder + QStringLiteral("/images.zip"));
    EXPECT_EQ(status(name), QStringLiteral("OK"));

    // A re-download that fails (here: cancelled half-way) leaves the complete copy untouched.
    bool stop = false;
    download.setCancelCheck([&] { return stop; });
    download.setProgressCallback([&](const DownloadProgress& p) { stop = p.filesDone >= 4; });
    r = download.run(name, entry);
    EXPECT_FALSE(r.complete);
    EXPECT_EQ(r.error, QStringLiteral("Sequence %1 transfer cancelled").arg(name));
    EXPECT_EQ(read_file(folder + QStringLiteral("/images.zip")), complete);
    EXPECT_EQ(status(name), QStringLiteral("OK"));
    EXPECT_FALSE(QFileInfo::exists(project + QStringLiteral("/raw/.") + name + QStringLiteral(".partial")));

    // A data file that never arrives: nothing is written, the old copy stays.
    SdSequenceEntry missing = entry;
    missing.dataFile = QStringLiteral("nothere_data.txt");
    r = download.run(name, missing);
    EXPECT_EQ(r.error, QStringLiteral("Sequence %1 unable to retrieve data file").arg(name));
    EXPECT_EQ(read_file(folder + QStringLiteral("/images.zip")), complete);
}

TEST_F(DownloadTest, CommandLineListsDownloadsAndReportsAnUnreachableCard) {
    const QString kelvo = kelvotest::bin_dir() + QStringLiteral("/kelvo");
    const QStringList link{QStringLiteral("--port"),        sim->devicePath(),
                           QStringLiteral("--localip"),     QStringLiteral("127.0.0.2"),
                           QStringLiteral("--udpport"),     QString::number(udpPort),
                           QStringLiteral("--eth-timeout"), QStringLiteral("150")};
    close_comm(); // the command opens the port itself
    kelvotest::ProgramRun run =
        kelvotest::run_program(kelvo, QStringList{"sequence", "card", project} + link);
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QList<QByteArray> lines = run.out.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 6);
    EXPECT_TRUE(lines[0].startsWith("20240301-062622\t"));
    EXPECT_TRUE(lines[0].endsWith("\tNot in project"));
    EXPECT_EQ(lines[4], "AUTOCHECK\t3\t1\tN/A");
    EXPECT_EQ(lines[5], "sequences: 5");

    run = kelvotest::run_program(kelvo, QStringList{"sequence", "download", project, "--missing"} + link);
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_FALSE(run.out.contains('\x1b')); // into a pipe: no escapes, one progress line each
    EXPECT_EQ(run.out.count("\tOK\n"), 4);
    EXPECT_EQ(run.out.count("\tN/A\n"), 1);
    EXPECT_EQ(run.out.count(" files, "), 5);

    // A host address the instrument cannot reach: the listing fails with the network text.
    run = kelvotest::run_program(kelvo, QStringList{"sequence", "card", project, "--port", sim->devicePath(),
                                                    "--localip", "127.0.0.1", "--udpport",
                                                    QString::number(udpPort)});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.contains("Network Error: ")) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(" - Check the firewall settings to provide permissions to Kelvoapp"));
}
