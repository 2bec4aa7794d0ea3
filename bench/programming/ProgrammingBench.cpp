// Programming a full working set (the hardware set and ten slots, the ALS preset) into the
// simulator in its realistic timing, without and with the read-back, against the floor of its
// exchanges: each answer costs the instrument's handling time and then ~100 ms of silence before
// the link calls it complete. Prints the ratio to the floor.
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "programming/ParamMgt.h"
#include "programming/PresetProgram.h"
#include "sim/Kelvo6Simulator.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <memory>

#ifndef KELVO_SOURCE_DIR
#define KELVO_SOURCE_DIR "."
#endif

namespace {

constexpr double kSilenceMs = 100.0;   // one empty read ends an answer
constexpr double kHandlingMs = 30.0;   // the simulator's realistic command handling
constexpr int kProgramExchanges = 22;  // "$SU;", "$HWCONFset", 10 erases, 10 sets
constexpr int kReadBackExchanges = 11; // "$HWCONFread;" and ten "$ACQCONFread"

void program(benchmark::State& state, bool readBack) {
    SimOptions options;
    options.realistic = true;
    Kelvo6Simulator sim(options);
    QTemporaryDir dir;
    const QString project = dir.path() + "/kelvo6_snk6lp-0001_2024_bench";
    if (!sim.start() || !init_comm(sim.devicePath(), 38400) || !QDir().mkpath(project + "/config")) {
        state.SkipWithError("simulator or link did not start");
        return;
    }
    InterfaceCamera camera;
    if (!camera.connectAndIdentify()) {
        state.SkipWithError("no instrument");
        close_comm();
        return;
    }
    ParamMgt mgt;
    mgt.takeFromCamera(camera);
    mgt.setProjectPath(project);
    PresetProgram preset(*preset_mode("als"), QStringLiteral(KELVO_SOURCE_DIR "/templates"), project);
    if (!preset.load() ||
        (preset.fillValues(nullptr), !preset.build(mgt.working(), "bench@example.org").isEmpty())) {
        state.SkipWithError("templates did not load");
        close_comm();
        return;
    }
    double totalMs = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const ProgramResult r = mgt.programSensor(readBack ? &camera : nullptr);
        const double ms =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        if (!r.ok) {
            state.SkipWithError(r.error.toStdString().c_str());
            break;
        }
        totalMs += ms;
        state.SetIterationTime(ms / 1000.0);
    }
    close_comm();
    const int exchanges = kProgramExchanges + (readBack ? kReadBackExchanges : 0);
    const double floorMs = exchanges * (kSilenceMs + kHandlingMs);
    const double meanMs =
        totalMs / static_cast<double>(std::max<benchmark::IterationCount>(1, state.iterations()));
    state.counters["exchanges"] = exchanges;
    state.counters["floor_ms"] = floorMs;
    state.counters["mean_ms"] = meanMs;
    state.counters["ratio_to_floor"] = meanMs / floorMs;
    std::printf("%s: %.0f ms for %d exchanges, floor %.0f ms, ratio %.3f\n",
                readBack ? "program + read-back" : "program", meanMs, exchanges, floorMs, meanMs / floorMs);
}

void BM_ProgramFullSet(benchmark::State& state) {
    program(state, false);
}
void BM_ProgramFullSetWithReadBack(benchmark::State& state) {
    program(state, true);
}

} // namespace

BENCHMARK(BM_ProgramFullSet)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ProgramFullSetWithReadBack)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
