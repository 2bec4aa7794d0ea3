// The exports of samples, each timed side by side with its floor in the same run:
//  - the ODV export of a 50,000-image sample (target: under 300 ms);
//  - the sample image archive of 2,000 vignettes against decoding and PNG-encoding the same
//    vignettes alone on every core (target: ratio at most 1.2);
//  - one page of 100 vignettes of the viewer, opened on a 2 GB "images.zip" (target: under
//    300 ms).
//
// Usage: bench_exports [REPETITIONS] [odv|images|viewer]   (default 3 repetitions of every part;
//        the best time of each side is kept)
#include "processing/DlgViewVignettes.h"
#include "processing/OdvExport.h"
#include "processing/ParallelZipWriter.h"
#include "processing/SampleDataProcessor.h"
#include "processing/SampleImageArchive.h"
#include "processing/Vignette.h"
#include "project/Project.h"
#include "project/SampleHeaderColumns.h"
#include "support/ConfigLines.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QListWidget>
#include <QTemporaryDir>
#include <QThread>

#include <libdeflate.h>
#include <opencv2/imgcodecs.hpp>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <atomic>
#include <cstdio>
#include <fmt/format.h>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr int kRows = 50000;
constexpr int kVignettes = 2000;

double ms(const QElapsedTimer& t) {
    return static_cast<double>(t.nsecsElapsed()) / 1e6;
}

// A descent to 600 decibar with eleven object groups per image, as the instrument writes them.
QByteArray data_file(std::mt19937& rng) {
    QByteArray text = benchsupport::config_line("HW_CONF,", &build_hw_params) + "\n" +
                      benchsupport::config_line("ACQ_CONF,", &build_acq_params) + "\n";
    for (int i = 0; i < kRows; ++i) {
        const double p = 600.0 * i / kRows + (rng() % 1000) / 1000.0;
        std::string line =
            fmt::format("20240301-{:02}{:02}{:02}-{:03},{:.2f},{:.3f},{}:", 6 + i / 7200, (i / 120) % 60,
                        (i / 2) % 60, (i % 2) * 500, p, 9.5 + (rng() % 500) / 100.0, i % 2 == 0 ? '0' : '1');
        for (int area : {1, 2, 3, 4, 5, 6, 7, 8, 16, 32, 64}) {
            line += fmt::format("{}{},{},{},{}", area == 1 ? "" : ";", area, rng() % (400 / area + 1),
                                rng() % 255, rng() % 40);
        }
        text += QByteArray::fromStdString(line) + '\n';
    }
    return text;
}

// A vignette as the instrument cuts one out: a bright ellipse on a dark noisy background.
QByteArray vignette(std::mt19937& rng) {
    const int w = 24 + static_cast<int>(rng() % 77);
    const int h = 24 + static_cast<int>(rng() % 77);
    QByteArray v(4 + w * h, '\0');
    v[0] = static_cast<char>(w);
    v[2] = static_cast<char>(h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const double dx = (x - w / 2.0) / (w * 0.35);
            const double dy = (y - h / 2.0) / (h * 0.35);
            const double d = dx * dx + dy * dy;
            v[4 + y * w + x] = static_cast<char>(d < 1 ? 200 - static_cast<int>(80 * d) : rng() % 4);
        }
    }
    return v;
}

// Decoding and PNG-encoding every vignette on every core: the floor of the image archive. With
// `stored`, each vignette is first inflated from its entry's bytes as images.zip holds them.
void decode_and_encode(const std::vector<QByteArray>& vignettes,
                       const std::vector<QByteArray>* stored = nullptr) {
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < vignettes.size(); i = next++) {
            QByteArray bytes = vignettes[i];
            if (stored != nullptr) {
                thread_local libdeflate_decompressor* inflater = libdeflate_alloc_decompressor();
                libdeflate_deflate_decompress(inflater, (*stored)[i].constData(),
                                              static_cast<std::size_t>((*stored)[i].size()), bytes.data(),
                                              static_cast<std::size_t>(bytes.size()), nullptr);
            }
            std::vector<uchar> png;
            cv::imencode(".png", Vignette::decode(bytes), png);
        }
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < QThread::idealThreadCount(); ++t) {
        pool.emplace_back(work);
    }
    work();
    for (std::thread& t : pool) {
        t.join();
    }
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const QString only = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    const auto runs = [&only](const char* part) { return only.isEmpty() || only == QLatin1String(part); };
    QTemporaryDir tmp;
    const QString path = tmp.path() + QStringLiteral("/kelvo6_sn000120lp_2024_bench");
    for (const char* sub : {"config", "meta", "raw/S1", "maridata", "results"}) {
        QDir().mkpath(path + QLatin1Char('/') + QLatin1String(sub));
    }
    std::mt19937 rng(7);
    {
        QFile f(path + QStringLiteral("/raw/S1/S1_data.txt"));
        f.open(QIODevice::WriteOnly);
        f.write(data_file(rng));
    }
    // The sequence's vignettes, one per DATA image over the first 4,000 images.
    std::vector<QByteArray> vignettes;
    {
        QuaZip zip(path + QStringLiteral("/raw/S1/images.zip"));
        zip.open(QuaZip::mdCreate);
        for (int i = 0; i < kVignettes; ++i) {
            vignettes.push_back(vignette(rng));
            QuaZipFile entry(&zip);
            entry.open(QIODevice::WriteOnly, QuaZipNewInfo(QStringLiteral("img_%1/S1_%2_00.vig")
                                                               .arg(2 * i / 1000, 4, 10, QLatin1Char('0'))
                                                               .arg(2 * i + 1, 6, 10, QLatin1Char('0'))));
            entry.write(vignettes.back());
        }
    }
    Project project;
    project.Load(path, true);
    RAMCsv& h = project.SampleHeader();
    h.AddRow({});
    for (const QString& c : SampleHeaderColumns::All()) {
        h.Set(0, c, QString());
    }
    const std::pair<const char*, QString> fields[] = {{"filename", "S1"},
                                                      {"profileid", "bench_st01"},
                                                      {"firstimage", "0"},
                                                      {"endimg", QString::number(kRows - 1)},
                                                      {"aa", "0.0053801"},
                                                      {"exp", "1.1"},
                                                      {"volimage", "0.65"},
                                                      {"sampletype", "P"},
                                                      {"latitude", "43\u00b041 10"},
                                                      {"longitude", "7.3186"},
                                                      {"pixelsize", "73"},
                                                      {"cruise", "bench"}};
    for (const auto& [column, value] : fields) {
        h.Set(0, QLatin1String(column), value);
    }
    project.SaveSampleHeader();
    if (!SampleDataProcessor(project).ProcessData(QStringLiteral("bench_st01"))) {
        std::fprintf(stderr, "ProcessData failed\n");
        return 1;
    }

    double odv = 1e30;
    double archive = 1e30;
    double floor = 1e30;
    double floorInflating = 1e30;
    // The vignettes deflated as images.zip holds them, for the floor that inflates them too.
    std::vector<QByteArray> stored;
    for (const QByteArray& v : vignettes) {
        QByteArray d;
        ParallelZipWriter::deflateRaw(v, d);
        stored.push_back(d);
    }
    for (int r = 0; r < reps; ++r) {
        QElapsedTimer t;
        t.start();
        const QString error =
            runs("odv") ? OdvExport::exportSample(project, QStringLiteral("bench_st01")) : QString();
        odv = std::min(odv, ms(t));
        if (!error.isEmpty()) {
            std::fprintf(stderr, "ODV export failed: %s\n", qPrintable(error));
            return 1;
        }
        if (!runs("images")) {
            continue;
        }
        t.restart();
        const QString images = SampleImageArchive::build(project, QStringLiteral("bench_st01"));
        archive = std::min(archive, ms(t));
        if (!images.isEmpty()) {
            std::fprintf(stderr, "image archive failed: %s\n", qPrintable(images));
            return 1;
        }
        t.restart();
        decode_and_encode(vignettes);
        floor = std::min(floor, ms(t));
        t.restart();
        decode_and_encode(vignettes, &stored);
        floorInflating = std::min(floorInflating, ms(t));
    }
    std::printf("ODV export of a %d-image sample: %.1f ms (target < 300 ms)\n", kRows, odv);
    std::printf("sample image archive of %d vignettes: %.1f ms; decoding and PNG-encoding them alone on %d "
                "cores: %.1f ms\n  ratio = %.3f (target <= 1.2)\n",
                kVignettes, archive, QThread::idealThreadCount(), floor, archive / floor);
    std::printf(
        "  (for information: inflating them from their stored bytes too, as the archive must, %.1f ms; "
        "ratio = %.3f)\n",
        floorInflating, archive / floorInflating);

    if (!runs("viewer")) {
        return 0;
    }
    // The viewer over a 2 GB archive: the vignettes behind 2 GB of stored frames.
    {
        QuaZip zip(path + QStringLiteral("/raw/S1/images.zip"));
        zip.open(QuaZip::mdAdd);
        const QByteArray filler(100 * 1024 * 1024, '\x11');
        for (int i = 0; i < 20; ++i) {
            QuaZipFile entry(&zip);
            entry.open(QIODevice::WriteOnly, QuaZipNewInfo(QStringLiteral("frames/F%1.raw").arg(i)), nullptr,
                       0, 0, 0);
            entry.write(filler);
        }
    }
    std::printf("images.zip: %.2f GB\n",
                static_cast<double>(QFileInfo(path + QStringLiteral("/raw/S1/images.zip")).size()) / 1e9);
    double page = 1e30;
    for (int r = 0; r < reps; ++r) {
        QElapsedTimer t;
        t.start();
        DlgViewVignettes viewer(project, QStringLiteral("bench_st01"));
        viewer.findChild<QComboBox*>(QStringLiteral("cbPerPage"))->setCurrentIndex(2); // 100 a page
        viewer.show();
        QApplication::processEvents();
        page = std::min(page, ms(t));
        if (viewer.grid()->count() != 100) {
            std::fprintf(stderr, "the page shows %d vignettes\n", viewer.grid()->count());
        }
    }
    std::printf("viewer: first page of 100 vignettes shown in %.1f ms (target < 300 ms)\n", page);
    return 0;
}
