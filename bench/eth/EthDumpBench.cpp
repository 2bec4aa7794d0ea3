// File dumps through the device interface from the simulated instrument over loopback. The files
// lie on the simulator's SD-card folder: one 5,126,160-byte raw frame, and a sequence's worth of
// vignettes (2,000 files of 1-60 KB). The simulator's UDP side sends them paced like the
// instrument's link (100 Mbit/s, 1 Gbit/s) or unpaced. Reported: retries and failures, the
// transfer time against the wire time (data bytes / link rate), the fixed cost per file beyond
// the wire time, MB/s, and the receive buffer the kernel granted.
//
// Run as root the 8 MiB request is granted whatever the system ceiling; run as an unprivileged
// user (runuser -u nobody) the ceiling net.core.rmem_max applies. BM_RawFrameStockBuffer asks
// for what a stock kernel grants (about 416 KiB) to see whether the receive loop keeps up. Its
// unpaced case is a sender faster than any link: it overflows such a buffer and its failures
// and retries are expected; it shows why the buffer is asked for large.
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <span>
#include <vector>

namespace {

constexpr int kRawFrameBytes = 5126160;
constexpr int kVignettes = 2000;
constexpr int kPacketSize = 8192;
constexpr int kStockReceiveBuffer = 425984; // net.core.rmem_max 212992, doubled by the kernel
const char* const kHost = "127.0.0.2";

struct CardFile {
    QString path; // on the card
    QByteArray bytes;
};

QByteArray random_bytes(int size, unsigned seed) {
    QByteArray b(size, '\0');
    std::mt19937 rng(seed);
    for (char& c : b) {
        c = static_cast<char>(rng());
    }
    return b;
}

// The card the simulator serves, written once per run of the program.
struct Card {
    QTemporaryDir dir{QDir::tempPath() + QStringLiteral("/kelvo-bench-card-XXXXXX")};
    std::vector<CardFile> raw;
    std::vector<CardFile> vignettes;
    bool ok = true;

    Card() {
        const QString seq = QStringLiteral("2024/05/20240512-083000");
        add(raw, seq + QStringLiteral("/raw/20240512-083000_000001.raw"), random_bytes(kRawFrameBytes, 1));
        std::mt19937 rng(42);
        std::uniform_int_distribution<int> size(1000, 60000);
        for (int i = 0; i < kVignettes; ++i) {
            add(vignettes, seq + QStringLiteral("/vignettes/v%1.vig").arg(i, 5, 10, QLatin1Char('0')),
                random_bytes(size(rng), static_cast<unsigned>(i + 2)));
        }
    }

    void add(std::vector<CardFile>& list, const QString& path, QByteArray bytes) {
        const QString local = dir.path() + QLatin1Char('/') + path;
        QDir().mkpath(QFileInfo(local).path());
        QFile f(local);
        ok = ok && f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
        list.push_back({path, std::move(bytes)});
    }
};

const Card& card() {
    static const Card c;
    return c;
}

// A UDP port on the host address that nothing holds at the moment.
int free_port() {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    ::inet_pton(AF_INET, kHost, &a.sin_addr);
    socklen_t len = sizeof a;
    int port = 0;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) == 0) {
        port = ntohs(a.sin_port);
    }
    if (fd >= 0) {
        ::close(fd);
    }
    return port;
}

// The simulator on its pseudo-terminal, the device interface connected to it, the Ethernet link
// prepared and the destination named, as before any download.
struct Session {
    std::unique_ptr<Kelvo6Simulator> sim;
    std::unique_ptr<InterfaceCamera> cam;
    QString error;

    Session(double mbps, int receiveBuffer) {
        if (!card().ok) {
            error = QStringLiteral("cannot write the card");
            return;
        }
        SimOptions options;
        options.cardDir = card().dir.path();
        options.linkRateMbps = mbps;
        options.packetSize = kPacketSize;
        sim = std::make_unique<Kelvo6Simulator>(options);
        if (!sim->start(&error) || !init_comm(sim->devicePath(), 38400)) {
            error = QStringLiteral("simulator or serial link: ") + error;
            return;
        }
        const int port = free_port();
        cam = std::make_unique<InterfaceCamera>();
        cam->setEthernetOverride(QString::fromLatin1(kHost), port);
        if (cam->prepareEthernet() != 0) {
            error = QStringLiteral("Ethernet preparation failed");
            return;
        }
        if (receiveBuffer > 0) {
            std::string ip = kHost;
            std::string mac = "FF.FF.FF.FF.FF.FF";
            if (cam->ethLink().init_eth_socket(ip, port, mac, receiveBuffer, EthLink::kDefaultTimeoutMs) !=
                0) {
                error = QStringLiteral("socket with the smaller buffer");
                return;
            }
        }
        if (!cam->puSetup() || !cam->setEthernetDestination()) {
            error = QStringLiteral("PU setup or Ethernet destination failed");
        }
    }
    ~Session() {
        cam.reset();
        close_comm();
        if (sim) {
            sim->stop();
        }
    }
};

// Downloads `files` once per iteration; the transfer time of the whole list is compared with
// data bytes / rate. The clock runs during the dumps only: each file's bytes are checked in
// place, in the receive buffer, between two dumps.
void run_dumps(benchmark::State& state, const std::vector<CardFile>& files, int receiveBuffer = 0) {
    const double mbps = static_cast<double>(state.range(0));
    Session s(mbps, receiveBuffer);
    if (!s.error.isEmpty()) {
        state.SkipWithError(s.error.toStdString().c_str());
        return;
    }
    double totalBytes = 0;
    for (const CardFile& f : files) {
        totalBytes += static_cast<double>(f.bytes.size());
    }
    int retries = 0;
    int firstRunRetries = 0; // the file buffer grows during the first run
    int run = 0;
    int failed = 0;
    int wrong = 0;
    double seconds = 0;
    using Clock = std::chrono::steady_clock;
    for (auto _ : state) {
        Clock::duration inDumps{};
        for (const CardFile& f : files) {
            const auto start = Clock::now();
            const std::span<const char> got = s.cam->dumpFile(f.path);
            inDumps += Clock::now() - start;
            retries += s.cam->lastDumpReport().attempts - 1;
            failed += s.cam->lastTransferSucceeded() ? 0 : 1;
            const bool same = got.size() == static_cast<std::size_t>(f.bytes.size()) &&
                              std::memcmp(got.data(), f.bytes.constData(), got.size()) == 0;
            wrong += same ? 0 : 1;
        }
        const double t = std::chrono::duration<double>(inDumps).count();
        seconds += t;
        state.SetIterationTime(t);
        if (run++ == 0) {
            firstRunRetries = retries;
        }
    }
    const double runs = static_cast<double>(state.iterations());
    const double perRun = seconds / runs;
    state.counters["files"] = static_cast<double>(files.size());
    state.counters["bytes"] = totalBytes;
    state.counters["retries"] = retries;
    state.counters["retries_run1"] = firstRunRetries;
    state.counters["failed"] = failed;
    state.counters["wrong_bytes"] = wrong;
    state.counters["rcvbuf_granted"] = s.cam->ethLink().grantedReceiveBuffer();
    state.counters["MB_per_s"] = totalBytes / perRun / 1e6;
    state.counters["transfer_ms"] = 1000.0 * perRun;
    if (mbps > 0) {
        const double wire = totalBytes * 8.0 / (mbps * 1e6);
        state.counters["wire_ms"] = 1000.0 * wire;
        state.counters["over_wire_pct"] = 100.0 * (perRun - wire) / wire;
        state.counters["over_wire_us_per_file"] = 1e6 * (perRun - wire) / static_cast<double>(files.size());
    }
}

void BM_RawFrame(benchmark::State& state) {
    run_dumps(state, card().raw);
}

void BM_Vignettes(benchmark::State& state) {
    run_dumps(state, card().vignettes);
}

void BM_RawFrameStockBuffer(benchmark::State& state) {
    run_dumps(state, card().raw, kStockReceiveBuffer);
}

} // namespace

// Argument: the simulator's link rate in Mbit/s (0: unpaced).
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
