// Wall time of instrument exchanges against the fast simulator, compared with the protocol's
// own floor: an answer ends only after ~100 ms of silence, so N exchanges cost at least
// N x 100 ms, plus the protocol's fixed pauses.
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>

namespace {

constexpr double kSilenceMs = 100.0; // one empty read ends an answer

struct Session {
    std::unique_ptr<Kelvo6Simulator> sim;
    bool ok = false;

    explicit Session(const char* variant) {
        SimOptions options;
        options.variant = QString::fromLatin1(variant);
        sim = std::make_unique<Kelvo6Simulator>(options);
        ok = sim->start() && init_comm(sim->devicePath(), 38400);
    }
    ~Session() {
        close_comm();
        sim->stop();
    }
};

// Runs `body` (which performs `exchanges` answered exchanges and `pausesMs` of fixed pauses)
// and reports the wall time against the floor.
void run_against_floor(benchmark::State& state, const char* variant, int exchanges, double pausesMs,
                       const std::function<bool(InstrumentProtocol&)>& body) {
    Session session(variant);
    if (!session.ok) {
        state.SkipWithError("simulator or link did not start");
        return;
    }
    InstrumentProtocol protocol;
    double totalMs = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const bool ok = body(protocol);
        const auto end = std::chrono::steady_clock::now();
        if (!ok) {
            state.SkipWithError("exchange failed");
            return;
        }
        const double ms = std::chrono::duration<double, std::milli>(end - start).count();
        totalMs += ms;
        state.SetIterationTime(ms / 1000.0);
    }
    const double floorMs = exchanges * kSilenceMs + pausesMs;
    const double meanMs = totalMs / static_cast<double>(state.iterations());
    state.counters["exchanges"] = exchanges;
    state.counters["floor_ms"] = floorMs;
    state.counters["mean_ms"] = meanMs;
    state.counters["over_floor_pct"] = 100.0 * (meanMs - floorMs) / floorMs;
}

// The connection's opening: stop sequence (two answered "$stop;" plus a 50 ms pause),
// supervisor mode, version, then PU power on (supervisor mode, power, ready, alive): eight
// answered exchanges.
bool connect_like(InstrumentProtocol& p) {
    if (!p.stopSequence()) {
        return false;
    }
    if (p.supervisorMode(true) == SupervisorFailed) {
        return false;
    }
    if (!p.exchange(InstrumentCommand::Version).ok) {
        return false;
    }
    return p.puPower(true) != SupervisorFailed;
}

void BM_ConnectLikeLP(benchmark::State& state) {
    run_against_floor(state, "LP", 8, 50, connect_like);
}
void BM_ConnectLikeHF(benchmark::State& state) {
    run_against_floor(state, "HF", 8, 50, connect_like);
}

void BM_SingleVersionExchange(benchmark::State& state) {
    run_against_floor(state, "LP", 1, 0,
                      [](InstrumentProtocol& p) { return p.exchange(InstrumentCommand::Version).ok; });
}

} // namespace

BENCHMARK(BM_ConnectLikeLP)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_ConnectLikeHF)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_SingleVersionExchange)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(30);
