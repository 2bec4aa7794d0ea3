// File dumps over loopback: the test plays the processing unit, answering each request with the
// datagrams the case needs.
#include "link/FileDump.h"
#include "eth/UdpTestSender.h"
#include "link/NetInterfaces.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"
#include "terminal/TermPrint.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <functional>

using kelvotest::LogCapture;
using kelvotest::pattern_file;
using kelvotest::UdpTestSender;

namespace {

// Short time-out: every failed attempt costs two of them (header or packet wait, then drain).
constexpr int kTimeoutMs = 300;

class FileDumpTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string ip = "127.0.0.2";
        std::string mac = kUnknownMacText;
        port = kelvotest::free_udp_port();
        ASSERT_EQ(link.init_eth_socket(ip, port, mac, EthLink::kDefaultReceiveBuffer, kTimeoutMs), 0);
        pu.target("127.0.0.2", port);
    }

    // The request handler: answers the n-th request (from 0) with plan(n).
    DumpRequest answering(std::function<void(int)> plan) {
        return [this, plan](const std::string& line) {
            requests.push_back(line);
            plan(static_cast<int>(requests.size()) - 1);
            return true;
        };
    }

    std::string received(std::span<const char> s) const { return std::string(s.data(), s.size()); }

    EthLink link;
    UdpTestSender pu;
    int port = 0;
    std::vector<std::string> requests;
};

} // namespace

// Each case starts with a stale header and datagram waiting, which the purge before the request
// must drop.
TEST_F(FileDumpTest, TransfersThatEndWhole) {
    const QByteArray file = pattern_file(2500);
    UdpTestSender stranger("127.0.0.4");
    stranger.target("127.0.0.2", port);
    struct Case {
        const char* what;
        std::function<void(int)> plan; // answers the n-th request
        QByteArray expected;
        int attempts;
        int strays;
    };
    const Case cases[] = {
        {"empty file", [&](int) { pu.send(pu.header(0, 0, 1024)); }, QByteArray(), 1, 0},
        {"lost packet, asked again", [&](int n) { pu.sendFile(file, 1000, n == 0 ? 1 : -1); }, file, 2, 0},
        {"stray datagrams before the header skipped",
         [&](int) {
             stranger.send(QByteArray(20, 'x')); // not a 16-byte header
             stranger.send(QByteArray(15, 'y'));
             pu.sendFile(file, 1400);
         },
         file, 1, 2},
        {"datagram longer than the packet size, asked again",
         [&](int n) {
             if (n == 0) {
                 pu.send(pu.header(2, 200, 100));
                 pu.send(file.left(150));
                 pu.send(file.mid(150, 50));
             } else {
                 pu.sendFile(file.left(200), 100);
             }
         },
         file.left(200), 2, 0},
    };
    for (const Case& c : cases) {
        pu.send(pu.header(1, 4, 4));
        pu.send("old!");
        requests.clear();
        DumpReport report;
        const auto data = dump_file(link, "seq/img.vig", &report, answering(c.plan));
        EXPECT_TRUE(report.ok) << c.what;
        EXPECT_EQ(received(data), c.expected.toStdString()) << c.what;
        EXPECT_EQ(report.attempts, c.attempts) << c.what;
        EXPECT_EQ(report.strayDatagrams, c.strays) << c.what;
        EXPECT_EQ(requests, std::vector<std::string>(c.attempts, "$PU:filedump,seq/img.vig;")) << c.what;
    }
}

TEST_F(FileDumpTest, BadTransfersFailAfterThreeAttempts) {
    struct Case {
        const char* what;
        std::function<void(UdpTestSender&)> send;
    } cases[] = {
        {"no header", [](UdpTestSender&) {}},
        {"negative size", [](UdpTestSender& p) { p.send(p.header(0, -1, 1024)); }},
        {"more announced than sent",
         [](UdpTestSender& p) {
             p.send(p.header(5, 5000, 1000));
             for (int i = 0; i < 3; ++i) {
                 p.send(QByteArray(1000, 'z'));
             }
         }},
        {"bytes but no packets", [](UdpTestSender& p) { p.send(p.header(0, 10, 100)); }},
    };
    for (const Case& c : cases) {
        requests.clear();
        LogCapture log;
        DumpReport report;
        const auto data = dump_file(link, "bad.bin", &report, answering([&](int) { c.send(pu); }));
        EXPECT_FALSE(report.ok) << c.what;
        EXPECT_EQ(data.size(), 0u) << c.what;
        EXPECT_EQ(report.attempts, 3) << c.what;
        EXPECT_EQ(requests.size(), 3u) << c.what;
        EXPECT_TRUE(log.saw("InterfaceCamera|0|bad.bin transfer failed")) << c.what;
        const std::string why = std::string(c.what) == "no header"
                                    ? "InterfaceCamera|0|: transmission header not received before timeout\n"
                                    : "InterfaceCamera|0| -> file transmission was incomplete\n";
        EXPECT_TRUE(log.saw(why, 3)) << c.what;
    }
}

TEST_F(FileDumpTest, AllocationFailureStopsAtOnce) {
    link.setMaxBufferBytes(1000);
    LogCapture log;
    DumpReport report;
    const auto data =
        dump_file(link, "huge.raw", &report, answering([&](int) { pu.sendFile(pattern_file(5000), 1000); }));
    EXPECT_FALSE(report.ok);
    EXPECT_EQ(data.size(), 0u);
    EXPECT_EQ(report.attempts, 1);
    EXPECT_TRUE(log.saw(
        "InterfaceCamera|0|Allocation of 5000 bytes buffer failed. Flushing UDP reception buffer..."));
    EXPECT_TRUE(log.saw("InterfaceCamera|0|huge.raw transfer failed"));
}

// --- Terminal form ----------------------------------------------------------------------------
// A whole transfer's progress and request line, and the refusal of a path leaving the folder, are
// compared byte for byte through `kelvo terminal` (cli_terminal, terminal_storage).

namespace {

class TerminalDumpTest : public FileDumpTest {
protected:
    void SetUp() override {
        FileDumpTest::SetUp();
        folder = kelvotest::make_temp_dir(QStringLiteral("filemanager"));
    }
    bool getfile(const std::string& path, std::function<void(int)> plan, DumpReport* report = nullptr) {
        ScopedTermPrintSink sink([this](const std::string& t) { out += t; });
        return dump_file_to_folder(link, path, "127.0.0.2", port, "FF.FF.FF.FF.FF.FF", folder, report,
                                   answering(std::move(plan)));
    }
    QString folder;
    std::string out;
};

} // namespace

TEST_F(TerminalDumpTest, LostPacketRetriesOnANewLine) {
    const QByteArray file = pattern_file(2500);
    DumpReport report;
    ASSERT_TRUE(getfile(
        "f", [&](int n) { pu.sendFile(file, 1000, n == 0 ? 2 : -1); }, &report));
    EXPECT_EQ(report.attempts, 2);
    EXPECT_EQ(out, "\x1b[?25l"
                   "\r\x1b[2K\tDownloading file f ( 2500 bytes ) :    \b\b\b33%\b\b\b66%"
                   "\r\x1b[2K\tDownloading file f ( 2500 bytes ) :    \b\b\b33%\b\b\b66%\b\b\b100%"
                   "\x1b[?25h");
}

TEST_F(TerminalDumpTest, FailureKeepsTheOldFile) {
    ASSERT_TRUE(kelvotest::write_file(folder + QStringLiteral("/keep.txt"), "old contents"));
    ASSERT_FALSE(getfile("keep.txt", [&](int) {
        pu.send(pu.header(3, 2500, 1000));
        pu.send(QByteArray(1000, 'n'));
    }));
    EXPECT_EQ(requests.size(), 3u);
    // term_print drops one trailing line feed of each text.
    EXPECT_TRUE(out.ends_with("\n[WARNING]: (getfile) keep.txt transfer failed !\x1b[?25h")) << out;
    EXPECT_EQ(kelvotest::read_file(folder + QStringLiteral("/keep.txt")), QByteArray("old contents"));
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("keep.txt")});
}

TEST_F(TerminalDumpTest, AllocationFailureWarnsAndStops) {
    link.setMaxBufferBytes(100);
    ASSERT_FALSE(getfile("x.raw", [&](int) { pu.sendFile(pattern_file(400), 200); }));
    EXPECT_EQ(requests.size(), 1u);
    EXPECT_EQ(
        out,
        "\x1b[?25l\r\x1b[2K\tDownloading file x.raw ( 400 bytes ) :    "
        "\n[WARNING]: (getfile) \nAllocation of 400 bytes buffer failed. Flushing UDP reception buffer... !"
        "\n[WARNING]: (getfile) x.raw transfer failed !"
        "\x1b[?25h");
}

// Not one header in three attempts: the instrument most likely sends elsewhere, so both forms
// name the host address and port used and where the address is set.
TEST_F(TerminalDumpTest, NoHeaderAtAllNamesTheHostAddressAndWhereToChangeIt) {
    const std::string where =
        "no transmission header reached host address 127.0.0.2 on UDP port " + std::to_string(port) +
        "; the host address is set in Application settings, Local IP (kelvo: --localip)";
    LogCapture log;
    EXPECT_EQ(dump_file(link, "gone.bin", nullptr, answering([](int) {})).size(), 0u);
    EXPECT_TRUE(log.saw("InterfaceCamera|1|" + where));
    ASSERT_FALSE(getfile("gone.bin", [](int) {}));
    EXPECT_TRUE(out.ends_with("\n[WARNING]: (getfile) " + where +
                              " !\n[WARNING]: (getfile) gone.bin transfer failed !"
                              "\x1b[?25h"))
        << out;
    EXPECT_TRUE(log.saw("Eth_interfaces|1|" + where));
}
