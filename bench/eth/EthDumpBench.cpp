// File dumps through the device interface over loopback, from a sender paced like the
// instrument's link (100 Mbit/s, 1 Gbit/s) or unpaced: one 5,126,160-byte raw frame, and a
// sequence's worth of vignettes (2,000 files of 1-60 KB). Reports retries, the transfer time
// against the wire time (bytes / link rate), MB/s and the receive buffer the kernel granted.
//
// The serial side of each request goes to the simulator; the UDP answer comes from PacedSender.
#include "PacedSender.h"

#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int kRawFrameBytes = 5126160;
constexpr int kVignettes = 2000;
constexpr int kPacketSize = 8192;
constexpr int kPort = 49190;

QByteArray make_file(int size, unsigned seed) {
    QByteArray b(size, '\0');
    std::mt19937 rng(seed);
    for (char& c : b) {
        c = static_cast<char>(rng());
    }
    return b;
}

const QByteArray& raw_frame() {
    static const QByteArray f = make_file(kRawFrameBytes, 1);
    return f;
}

const std::vector<QByteArray>& vignettes() {
    static const std::vector<QByteArray> v = [] {
        std::vector<QByteArray> files;
        std::mt19937 rng(42);
        std::uniform_int_distribution<int> size(1000, 60000);
        for (int i = 0; i < kVignettes; ++i) {
            files.push_back(make_file(size(rng), static_cast<unsigned>(i)));
        }
        return files;
    }();
    return v;
}

struct Bench {
    std::unique_ptr<Kelvo6Simulator> sim;
    std::unique_ptr<InterfaceCamera> cam;
    std::unique_ptr<PacedSender> sender;
    bool ok = false;

    // `receiveBuffer` > 0 replaces the 8 MiB request, to see how a stock kernel's ceiling behaves.
    explicit Bench(double bps, int receiveBuffer = 0) {
        sim = std::make_unique<Kelvo6Simulator>();
        if (!sim->start() || !init_comm(sim->devicePath(), 38400)) {
            return;
        }
        cam = std::make_unique<InterfaceCamera>();
        cam->setEthernetOverride(QStringLiteral("127.0.0.2"), kPort);
        if (cam->prepareEthernet() != 0) {
            return;
        }
        if (receiveBuffer > 0) {
            std::string ip = "127.0.0.2";
            std::string mac = "FF.FF.FF.FF.FF.FF";
            if (cam->ethLink().init_eth_socket(ip, kPort, mac, receiveBuffer, 2000) != 0) {
                return;
            }
        }
        sender = std::make_unique<PacedSender>("127.0.0.3", "127.0.0.2", kPort, bps, kPacketSize);
        set_comm_send_hook([this](const std::string& line) {
            if (line.starts_with("$PU:filedump,")) {
                sender->request();
            }
        });
        ok = true;
    }
    ~Bench() {
        set_comm_send_hook({});
        sender.reset();
        cam.reset();
        close_comm();
        sim->stop();
    }
};

// Downloads `files` once per iteration; the transfer time is compared with bytes / rate.
void run_dumps(benchmark::State& state, double bps, const std::vector<const QByteArray*>& files,
               int receiveBuffer = 0) {
    Bench b(bps, receiveBuffer);
    if (!b.ok) {
        state.SkipWithError("simulator, link or socket did not start");
        return;
    }
    double totalBytes = 0;
    for (const QByteArray* f : files) {
        totalBytes += static_cast<double>(f->size());
    }
    int retries = 0;
    int failures = 0;
    double seconds = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        for (const QByteArray* f : files) {
            b.sender->setFile(f);
            const QByteArray got = b.cam->downloadFile(QStringLiteral("seq/file.bin"));
            retries += b.cam->lastDumpReport().attempts - 1;
            if (!b.cam->lastTransferSucceeded() || got.size() != f->size()) {
                ++failures;
            }
        }
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        seconds += s;
        state.SetIterationTime(s);
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["files"] = static_cast<double>(files.size());
    state.counters["bytes"] = totalBytes;
    state.counters["retries"] = retries;
    state.counters["failed"] = failures;
    state.counters["send_errors"] = b.sender->sendFailures();
    state.counters["rcvbuf_granted"] = b.cam->ethLink().grantedReceiveBuffer();
    state.counters["MB_per_s"] = totalBytes * runs / seconds / 1e6;
    state.counters["transfer_ms"] = 1000.0 * seconds / runs;
    if (bps > 0) {
        const double wire = totalBytes * 8.0 / bps;
        state.counters["wire_ms"] = 1000.0 * wire;
        state.counters["over_wire_pct"] = 100.0 * (seconds / runs - wire) / wire;
    }
}

std::vector<const QByteArray*> one_raw_frame() {
    return {&raw_frame()};
}

std::vector<const QByteArray*> all_vignettes() {
    std::vector<const QByteArray*> v;
    for (const QByteArray& f : vignettes()) {
        v.push_back(&f);
    }
    return v;
}

void BM_RawFrame(benchmark::State& state) {
    run_dumps(state, static_cast<double>(state.range(0)) * 1e6, one_raw_frame());
}

void BM_Vignettes(benchmark::State& state) {
    run_dumps(state, static_cast<double>(state.range(0)) * 1e6, all_vignettes());
}

// The buffer a stock Debian kernel grants to an 8 MiB request (net.core.rmem_max 212992, doubled).
void BM_RawFrameStockBuffer(benchmark::State& state) {
    run_dumps(state, static_cast<double>(state.range(0)) * 1e6, one_raw_frame(), 425984);
}

} // namespace

// Argument: link rate in Mbit/s (0: unpaced).
BENCHMARK(BM_RawFrame)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(0)
    ->Iterations(10)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Vignettes)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(0)
    ->Iterations(10)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawFrameStockBuffer)
    ->Arg(1000)
    ->Arg(0)
    ->Iterations(10)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
