// Parameter and timetable files: how long a read and a write take (microseconds per operation).
#include "params/ParamSets.h"
#include "params/Timetable.h"
#include "terminal/TermPrint.h"

#include <benchmark/benchmark.h>

#include <QDir>

namespace {

QString bench_file(const char* name) {
    const QString dir = QDir::home().filePath(QStringLiteral("bench-params"));
    QDir().mkpath(dir);
    return QDir(dir).filePath(QString::fromLatin1(name));
}

Timetable full_timetable() {
    Timetable tt;
    for (int i = 0; i < kTimetableMaxPrograms; ++i) {
        TimeProgram p;
        p.year = 2000 + static_cast<quint32>(i % 100);
        p.month = 1 + static_cast<quint32>(i % 12);
        p.day = i % 3 == 0 ? 0 : 1 + static_cast<quint32>(i % 28);
        p.weekday = p.day == 0 ? 1 + static_cast<quint32>(i % 7) : 0;
        p.hour = 1 + static_cast<quint32>(i % 24);
        p.halfHour = static_cast<quint32>(i % 3);
        p.setConfiguration("ACQ_TIME_" + std::to_string(i));
        p.duration = static_cast<quint32>(i * 7);
        tt.push_back(p);
    }
    return tt;
}

void BM_WriteHardwareFile(benchmark::State& state) {
    ParamTable t;
    build_hw_params(t);
    const QString path = bench_file("hw.txt");
    for (auto _ : state) {
        benchmark::DoNotOptimize(write_params_to_file(path, t));
    }
}
BENCHMARK(BM_WriteHardwareFile)->Unit(benchmark::kMicrosecond);

void BM_ReadHardwareFile(benchmark::State& state) {
    ParamTable t;
    build_hw_params(t);
    const QString path = bench_file("hw-read.txt");
    write_params_to_file(path, t);
    for (auto _ : state) {
        benchmark::DoNotOptimize(get_params_from_file(path, t));
    }
}
BENCHMARK(BM_ReadHardwareFile)->Unit(benchmark::kMicrosecond);

void BM_HardwareWireRoundTrip(benchmark::State& state) {
    ParamTable t;
    build_hw_params(t);
    const std::string answer =
        "$HWCONFread:SN042,2,ACQ_A,5,LU7,1,100,200,,12.5,30000,1000,2,192.168.0.50,10,500,6,4,"
        "1234.5,1.0,80,0.5,20240101,202401021230,ops@example.org;\n";
    for (auto _ : state) {
        benchmark::DoNotOptimize(get_params_from_string(answer, "$HWCONFread:", t));
        benchmark::DoNotOptimize(write_params_to_string("$HWCONFset:", t));
    }
}
BENCHMARK(BM_HardwareWireRoundTrip)->Unit(benchmark::kMicrosecond);

void BM_WriteTimetable128(benchmark::State& state) {
    const Timetable tt = full_timetable();
    const QString path = bench_file("tt.txt");
    for (auto _ : state) {
        benchmark::DoNotOptimize(write_timetable_to_file(path, tt, "Timetable loaded from VORTAN"));
    }
}
BENCHMARK(BM_WriteTimetable128)->Unit(benchmark::kMicrosecond);

void BM_ReadTimetable128(benchmark::State& state) {
    const QString path = bench_file("tt-read.txt");
    write_timetable_to_file(path, full_timetable(), "bench");
    Timetable tt;
    for (auto _ : state) {
        benchmark::DoNotOptimize(get_timetable_from_file(path, tt));
    }
    if (tt.size() != static_cast<std::size_t>(kTimetableMaxPrograms)) {
        state.SkipWithError("timetable did not read back whole");
    }
}
BENCHMARK(BM_ReadTimetable128)->Unit(benchmark::kMicrosecond);

} // namespace
