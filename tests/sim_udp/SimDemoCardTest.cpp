// The demo card: its layout as the download page and the data-file reader expect it, its
// reproducibility, and serving it over UDP.
#include "sim/SimDemoCard.h"
#include "UdpSession.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

#include <map>

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

struct SeqFiles {
    QString dir;
    QString data, synthetic;
    int vig = 0;
    QStringList raws; // inside the sequence folder
};

// The listing classified the way the download page does it: a sequence is a folder three levels
// deep, AUTOCHECK stands alone.
std::map<QString, SeqFiles> classify(const QByteArray& tree) {
    static const QRegularExpression re(QStringLiteral("^([^/]+/[^/]+/([^/]+)|AUTOCHECK)/(.+)$"));
    std::map<QString, SeqFiles> out;
    for (const QByteArray& line : tree.split('\n')) {
        const auto m = re.match(QString::fromUtf8(line));
        if (!m.hasMatch()) {
            continue;
        }
        SeqFiles& s = out[m.captured(2).isEmpty() ? m.captured(1) : m.captured(2)];
        const QString file = m.captured(3);
        if (file.endsWith(QLatin1String("_data.txt"))) {
            s.data = file;
            s.dir = m.captured(1) + '/';
        }
        s.synthetic = file.endsWith(QLatin1String("_synthetic.txt")) ? file : s.synthetic;
        s.vig += file.endsWith(QLatin1String(".vig")) ? 1 : 0;
        if (file.endsWith(QLatin1String(".raw"))) {
            s.raws << file;
        }
    }
    return out;
}

TEST(DemoCard, LayoutAsTheDownloadPageReadsIt) {
    SimDemoCardReport report;
    const QString card = makeCard(1, &report);
    EXPECT_EQ(report.sequences, 4);
    const QByteArray tree = kelvotest::read_file(card + QStringLiteral("/tree.txt"));
    ASSERT_FALSE(tree.isEmpty());
    EXPECT_TRUE(tree.endsWith('\n'));
    const QStringList lines = QString::fromUtf8(tree.chopped(1)).split(QLatin1Char('\n'));
    EXPECT_EQ(report.files, lines.size() + 1); // the listing names every file but itself
    for (const QString& l : lines) {
        EXPECT_TRUE(QFileInfo(card + QLatin1Char('/') + l).isFile()) << l.toStdString();
    }

    const auto seqs = classify(tree);
    ASSERT_EQ(seqs.size(), 5u);
    ASSERT_EQ(seqs.count(QStringLiteral("AUTOCHECK")), 1u);
    EXPECT_FALSE(seqs.at(QStringLiteral("AUTOCHECK")).data.isEmpty());
    EXPECT_GE(seqs.at(QStringLiteral("AUTOCHECK")).raws.size(), 1);
    int raws = seqs.at(QStringLiteral("AUTOCHECK")).raws.size();
    int withImages = 0;
    static const QRegularExpression name(QStringLiteral("^20[0-9]{6}-[0-9]{6}$"));
    for (const auto& [key, s] : seqs) {
        if (key == QLatin1String("AUTOCHECK")) {
            continue;
        }
        EXPECT_TRUE(name.match(key).hasMatch()) << key.toStdString();
        EXPECT_EQ(s.data, key + QStringLiteral("_data.txt"));
        EXPECT_EQ(s.synthetic, key + QStringLiteral("_synthetic.txt"));
        EXPECT_TRUE(s.dir.startsWith(QStringLiteral("acq/") + key.left(6) + '/')) << s.dir.toStdString();
        raws += s.raws.size();
        withImages += s.vig > 0 ? 1 : 0;
    }
    EXPECT_EQ(withImages, 3);
    EXPECT_GE(raws, 3);
    EXPECT_LE(report.bytes, 40 << 20);

    // Every raw frame is a full sensor frame.
    for (const QString& l : lines) {
        if (l.endsWith(QLatin1String(".raw"))) {
            EXPECT_EQ(QFileInfo(card + '/' + l).size(), 5126160) << l.toStdString();
        }
    }
}

struct Row {
    double pressure;
    char flag;
    int objects;
};

TEST(DemoCard, DataFilesHoldOneLinePerImageAlongTheirProfile) {
    const QString card = makeCard(2);
    const auto seqs = classify(kelvotest::read_file(card + QStringLiteral("/tree.txt")));
    int profiles = 0;
    for (const auto& [key, s] : seqs) {
        if (key == QLatin1String("AUTOCHECK")) {
            continue;
        }
        const QList<QByteArray> lines =
            kelvotest::read_file(card + '/' + s.dir + s.data).trimmed().split('\n');
        ASSERT_GT(lines.size(), 100);
        // The configuration lines are read back by the application's reader in its own test.
        std::vector<Row> rows;
        static const QRegularExpression dataLine(QStringLiteral(
            "^(20[0-9]{6}-[0-9]{6}-[0-9]{3}),([0-9]+\\.[0-9]{2}),(-?[0-9]+\\.[0-9]{3}),([01]):(.*)$"));
        for (int i = 2; i < lines.size(); ++i) {
            const auto m = dataLine.match(QString::fromLatin1(lines[i]));
            ASSERT_TRUE(m.hasMatch()) << lines[i].toStdString();
            int objects = 0;
            for (const QString& group : m.captured(5).split(QLatin1Char(';'))) {
                const QStringList v = group.split(QLatin1Char(','));
                ASSERT_EQ(v.size(), 4) << lines[i].toStdString();
                objects += v[1].toInt();
            }
            rows.push_back({m.captured(2).toDouble(), m.captured(4).at(0).toLatin1(), objects});
        }
        const auto [lo, hi] = std::minmax_element(
            rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.pressure < b.pressure; });
        if (hi->pressure - lo->pressure > 50) {
            ++profiles;
            EXPECT_LT(lo->pressure, 5.0);
            EXPECT_GT(hi->pressure, 75.0);
            EXPECT_LT(hi->pressure, 1000.0);
            // BLACK images count many objects near the surface and few at depth.
            int shallow = 0, deep = 0;
            for (const Row& r : rows) {
                if (r.flag == '0' && r.pressure < 5) {
                    shallow = std::max(shallow, r.objects);
                }
                if (r.flag == '0' && r.pressure > 60) {
                    deep = std::max(deep, r.objects);
                }
            }
            EXPECT_GT(shallow, 50) << key.toStdString();
            EXPECT_LT(deep, 10) << key.toStdString();
            // Descending or ascending: the first and last images sit at opposite ends.
            EXPECT_GT(std::abs(rows.front().pressure - rows.back().pressure), 50.0);
        } else {
            EXPECT_GT(lo->pressure, 10.0) << "a time series at a fixed depth";
        }
        // One synthetic line per bloc of ten images.
        const QList<QByteArray> synth =
            kelvotest::read_file(card + '/' + s.dir + s.synthetic).trimmed().split('\n');
        EXPECT_EQ(synth.size(), int((rows.size() + 9) / 10));
    }
    EXPECT_EQ(profiles, 3);
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

TEST(DemoCard, ServedOverUdpByteForByte) {
    const QString card = makeCard(3);
    SimOptions o = cardOptions(card, 400);
    UdpSession u(o);
    ASSERT_TRUE(u.ethlink());
    const auto seqs = classify(kelvotest::read_file(card + QStringLiteral("/tree.txt")));
    QString rawPath;
    for (const auto& [key, s] : seqs) {
        if (key != QLatin1String("AUTOCHECK") && !s.raws.isEmpty()) {
            rawPath = s.dir + s.raws.first();
            break;
        }
    }
    ASSERT_FALSE(rawPath.isEmpty());
    u.send("$PU:filedump," + rawPath.toLatin1() + ";");
    const auto got = u.rx.receiveAll(3000, 500);
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(got[0].bytes.toHex(' '), QByteArray("72 02 00 00 10 38 4e 00 00 20 00 00 00 00 00 00"));
    EXPECT_EQ(joined(got, 1), kelvotest::read_file(card + '/' + rawPath));

    // The synthetic data of the latest sequence is what datareq serves.
    QString last;
    for (const auto& [key, s] : seqs) {
        if (key != QLatin1String("AUTOCHECK") && key > last) {
            last = key;
        }
    }
    const QByteArray synth = kelvotest::read_file(card + '/' + seqs.at(last).dir + seqs.at(last).synthetic);
    EXPECT_EQ(u.s("$PU:datareq;"), QByteArray("[PU]:$datareq:OK;\n"));
    EXPECT_EQ(u.s("$PU:datareq;"), "[PU]:" + synth.left(synth.indexOf('\n') + 1));
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
