// Reading a sequence data file, and opening a large project with its sequences page model.
#include "project/Project.h"
#include "project/SampleHeaderColumns.h"
#include "project/SequenceHandler.h"
#include "project/modelPrjSeq.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <malloc.h>

#include <memory>
#include <random>
#include <string>

namespace {

QTemporaryDir& work_dir() {
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/kelvo-bench-project-XXXXXX"));
    return dir;
}

void write(const QString& path, const std::string& text) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        f.write(text.data(), static_cast<qint64>(text.size())) != static_cast<qint64>(text.size())) {
        std::abort();
    }
}

// A data file as the instrument writes it: the two configuration lines, then one line per
// image, most with object groups (200 to 400 bytes), some background images without flash.
std::string data_file(int lines, unsigned seed) {
    std::mt19937 random(seed);
    std::string text =
        "HW_CONF,000120LP,0,ACQ_DEEP,0,LIGHT01,0,150,250,PRESS01,0.5,-1,2000,2,192.168.0.128,0,100,0,"
        "3,5380.1,1.0,73,0.65,20200101,202001010000,op@example.org\n"
        "ACQ_CONF,ACQ_DEEP,1,0,2,1000,10,1,1,0,0,0,1\n";
    text.reserve(static_cast<size_t>(lines) * 320);
    char head[96];
    for (int i = 0; i < lines; ++i) {
        const int s = i % 86400;
        const bool black = random() % 20 == 0;
        std::snprintf(head, sizeof head, "20200101-%02d%02d%02d%03d,%.2f,%.1f,%c:", s / 3600, s / 60 % 60,
                      s % 60, i % 1000, 0.1 * i / 10.0, 12.0 + (random() % 100) / 10.0, black ? '0' : '1');
        std::string line = head;
        const size_t target = 200 + random() % 200;
        int size = 12;
        while (line.size() < target) {
            line += std::to_string(size) + ',' + std::to_string(random() % 300) + ',' +
                    std::to_string(random() % 4000) + ',' + std::to_string(random() % 200) + ';';
            size += 1 + static_cast<int>(random() % 5);
        }
        text += line;
        text += '\n';
    }
    return text;
}

size_t heap_in_use() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

void BM_ReadDataFile(benchmark::State& state) {
    const int lines = static_cast<int>(state.range(0));
    const QString project = work_dir().path() + QStringLiteral("/kelvo6_sn000120lp_2020_read");
    const QString seq = QStringLiteral("seq%1").arg(lines);
    const QString path = SequenceHandler::DataFilePath(project, seq);
    if (!QFileInfo::exists(path)) {
        write(path, data_file(lines, 7));
    }
    const double fileSize = static_cast<double>(QFileInfo(path).size());
    double memory = 0;
    int rows = 0;
    for (auto _ : state) {
        const size_t before = heap_in_use();
        auto handler = std::make_unique<SequenceHandler>(project, seq);
        if (!handler->ReadDataFile()) {
            state.SkipWithError("data file not read");
            break;
        }
        memory = static_cast<double>(heap_in_use() - before);
        rows = handler->RowCount();
        benchmark::DoNotOptimize(handler->Rows().data());
    }
    state.counters["rows"] = rows;
    state.counters["file_MB"] = fileSize / 1e6;
    state.counters["mem_per_file_byte"] = memory / fileSize;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * fileSize));
}
// 650,000 lines is a data file of about 200 MB, far beyond a real deployment.
BENCHMARK(BM_ReadDataFile)->Arg(50000)->Arg(650000)->Unit(benchmark::kMillisecond);

// A project of 500 sequences and 5,000 samples: the header file is read, the six later columns
// checked, "raw/" listed and the page model filled.
QString big_project() {
    const QString project = work_dir().path() + QStringLiteral("/kelvo6_sn000120lp_2020_big");
    if (QFileInfo::exists(project)) {
        return project;
    }
    QDir().mkpath(project + QStringLiteral("/config"));
    write(project + QStringLiteral("/config/cruise_info.txt"),
          "[General]\nacron=big\nyear=2020\nsn=000120lp\n");
    const std::string small = data_file(20, 3);
    for (int s = 0; s < 500; ++s) {
        const QString seq = QStringLiteral("20200101-%1").arg(s, 6, 10, QLatin1Char('0'));
        write(SequenceHandler::DataFilePath(project, seq), small);
        if (s % 2 == 0) {
            write(SequenceHandler::SequenceFolder(project, seq) + QLatin1Char('/') + seq + "_synthetic.txt",
                  "s\n");
        }
        if (s % 3 == 0) {
            write(SequenceHandler::SequenceFolder(project, seq) + QStringLiteral("/images.zip"), "PK");
        }
    }
    std::string header = SampleHeaderColumns::All().join(';').toStdString() + "\n";
    for (int i = 0; i < 5000; ++i) {
        const std::string seq =
            QStringLiteral("20200101-%1").arg(i % 500, 6, 10, QLatin1Char('0')).toStdString();
        header += "big;Research Vessel;" + seq + ";big_st" + std::to_string(i) + ";2500;ctd_" +
                  std::to_string(i) +
                  ".cnv;43\xC2\xB0"
                  "41 10;7.3187;" +
                  std::to_string(i % 20) + ";0.65;0.0053801;1.0;;90;5;2;3;station comment;" +
                  std::to_string(100 + i % 900) + ";;st" + std::to_string(i % 50) +
                  ";P;nan;;73;20200101-120000;nan\n";
    }
    write(project + QStringLiteral("/meta/") + Project::SampleHeaderFileName(QFileInfo(project).fileName()),
          header);
    return project;
}

void BM_OpenProjectAndFillSequencesPage(benchmark::State& state) {
    const QString project = big_project();
    int rows = 0;
    int samples = 0;
    for (auto _ : state) {
        Project p;
        if (!p.Load(project)) {
            state.SkipWithError("project not loaded");
            break;
        }
        modelPrjSeq model(&p);
        model.Reload();
        rows = model.rowCount();
        samples = p.SampleHeader().RowCount();
    }
    state.counters["sequences"] = rows;
    state.counters["samples"] = samples;
}
BENCHMARK(BM_OpenProjectAndFillSequencesPage)->Unit(benchmark::kMillisecond);

} // namespace
