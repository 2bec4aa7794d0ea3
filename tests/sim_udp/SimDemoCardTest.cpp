// The demo card: its layout, its refusal of a folder in use and its reproducibility. (Its data
// files are read by the application's own reader in DemoCardReaderTest; serving card files over
// UDP is checked on hand-made cards in SimFileDumpTest.)
#include "sim/SimDemoCard.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

#include <map>
#include <set>

namespace {

// Every file of a folder with its content hash, by relative path.
std::map<QString, QByteArray> snapshot(const QString& dir) {
    std::map<QString, QByteArray> out;
    QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        out[QDir(dir).relativeFilePath(path)] =
            QCryptographicHash::hash(kelvotest::read_file(path), QCryptographicHash::Sha256);
    }
    return out;
}

QString makeCard(quint32 seed, SimDemoCardReport* report = nullptr) {
    const QString dir = kelvotest::make_temp_dir(QStringLiteral("demo")) + QStringLiteral("/card");
    QString error;
    EXPECT_TRUE(SimDemoCard::make(dir, seed, &error, report)) << error.toStdString();
    return dir;
}

TEST(DemoCard, LayoutAsTheInstrumentWritesIt) {
    SimDemoCardReport report;
    const QString card = makeCard(1, &report);
    EXPECT_EQ(report.sequences, 4);
    EXPECT_LE(report.bytes, 40 << 20);
    const QByteArray tree = kelvotest::read_file(card + QStringLiteral("/tree.txt"));
    ASSERT_TRUE(tree.endsWith('\n'));
    const QStringList lines = QString::fromUtf8(tree.chopped(1)).split(QLatin1Char('\n'));
    EXPECT_EQ(report.files, lines.size() + 1); // the listing names every file but itself

    // Sequence folders acq/<yyyyMM>/<yyyyMMdd-HHmmss>/, named after their month.
    const QString seq = QStringLiteral("^acq/(20[0-9]{4})/(\\1[0-9]{2}-[0-9]{6})/");
    const struct {
        const char* kind;
        QRegularExpression re;
    } kinds[] = {
        {"data", QRegularExpression(seq + QStringLiteral("\\2_data\\.txt$"))},
        {"synthetic", QRegularExpression(seq + QStringLiteral("\\2_synthetic\\.txt$"))},
        {"vignette", QRegularExpression(seq + QStringLiteral("img_[0-9]{4}/\\2_[0-9]{6}_[0-9]{2}\\.vig$"))},
        {"raw", QRegularExpression(seq + QStringLiteral("img_[0-9]{4}/\\2_[0-9]{6}\\.raw$"))},
        {"autocheck data",
         QRegularExpression(QStringLiteral("^AUTOCHECK/[0-9]{8}-[0-9]{6}_autocheck_data\\.txt$"))},
        {"autocheck raw",
         QRegularExpression(QStringLiteral("^AUTOCHECK/[0-9]{8}-[0-9]{6}_autocheck_[0-9]{3}\\.raw$"))},
        {"autocheck vignette",
         QRegularExpression(QStringLiteral("^AUTOCHECK/[0-9]{8}-[0-9]{6}_autocheck_[0-9]{3}\\.vig$"))},
    };
    std::map<QString, int> count;
    std::map<QString, std::set<QString>> sequences;
    for (const QString& l : lines) {
        EXPECT_TRUE(QFileInfo(card + QLatin1Char('/') + l).isFile()) << l.toStdString();
        int matched = 0;
        for (const auto& k : kinds) {
            const auto m = k.re.match(l);
            if (m.hasMatch()) {
                ++matched;
                ++count[QLatin1String(k.kind)];
                sequences[QLatin1String(k.kind)].insert(m.captured(2));
            }
        }
        EXPECT_EQ(matched, 1) << l.toStdString();
        if (l.endsWith(QLatin1String(".raw"))) {
            EXPECT_EQ(QFileInfo(card + '/' + l).size(), 5126160) << l.toStdString(); // a full sensor frame
        }
    }
    EXPECT_EQ(count[QStringLiteral("data")], 4);
    EXPECT_EQ(sequences[QStringLiteral("synthetic")], sequences[QStringLiteral("data")]);
    EXPECT_EQ(sequences[QStringLiteral("vignette")].size(), 3u); // one short profile saved no images
    EXPECT_GE(count[QStringLiteral("raw")], 3);
    EXPECT_EQ(count[QStringLiteral("autocheck data")], 1);
    EXPECT_GE(count[QStringLiteral("autocheck raw")], 1);
    EXPECT_GE(count[QStringLiteral("autocheck vignette")], 1);
}

TEST(DemoCard, RefusesAFolderThatHoldsFiles) {
    const QString dir = kelvotest::make_temp_dir(QStringLiteral("busy"));
    ASSERT_TRUE(kelvotest::write_file(dir + QStringLiteral("/keep.txt"), "mine"));
    QString error;
    EXPECT_FALSE(SimDemoCard::make(dir, 1, &error));
    EXPECT_EQ(QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("keep.txt")});
    EXPECT_FALSE(SimDemoCard::make(dir + QStringLiteral("/keep.txt"), 1, &error));
    EXPECT_EQ(error, QStringLiteral("\"%1/keep.txt\" exists and is not a folder").arg(dir));
}

TEST(DemoCard, TheExecutableWritesTheSameBytesForTheSameSeedAndRefusesAFullFolder) {
    const QString program = kelvotest::bin_dir() + QStringLiteral("/kelvo6-sim");
    const QString dir = kelvotest::make_temp_dir(QStringLiteral("exe")) + QStringLiteral("/card");
    kelvotest::ProgramRun run = kelvotest::run_program(program, {"--make-card", dir, "--seed", "42"});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_TRUE(QString::fromLocal8Bit(run.out).startsWith(
        QStringLiteral("demo card written to %1: 4 sequences and AUTOCHECK, ").arg(dir)));
    const auto written = snapshot(dir);
    EXPECT_GT(written.size(), 100u);
    EXPECT_TRUE(written == snapshot(makeCard(42)));
    EXPECT_FALSE(written == snapshot(makeCard(43)));

    run = kelvotest::run_program(program, {"--make-card", dir});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(QString::fromLocal8Bit(run.err),
              QStringLiteral(
                  "kelvo6-sim: the folder \"%1\" is not empty; a demo card is written only into a new or "
                  "empty folder\n")
                  .arg(dir));
}

} // namespace
