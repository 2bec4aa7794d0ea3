// A 50,000-image sample of a realistic sequence (instrument configuration lines, four object
// groups per image, one image in two without flash):
//  - ProcessData (reading the sequence, writing the particle archive, renaming it into place)
//    against zlib deflating the same "particules.csv" bytes at the default level, in the same
//    run, alternately; the ratio of the best times is printed (target: at most 1.15);
//  - range detection on the sequence's rows (target: under 5 ms);
//  - opening the sample dialog on the sequence with its chart drawn (target: under 300 ms).
//
// Usage: bench_samples [REPETITIONS]   (default 5)
#include "processing/RangeDetector.h"
#include "processing/SampleDataProcessor.h"
#include "project/DlgCreateSample.h"
#include "project/Project.h"
#include "project/SampleHandler.h"
#include "project/SampleHeaderColumns.h"
#include "support/ConfigLines.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <qcustomplot.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <random>
#include <vector>

namespace {

constexpr int kRows = 50000;

double ms(const QElapsedTimer& t) {
    return static_cast<double>(t.nsecsElapsed()) / 1e6;
}

// A descent to 600 decibar, lit near the surface.
QByteArray data_file() {
    std::mt19937 rng(12);
    QByteArray text = benchsupport::config_line("HW_CONF,", &build_hw_params) + "\n" +
                      benchsupport::config_line("ACQ_CONF,", &build_acq_params) + "\n";
    for (int i = 0; i < kRows; ++i) {
        const double p = 600.0 * i / kRows + (rng() % 1000) / 1000.0;
        const bool black = i % 2 == 0;
        const int lit = p < 30 ? 60 : 0;
        const int n1 = black ? lit + static_cast<int>(rng() % 4) : static_cast<int>(rng() % 200);
        text += fmt::format("20240301-{:02}{:02}{:02}.{:03},{:.2f},{:.3f},{}:12,{},{},{};24,{},{},{};48,{},{}"
                            ",{};96,{},{},{};\n",
                            6 + i / 7200, (i / 120) % 60, (i / 2) % 60, (i % 2) * 500, p,
                            9.5 + (rng() % 500) / 100.0, black ? '0' : '1', n1, rng() % 255, rng() % 100,
                            n1 / 2, rng() % 255, rng() % 100, n1 / 4, rng() % 255, rng() % 100, n1 / 8,
                            rng() % 255, rng() % 100)
                    .c_str();
    }
    return text;
}

QByteArray deflate(const QByteArray& in) {
    z_stream z{};
    deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(static_cast<int>(deflateBound(&z, static_cast<uLong>(in.size()))), '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.constData()));
    z.avail_in = static_cast<uInt>(in.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    deflate(&z, Z_FINISH);
    out.resize(static_cast<int>(z.total_out));
    deflateEnd(&z);
    return out;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    QTemporaryDir tmp;
    const QString path = tmp.path() + "/kelvo6_sn000120lp_2024_bench";
    for (const char* sub : {"config", "meta", "raw/S1", "maridata"}) {
        QDir().mkpath(path + "/" + sub);
    }
    {
        QFile f(path + "/raw/S1/S1_data.txt");
        f.open(QIODevice::WriteOnly);
        f.write(data_file());
    }
    Project project;
    project.Load(path);
    RAMCsv& h = project.SampleHeader();
    h.AddRow({});
    for (const QString& c : SampleHeaderColumns::All()) {
        h.Set(0, c,
              c == "filename"    ? "S1"
              : c == "profileid" ? "bench_st01"
              : c == "endimg"    ? QString::number(kRows - 1)
                                 : QString("x"));
    }
    project.SaveSampleHeader();

    SampleDataProcessor proc(project);
    if (!proc.ProcessData("bench_st01")) {
        std::fprintf(stderr, "ProcessData failed: %s\n", qPrintable(proc.LastError()));
        return 1;
    }
    const QByteArray csv = SampleHandler(path).getParticuleCSVContent("bench_st01");
    double best = 1e30;
    double bestZ = 1e30;
    for (int r = 0; r < reps; ++r) {
        QElapsedTimer t;
        t.start();
        proc.ProcessData("bench_st01");
        best = std::min(best, ms(t));
        t.restart();
        const QByteArray z = deflate(csv);
        bestZ = std::min(bestZ, ms(t));
        if (z.isEmpty()) {
            return 1;
        }
    }
    std::printf("particules.csv: %d rows, %.1f MB\n", kRows, csv.size() / 1e6);
    std::printf("ProcessData        %8.1f ms\nzlib deflate alone %8.1f ms\nratio              %8.2f (target "
                "<= 1.15)\n",
                best, bestZ, best / bestZ);

    SequenceHandler seq(path, "S1");
    double bestRead = 1e30;
    for (int r = 0; r < reps; ++r) {
        QElapsedTimer t;
        t.start();
        seq.ReadDataFile();
        bestRead = std::min(bestRead, ms(t));
    }
    std::printf("of which reading the sequence %8.1f ms\n", bestRead);
    double bestDetect = 1e30;
    RangeDetector::Result found;
    for (int r = 0; r < reps; ++r) {
        QElapsedTimer t;
        t.start();
        found = RangeDetector::Detect(seq.Rows(), "P");
        bestDetect = std::min(bestDetect, ms(t));
    }
    std::printf("range detection    %8.2f ms (target < 5), first %d last %d\n", bestDetect, found.first,
                found.last);

    double bestOpen = 1e30;
    for (int r = 0; r < reps; ++r) {
        QElapsedTimer t;
        t.start();
        DlgCreateSample dlg(&project);
        dlg.OpenForSequence("S1");
        dlg.resize(1200, 800);
        dlg.show();
        dlg.Plot()->replot();
        QApplication::processEvents();
        bestOpen = std::min(bestOpen, ms(t));
    }
    std::printf("sample dialog open %8.1f ms (target < 300)\n", bestOpen);
    return 0;
}
