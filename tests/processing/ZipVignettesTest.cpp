// The vignette archive of a downloaded sequence: what goes in, in which order, what stays on
// disk, and that nothing is lost when the work stops half-way.
#include "processing/RawFrame.h"
#include "processing/SequenceDataProcessor.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

using kelvotest::read_file;
using kelvotest::write_file;

namespace {

QByteArray pattern(int size, int seed) {
    QByteArray b(size, '\0');
    for (int i = 0; i < size; ++i) {
        b[i] = static_cast<char>((i * 7 + seed * 31 + i / 2480) & 0xFF);
    }
    return b;
}

struct Fixture {
    QString project = kelvotest::make_temp_dir(QStringLiteral("prj"));
    QString seq = project + QStringLiteral("/raw/S1");
    Fixture() { QDir().mkpath(project + QStringLiteral("/config")); }
    QString file(const QString& rel) const { return seq + QLatin1Char('/') + rel; }
};

} // namespace

TEST(ZipVignettesTest, ArchivesVignettesAndFramesInNameOrderAndLeavesTheRest) {
    Fixture f;
    const QByteArray frame = pattern(static_cast<int>(RawFrame::kStoredBytes), 3);
    write_file(f.file("img_0001/f.vig"), pattern(900, 1));
    write_file(f.file("img_0000/b.raw"), frame);
    write_file(f.file("img_0000/a.vig"), pattern(1500, 2));
    write_file(f.file("img_0000/c.txt"), "notes");
    write_file(f.file("img_0000/d.raw"), pattern(static_cast<int>(RawFrame::kStoredBytes) - 1, 4));
    write_file(f.file("img_0000/e.vig"), QByteArray());
    write_file(f.file("loose.vig"), pattern(10, 5));
    write_file(f.file(".images.zip.partial"), "left by an interrupted run");
    const QString outside = kelvotest::make_temp_dir() + QStringLiteral("/outside.vig");
    write_file(outside, "not ours");
    ASSERT_TRUE(QFile::link(outside, f.file("img_0000/link.vig")));
    const QByteArray a = read_file(f.file("img_0000/a.vig"));

    kelvotest::LogCapture log;
    SequenceDataProcessor processor(f.project);
    EXPECT_EQ(processor.ZipVignettes(QStringLiteral("S1")), QString());
    EXPECT_TRUE(log.saw("SequenceDataProcessor|2|Start compressing vignettes of sequence S1"));
    EXPECT_TRUE(
        log.saw(("SequenceDataProcessor|0|Invalid file size for " + f.file("img_0000/d.raw")).toStdString()));

    QuaZip zip(f.file("images.zip"));
    ASSERT_TRUE(zip.open(QuaZip::mdUnzip));
    EXPECT_EQ(zip.getFileNameList(),
              QStringList({"img_0000/a.vig", "img_0000/b.png", "img_0000/e.vig", "img_0001/f.vig"}));
    ASSERT_TRUE(zip.setCurrentFile(QStringLiteral("img_0000/a.vig")));
    QuaZipFile entry(&zip);
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
    EXPECT_EQ(entry.readAll(), a);
    entry.close();
    ASSERT_TRUE(zip.setCurrentFile(QStringLiteral("img_0000/b.png")));
    QuaZipFile png(&zip);
    ASSERT_TRUE(png.open(QIODevice::ReadOnly));
    QByteArray bytes = png.readAll();
    const cv::Mat image = cv::imdecode(cv::Mat(1, bytes.size(), CV_8UC1, bytes.data()), cv::IMREAD_UNCHANGED);
    const cv::Mat stored(RawFrame::kStoredRows, RawFrame::kStoredColumns, CV_8UC1,
                         const_cast<char*>(frame.data()));
    ASSERT_EQ(image.rows, 2056);
    ASSERT_EQ(image.cols, 2464);
    EXPECT_EQ(cv::countNonZero(image != stored(cv::Rect(0, 11, 2464, 2056))), 0);
    zip.close();

    // Archived sources are gone; the rest stays, an empty vignette included (its entry is empty).
    for (const char* gone : {"img_0000/a.vig", "img_0000/b.raw", "img_0001/f.vig", ".images.zip.partial"}) {
        EXPECT_FALSE(QFileInfo::exists(f.file(QLatin1String(gone)))) << gone;
    }
    for (const char* kept : {"img_0000/c.txt", "img_0000/d.raw", "img_0000/e.vig", "loose.vig"}) {
        EXPECT_TRUE(QFileInfo::exists(f.file(QLatin1String(kept)))) << kept;
    }
    EXPECT_EQ(read_file(outside), "not ours");

    const QByteArray archive = read_file(f.file("images.zip"));
    EXPECT_EQ(processor.ZipVignettes(QStringLiteral("S1")), QStringLiteral("Already zipped"));
    EXPECT_EQ(read_file(f.file("images.zip")), archive);
}

TEST(ZipVignettesTest, RefusalsAndAStopHalfWayKeepEverySource) {
    Fixture f;
    SequenceDataProcessor processor(f.project);
    EXPECT_EQ(processor.ZipVignettes(QStringLiteral("S1")), QStringLiteral("Sequence not found"));
    EXPECT_EQ(processor.ZipVignettes(QStringLiteral("..")), QStringLiteral("Sequence not found"));
    write_file(f.file("loose.vig"), "x");
    EXPECT_EQ(processor.ZipVignettes(QStringLiteral("S1")), QStringLiteral("No Image"));
    EXPECT_FALSE(QFileInfo::exists(f.file("images.zip")));

    for (int i = 0; i < 40; ++i) {
        write_file(f.file(QStringLiteral("img_0000/v%1.vig").arg(i, 2, 10, QLatin1Char('0'))),
                   pattern(2000, i));
    }
    int files = 0;
    const QString status = processor.ZipVignettes(QStringLiteral("S1"), {}, [&] { return ++files > 20; });
    EXPECT_EQ(status, QStringLiteral("Cancelled"));
    EXPECT_FALSE(QFileInfo::exists(f.file("images.zip")));
    EXPECT_FALSE(QFileInfo::exists(f.file(".images.zip.partial")));
    EXPECT_EQ(QDir(f.file("img_0000")).entryList(QDir::Files).size(), 40);

    // The command line runs the same work and says "ok" for an empty status.
    const kelvotest::ProgramRun run = kelvotest::run_program(kelvotest::bin_dir() + QStringLiteral("/kelvo"),
                                                             {"sequence", "zip", f.project, "--missing"});
    EXPECT_EQ(run.out, "S1\tok\n");
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(QDir(f.file("img_0000")).entryList(QDir::Files).size(), 0);
}
