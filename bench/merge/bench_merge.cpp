// Two sequences whose "images.zip" hold about 500 MB each (deflated vignette-like entries),
// merged into a third, against `cp` of the same two archives into one folder. The merge copies
// the first archive whole and the second entry by entry as compressed data, so it should cost
// little more than the copy. Each side runs once per repetition, alternately; the best times
// and their ratio are printed.
//
// Usage: bench_merge [MB PER ARCHIVE] [REPETITIONS]   (default 500 and 3)
#include "tools/SequenceMerge.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace {

double seconds(const QElapsedTimer& t) {
    return static_cast<double>(t.nsecsElapsed()) / 1e9;
}

void write_data_file(const QString& folder, const QString& name, int rows) {
    QDir().mkpath(folder);
    QFile f(folder + QLatin1Char('/') + name + QStringLiteral("_data.txt"));
    f.open(QIODevice::WriteOnly);
    QByteArray text =
        "HW_CONF,000120LP,0,ACQ_DEEP\nACQ_CONF,ACQ_DEEP,1,2.0,10,1,0,0,1,0,100,2,1000,1.0,0,10,0,1000,0,40,"
        "op@example.org;\n";
    for (int i = 0; i < rows; ++i) {
        text += QByteArray::number(i) + ",12.5,3.1,1:1,12,34,5;2,3,45,6;\n";
    }
    f.write(text);
}

// Entries of about 256 KB of noisy image-like bytes, deflated at level 1 (quick to make),
// until the archive holds `megabytes`.
bool write_archive(const QString& path, const QString& prefix, int megabytes, unsigned seed) {
    QuaZip zip(path);
    if (!zip.open(QuaZip::mdCreate)) {
        return false;
    }
    std::mt19937 rng(seed);
    qint64 written = 0;
    QByteArray block(256 * 1024, '\0');
    for (int n = 0; written < static_cast<std::int64_t>(megabytes) * 1000000 && n < 100000; ++n) {
        for (int i = 0; i < block.size(); ++i) {
            block[i] = static_cast<char>(rng() & 0x7F);
        }
        QuaZipFile f(&zip);
        if (!f.open(QIODevice::WriteOnly,
                    QuaZipNewInfo(QStringLiteral("%1_%2.png").arg(prefix).arg(n, 5, 10, QLatin1Char('0'))),
                    nullptr, 0, Z_DEFLATED, 1)) {
            return false;
        }
        f.write(block);
        f.close();
        written = QFileInfo(path).size(); // what has reached the file so far
    }
    zip.close();
    return zip.getZipError() == ZIP_OK;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int megabytes = argc > 1 ? std::max(1, std::atoi(argv[1])) : 500;
    const int reps = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    QTemporaryDir work(QDir::tempPath() + QStringLiteral("/kelvo-bench-merge-XXXXXX"));
    const QString project = work.path() + QStringLiteral("/kelvo6_sn000120lp_2020_bench");
    const QStringList sources = {QStringLiteral("20200101-000000"), QStringLiteral("20200101-003000")};
    for (int i = 0; i < 2; ++i) {
        const QString folder = project + QStringLiteral("/raw/") + sources[i];
        write_data_file(folder, sources[i], 50000);
        if (!write_archive(folder + QStringLiteral("/images.zip"), sources[i], megabytes, 7 + i)) {
            std::fprintf(stderr, "archive not written\n");
            return 1;
        }
    }
    const qint64 bytes =
        QFileInfo(project + QStringLiteral("/raw/") + sources[0] + QStringLiteral("/images.zip")).size() +
        QFileInfo(project + QStringLiteral("/raw/") + sources[1] + QStringLiteral("/images.zip")).size();
    std::printf("two sequences, archives of %.1f MB together\n", bytes / 1e6);

    double bestMerge = 1e9;
    double bestCp = 1e9;
    bool allOk = true;
    for (int r = 0; r < reps; ++r) {
        // cp of the two archives into one folder.
        const QString copy = work.path() + QStringLiteral("/cp");
        QDir().mkpath(copy);
        QProcess::execute(QStringLiteral("sync"), {});
        QElapsedTimer t;
        t.start();
        const int status =
            QProcess::execute(QStringLiteral("cp"),
                              {project + QStringLiteral("/raw/") + sources[0] + QStringLiteral("/images.zip"),
                               copy + QStringLiteral("/a.zip")}) +
            QProcess::execute(QStringLiteral("cp"),
                              {project + QStringLiteral("/raw/") + sources[1] + QStringLiteral("/images.zip"),
                               copy + QStringLiteral("/b.zip")});
        bestCp = std::min(bestCp, seconds(t));
        allOk = allOk && status == 0;
        QDir(copy).removeRecursively();

        // The merge, then the sources given their names back for the next round.
        QProcess::execute(QStringLiteral("sync"), {});
        const QString dest = SequenceMerge::MergedName(sources[0], 2);
        t.restart();
        const SequenceMerge::Result m = SequenceMerge::Merge(project, sources, dest);
        bestMerge = std::min(bestMerge, seconds(t));
        allOk = allOk && m.ok;
        if (!m.ok) {
            std::printf("merge failed: %s\n", qPrintable(m.error));
        }
        QDir(project + QStringLiteral("/raw/") + dest).removeRecursively();
        for (const QString& s : sources) {
            SequenceMerge::Restore(project, s + QLatin1String(SequenceMerge::kUsedMark));
        }
    }
    std::printf("merge %.3f s, cp of the two archives %.3f s%s\n", bestMerge, bestCp,
                allOk ? "" : "  (SOME RUNS FAILED)");
    std::printf("ratio merge / cp = %.3f (target <= 1.3)\n", bestMerge / bestCp);
    return allOk ? 0 : 1;
}
