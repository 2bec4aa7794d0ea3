// The archive writer (entries prepared on a pool, written through the write-behind file) and the
// mapped reader: each checked against QuaZip, and the reader against damaged archives.
#include "processing/MappedZipReader.h"
#include "processing/ParallelZipWriter.h"
#include "support/TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <map>
#include <random>

using kelvotest::read_file;
using kelvotest::write_file;

namespace {

// Entries of every kind of size: empty, small, around the writer's 4 MiB holding limit, and one
// larger than it, with compressible and random bytes.
std::map<QString, QByteArray> sample_entries() {
    std::mt19937 rng(11);
    std::map<QString, QByteArray> entries;
    const int sizes[] = {0, 1, 700, 65536, 300000, (4 << 20) - 100, 5 << 20};
    int n = 0;
    for (int size : sizes) {
        for (int kind = 0; kind < 2; ++kind) {
            QByteArray b(size, '\0');
            for (int i = 0; i < size; ++i) {
                b[i] = static_cast<char>(kind == 0 ? (i / 64) % 7 : static_cast<int>(rng() & 0xFF));
            }
            entries[QStringLiteral("img_%1/v%2.vig").arg(n % 3).arg(n, 3, 10, QLatin1Char('0'))] = b;
            ++n;
        }
    }
    for (int i = 0; i < 400; ++i) { // many small ones, as a sequence has
        entries[QStringLiteral("small/s%1.vig").arg(i, 4, 10, QLatin1Char('0'))] =
            QByteArray(50 + i, char('a' + i % 26));
    }
    return entries;
}

} // namespace

TEST(ZipReadWrite, EveryEntryReadsBackThroughQuaZipAndTheMappedReader) {
    const auto entries = sample_entries();
    const QString path = kelvotest::make_temp_dir(QStringLiteral("zip")) + QStringLiteral("/a.zip");
    ParallelZipWriter writer;
    ASSERT_TRUE(writer.open(path));
    for (const auto& [name, bytes] : entries) {
        ASSERT_TRUE(writer.add(name, bytes,
                               name.endsWith(QLatin1String("3.vig")) ? ParallelZipWriter::Content::Compressed
                                                                     : ParallelZipWriter::Content::Bytes));
    }
    ASSERT_TRUE(writer.close(true)) << writer.error().toStdString();

    QuaZip zip(path);
    ASSERT_TRUE(zip.open(QuaZip::mdUnzip));
    int seen = 0;
    for (bool more = zip.goToFirstFile(); more; more = zip.goToNextFile(), ++seen) {
        QuaZipFile file(&zip);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), entries.at(zip.getCurrentFileName()))
            << zip.getCurrentFileName().toStdString();
    }
    EXPECT_EQ(seen, static_cast<int>(entries.size()));

    MappedZipReader reader;
    ASSERT_TRUE(reader.open(path)) << reader.error().toStdString();
    ASSERT_EQ(reader.entries().size(), entries.size());
    auto expected = entries.begin();
    for (const MappedZipReader::Entry& e : reader.entries()) { // in the order they were added
        EXPECT_EQ(e.name, expected->first);
        QByteArray bytes;
        EXPECT_TRUE(reader.read(e, bytes)) << e.name.toStdString();
        EXPECT_EQ(bytes, expected->second) << e.name.toStdString();
        ++expected;
    }
}

TEST(ZipReadWrite, DamagedArchivesGiveAnErrorOrAnUnreadableEntryNeverACrash) {
    const QString dir = kelvotest::make_temp_dir(QStringLiteral("zipbad"));
    const QString good = dir + QStringLiteral("/good.zip");
    {
        ParallelZipWriter writer;
        ASSERT_TRUE(writer.open(good));
        for (int i = 0; i < 5; ++i) {
            writer.add(QStringLiteral("v%1.vig").arg(i), QByteArray(3000 + i, char('k' + i)));
        }
        ASSERT_TRUE(writer.close(false));
    }
    const QByteArray archive = read_file(good);
    const QString bad = dir + QStringLiteral("/bad.zip");
    MappedZipReader reader;

    for (const QByteArray& junk : {QByteArray(), QByteArray("PK"), QByteArray(5000, 'x')}) {
        write_file(bad, junk);
        EXPECT_FALSE(reader.open(bad));
        EXPECT_EQ(reader.error(), QStringLiteral("Unable to read %1: %2")
                                      .arg(bad, junk.isEmpty() ? QStringLiteral("not a zip archive")
                                                               : QStringLiteral("damaged zip archive")));
    }
    // Cut anywhere: the end of the archive is gone, so is its directory.
    for (int size = 0; size < archive.size(); size += 97) {
        write_file(bad, archive.left(size));
        EXPECT_FALSE(reader.open(bad)) << size;
    }
    // One byte changed anywhere: the archive opens or not, an entry reads or not, and an entry
    // that reads holds exactly what was written.
    std::mt19937 rng(5);
    for (int round = 0; round < 300; ++round) {
        QByteArray damaged = archive;
        damaged[static_cast<int>(rng() % archive.size())] = static_cast<char>(rng() & 0xFF);
        write_file(bad, damaged);
        if (!reader.open(bad)) {
            continue;
        }
        for (const MappedZipReader::Entry& e : reader.entries()) {
            QByteArray bytes;
            if (reader.read(e, bytes) && e.name.size() == 6 && e.name.startsWith(QLatin1Char('v'))) {
                const int i = e.name.mid(1, 1).toInt();
                EXPECT_EQ(bytes, QByteArray(3000 + i, char('k' + i))) << round;
            }
        }
    }
}
