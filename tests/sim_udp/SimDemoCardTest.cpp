// The demo card: its layout, every sequence read back by the application's own reader (every data
// line taken, the configuration lines complete for the parameter tables, BLACK images where they
// belong, one synthetic line per bloc), its refusal of a folder in use and its reproducibility.
// (Serving card files over UDP is checked on hand-made cards in SimFileDumpTest.)
#include "sim/SimDemoCard.h"
#include "params/ParamTable.h"
#include "project/SequenceHandler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

#include <cmath>
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

// Reads one sequence's data file with the application's reader.
void readSequence(const QString& card, const QString& dataPath, const QString& seq) {
    const QString project = kelvotest::make_temp_dir(QStringLiteral("kelvo6_sn0001lp_2024_demo"));
    const QByteArray bytes = kelvotest::read_file(card + QLatin1Char('/') + dataPath);
    EXPECT_TRUE(kelvotest::write_file(SequenceHandler::DataFilePath(project, seq), bytes));
    SequenceHandler h(project, seq);
    EXPECT_TRUE(h.ReadDataFile()) << h.LastError().toStdString();
    EXPECT_EQ(h.RowCount(), int(bytes.count('\n')) - 2); // no line skipped
    EXPECT_EQ(h.NanPressureCount(), 0);
    ParamTable hw, acq;
    // Every value of both tables (their root caption holds none).
    EXPECT_EQ(h.ReadHwConf(hw), 25) << h.HwConfLine().toStdString();
    EXPECT_EQ(h.ReadAcqConf(acq), 20) << h.AcqConfLine().toStdString();
    EXPECT_EQ(GetParamAsText(hw, "Camera_ref"), "K6LP-0001");
    EXPECT_EQ(GetParamAsText(acq, "Interval_for_measuring_background_noise"), "10");

    const auto& rows = h.Rows();
    EXPECT_GT(rows.size(), 100u);
    for (size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i].IsBlack(), i % 10 == 0) << seq.toStdString() << " row " << i;
        ASSERT_EQ(rows[i].kind, 'O');
        ASSERT_TRUE(std::isfinite(rows[i].pressure));
        ASSERT_EQ(h.RowIndex(rows[i].dateTime), int(i)) << "date-times are unique";
    }
    // One synthetic line per bloc of ten images.
    const QString synthetic =
        QString(dataPath).replace(QStringLiteral("_data.txt"), QStringLiteral("_synthetic.txt"));
    EXPECT_EQ(kelvotest::read_file(card + QLatin1Char('/') + synthetic).count('\n'),
              qsizetype((rows.size() + 9) / 10));
}

TEST(DemoCard, LayoutAndEverySequenceReadBackByTheApplication) {
    SimDemoCardReport report;
    const QString card = makeCard(1, &report);
    EXPECT_EQ(report.sequences, 4);
    EXPECT_LE(report.bytes, 40 << 20);
    const QByteArray tree = kelvotest::read_file(card + QStringLiteral("/tree.txt"));
    ASSERT_TRUE(tree.endsWith('\n'));
    const QStringList lines = QString::fromUtf8(tree.chopped(1)).split(QLatin1Char('\n'));
    // The listing names every file but itself, in byte order.
    QStringList files;
    for (const auto& [path, hash] : snapshot(card)) {
        files << path;
    }
    files.removeOne(QStringLiteral("tree.txt"));
    EXPECT_EQ(lines, files);
    EXPECT_EQ(report.files, lines.size() + 1);

    // Sequence folders acq/<yyyyMM>/<yyyyMMdd-HHmmss>/, named after their month.
    const QString seq = QStringLiteral("^acq/(20[0-9]{4})/(\\1[0-9]{2}-[0-9]{6})/");
    const QString autocheck = QStringLiteral("^AUTOCHECK/[0-9]{8}-[0-9]{6}_autocheck_");
    const struct {
        const char* kind;
        QRegularExpression re;
    } kinds[] = {
        {"data", QRegularExpression(seq + QStringLiteral("\\2_data\\.txt$"))},
        {"synthetic", QRegularExpression(seq + QStringLiteral("\\2_synthetic\\.txt$"))},
        {"vignette", QRegularExpression(seq + QStringLiteral("img_[0-9]{4}/\\2_[0-9]{6}_[0-9]{2}\\.vig$"))},
        {"raw", QRegularExpression(seq + QStringLiteral("img_[0-9]{4}/\\2_[0-9]{6}\\.raw$"))},
        {"autocheck data", QRegularExpression(autocheck + QStringLiteral("data\\.txt$"))},
        {"autocheck image", QRegularExpression(autocheck + QStringLiteral("[0-9]{3}\\.(raw|vig)$"))},
    };
    std::map<std::string, std::multiset<QString>> found; // sequence names by kind of file
    for (const QString& l : lines) {
        int matched = 0;
        for (const auto& k : kinds) {
            const auto m = k.re.match(l);
            if (m.hasMatch()) {
                ++matched;
                found[k.kind].insert(m.captured(2));
                if (k.kind == std::string("data")) {
                    readSequence(card, l, m.captured(2));
                }
            }
        }
        EXPECT_EQ(matched, 1) << l.toStdString();
        if (l.endsWith(QLatin1String(".raw"))) {
            EXPECT_EQ(QFileInfo(card + '/' + l).size(), 5126160) << l.toStdString(); // a full sensor frame
        }
    }
    EXPECT_EQ(found["data"].size(), 4u);
    EXPECT_EQ(found["synthetic"], found["data"]);
    // One short profile saved no images.
    EXPECT_EQ(std::set<QString>(found["vignette"].begin(), found["vignette"].end()).size(), 3u);
    EXPECT_GE(found["raw"].size(), 3u);
    EXPECT_EQ(found["autocheck data"].size(), 1u);
    EXPECT_GE(found["autocheck image"].size(), 2u);
}

TEST(DemoCard, TheExecutableWritesTheSameBytesForTheSameSeedAndRefusesAFolderInUse) {
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

    // A folder that holds files is left as it was; a file is no folder.
    run = kelvotest::run_program(program, {"--make-card", dir});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(QString::fromLocal8Bit(run.err),
              QStringLiteral(
                  "kelvo6-sim: the folder \"%1\" is not empty; a demo card is written only into a new or "
                  "empty folder\n")
                  .arg(dir));
    EXPECT_TRUE(written == snapshot(dir));
    QString error;
    EXPECT_FALSE(SimDemoCard::make(dir + QStringLiteral("/tree.txt"), 1, &error));
    EXPECT_EQ(error, QStringLiteral("\"%1/tree.txt\" exists and is not a folder").arg(dir));
}

} // namespace
