// File dumps from the simulator's card over loopback UDP, received with a plain socket: the
// header bytes, the datagram sizes of both request forms, the faults and the refusals.
#include "UdpSession.h"
#include "sim/SimUdpLink.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

namespace {

QByteArray pattern(int size) {
    QByteArray b(size, '\0');
    for (int i = 0; i < size; ++i) {
        b[i] = char((i * 7 + i / 251) & 0xff);
    }
    return b;
}

QString cardWith(const QString& path, const QByteArray& bytes) {
    const QString card = kelvotest::make_temp_dir(QStringLiteral("card"));
    EXPECT_TRUE(kelvotest::write_file(card + QLatin1Char('/') + path, bytes));
    return card;
}

bool logHas(const Kelvo6Simulator& sim, const QString& text) {
    for (const QString& l : sim.logLines()) {
        if (l.contains(text)) {
            return true;
        }
    }
    return false;
}

struct DumpCase {
    const char* name;
    int fileSize;
    int packetSize;
    const char* header;
    std::vector<int> dataSizes;
};
// Test names carry the case name only (a byte dump of the case would hold addresses).
void PrintTo(const DumpCase& c, std::ostream* os) { *os << c.name; }

class DeviceFormDump : public ::testing::TestWithParam<DumpCase> {};

TEST_P(DeviceFormDump, HeaderThenDatagramsOfTheAnnouncedSize) {
    const DumpCase& c = GetParam();
    const QByteArray file = pattern(c.fileSize);
    SimOptions o = cardOptions(cardWith(QStringLiteral("acq/202401/20240101-000000/f.bin"), file));
    o.packetSize = c.packetSize;
    UdpSession u(o);
    ASSERT_TRUE(u.ethlink());
    u.send("$PU:filedump,acq/202401/20240101-000000/f.bin;");
    const auto got = u.rx.receiveAll();
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(got[0].bytes.toHex(' '), hexBytes(c.header).toHex(' '));
    std::vector<int> expected{16};
    expected.insert(expected.end(), c.dataSizes.begin(), c.dataSizes.end());
    EXPECT_EQ(sizes(got), expected);
    EXPECT_EQ(joined(got, 1), file);
    EXPECT_EQ(u.s.sim->udpDumpCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, DeviceFormDump,
    ::testing::Values(
        DumpCase{"Empty", 0, 8192, "00 00 00 00 00 00 00 00 00 20 00 00 00 00 00 00", {}},
        DumpCase{"OneByte", 1, 8192, "01 00 00 00 01 00 00 00 00 20 00 00 00 00 00 00", {1}},
        DumpCase{"ExactlyOnePacket", 8192, 8192, "01 00 00 00 00 20 00 00 00 20 00 00 00 00 00 00", {8192}},
        DumpCase{"ThreePackets",
                 20000,
                 8192,
                 "03 00 00 00 20 4e 00 00 00 20 00 00 00 00 00 00",
                 {8192, 8192, 3616}},
        DumpCase{"ConfiguredPacketSize",
                 2500,
                 1024,
                 "03 00 00 00 c4 09 00 00 00 04 00 00 00 00 00 00",
                 {1024, 1024, 452}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(TerminalFormDump, GoesToTheNamedHostIn1024ByteDatagramsWhateverThePacketSize) {
    const QByteArray file = pattern(2500);
    SimOptions o = cardOptions(cardWith(QStringLiteral("a/b/c/x_data.txt"), file));
    o.packetSize = 8192; // device form only
    UdpSession u(o);
    // No ethlink: the terminal form carries its own destination.
    u.send(u.terminalDump("a/b/c/x_data.txt"));
    const auto got = u.rx.receiveAll();
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(got[0].bytes.toHex(' '), QByteArray("03 00 00 00 c4 09 00 00 00 04 00 00 00 00 00 00"));
    EXPECT_EQ(sizes(got), (std::vector<int>{16, 1024, 1024, 452}));
    EXPECT_EQ(joined(got, 1), file);
    EXPECT_EQ(u.s.sim->ethlinkDestination().mode, -1);
}

struct RefusedPath {
    const char* path;
    const char* log;
};

class NothingToSend : public ::testing::TestWithParam<RefusedPath> {};

// A path that is missing or tries to leave the card is announced as "nothing to send" (size -1,
// no data), and the card's neighbours are never read.
TEST_P(NothingToSend, AnnouncesSizeMinusOne) {
    const QString card = cardWith(QStringLiteral("a/b/c/x.txt"), "card file");
    ASSERT_TRUE(kelvotest::write_file(card + QStringLiteral("/../secret.txt"), "outside the card"));
    UdpSession u(cardOptions(card));
    ASSERT_TRUE(u.ethlink());
    u.send(QByteArray("$PU:filedump,") + GetParam().path + ";");
    const auto got = u.rx.receiveAll();
    ASSERT_EQ(sizes(got), std::vector<int>{16});
    EXPECT_EQ(got[0].bytes.toHex(' '), QByteArray("00 00 00 00 ff ff ff ff 00 20 00 00 00 00 00 00"));
    EXPECT_TRUE(logHas(*u.s.sim, QLatin1String(GetParam().log)))
        << u.s.sim->logLines().join('\n').toStdString();
}

INSTANTIATE_TEST_SUITE_P(Paths, NothingToSend,
                         ::testing::Values(RefusedPath{"a/b/c/missing.txt", "no such file on the card"},
                                           RefusedPath{"../secret.txt",
                                                       "has an empty, \".\" or \"..\" component"},
                                           RefusedPath{"a/../../secret.txt", "component"},
                                           RefusedPath{"/etc/hostname", "is not relative to the card"},
                                           RefusedPath{"a//b/c/x.txt", "component"}));

TEST(DeviceFormDump, WithoutADestinationNothingIsSent) {
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.txt"), "abc")));
    EXPECT_EQ(u.s("$PU:ethlink,1;"), QByteArray("[PU]:$ethlink:OK;\n"));
    u.send("$PU:filedump,a/b/c/x.txt;");
    EXPECT_FALSE(u.rx.receive(500).has_value());
    EXPECT_TRUE(logHas(*u.s.sim, QStringLiteral("filedump a/b/c/x.txt: no Ethernet destination named")));
    EXPECT_EQ(u.s.sim->udpDumpCount(), 0);
}

TEST(DeviceFormDump, BadArgumentCountsAreAnsweredOnTheSerialLine) {
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.txt"), "abc")));
    EXPECT_EQ(u.s("$PU:filedump,a,b;"), QByteArray("[PU]:$filedump:ERROR;\n"));
    EXPECT_EQ(u.s("$PU:filedump,a/b/c/x.txt,127.0.0.2,port,MAC;"), QByteArray("[PU]:$filedump:ERROR;\n"));
    EXPECT_FALSE(u.rx.receive(200).has_value());
}

// Faults, each on a 3-datagram terminal-form dump; a fault asked for once spoils one dump only.
struct FaultCase {
    const char* name;
    SimUdpFault fault;
    std::vector<int> sizes;
};
void PrintTo(const FaultCase& c, std::ostream* os) { *os << c.name; }

class DumpFault : public ::testing::TestWithParam<FaultCase> {};

TEST_P(DumpFault, SpoilsTheNextDumpOnly) {
    const FaultCase& c = GetParam();
    const QByteArray file = pattern(2500);
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.vig"), file)));
    u.s.sim->setUdpFault(c.fault, 1);
    u.send(u.terminalDump("a/b/c/x.vig"));
    const auto spoiled = u.rx.receiveAll();
    EXPECT_EQ(sizes(spoiled), c.sizes);
    u.send(u.terminalDump("a/b/c/x.vig"));
    const auto clean = u.rx.receiveAll();
    EXPECT_EQ(sizes(clean), (std::vector<int>{16, 1024, 1024, 452}));
    EXPECT_EQ(joined(clean, 1), file);
    EXPECT_EQ(clean[0].fromPort, clean[1].fromPort);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, DumpFault,
    ::testing::Values(FaultCase{"Lost", SimUdpFault::LoseDatagram, {16, 1024, 452}},
                      FaultCase{"Duplicated", SimUdpFault::DuplicateDatagram, {16, 1024, 1024, 1024, 452}},
                      FaultCase{"Stray", SimUdpFault::StrayDatagram, {20, 16, 1024, 1024, 452}},
                      FaultCase{"NoHeader", SimUdpFault::NoHeader, {1024, 1024, 452}},
                      FaultCase{"Truncated", SimUdpFault::TruncatedFile, {16, 1024, 1024, 226}},
                      FaultCase{"Disconnect", SimUdpFault::Disconnect, {16, 1024}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DumpFault, ContentOfTheSpoiledDatagrams) {
    const QByteArray file = pattern(2500);
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.vig"), file)));

    // The lost one is the second data datagram; the duplicated one is also the second.
    u.s.sim->setUdpFault(SimUdpFault::LoseDatagram, 1);
    u.send(u.terminalDump("a/b/c/x.vig"));
    EXPECT_EQ(joined(u.rx.receiveAll(), 1), file.left(1024) + file.mid(2048));
    u.s.sim->setUdpFault(SimUdpFault::DuplicateDatagram, 1);
    u.send(u.terminalDump("a/b/c/x.vig"));
    EXPECT_EQ(joined(u.rx.receiveAll(), 1), file.left(2048) + file.mid(1024));

    // The truncated dump still announces the whole file.
    u.s.sim->setUdpFault(SimUdpFault::TruncatedFile, 1);
    u.send(u.terminalDump("a/b/c/x.vig"));
    const auto t = u.rx.receiveAll();
    ASSERT_FALSE(t.empty());
    EXPECT_EQ(t[0].bytes.toHex(' '), QByteArray("03 00 00 00 c4 09 00 00 00 04 00 00 00 00 00 00"));
    EXPECT_EQ(joined(t, 1), file.left(2048 + 226));

    // The stray datagram comes from another port than the dump.
    u.s.sim->setUdpFault(SimUdpFault::StrayDatagram, 1);
    u.send(u.terminalDump("a/b/c/x.vig"));
    const auto s = u.rx.receiveAll();
    ASSERT_EQ(s.size(), 5u);
    EXPECT_NE(s[0].fromPort, s[1].fromPort);
    EXPECT_EQ(s[1].fromPort, s[2].fromPort);
}

TEST(DumpFault, ACountSpoilsThatManyDumps) {
    const QByteArray file = pattern(2500);
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.vig"), file)));
    ASSERT_TRUE(u.ethlink());
    u.s.sim->setUdpFault(SimUdpFault::NoHeader, 3);
    for (int attempt = 0; attempt < 3; ++attempt) {
        u.send("$PU:filedump,a/b/c/x.vig;");
        EXPECT_EQ(sizes(u.rx.receiveAll()), std::vector<int>{2500}) << attempt;
    }
    u.send("$PU:filedump,a/b/c/x.vig;");
    EXPECT_EQ(sizes(u.rx.receiveAll()), (std::vector<int>{16, 2500}));
}

TEST(Destination, OnlyLoopbackWithoutAllowNetwork) {
    const struct {
        const char* host;
        int port;
        bool allowNetwork;
        bool accepted;
    } table[] = {
        {"127.0.0.2", 49152, false, true},  {"127.255.255.254", 1, false, true},
        {"127.0.0.1", 65535, false, true},  {"192.168.0.10", 49152, false, false},
        {"10.1.2.3", 49152, false, false},  {"8.8.8.8", 49152, false, false},
        {"0.0.0.0", 49152, false, false},   {"126.255.255.255", 49152, false, false},
        {"128.0.0.1", 49152, false, false}, {"192.168.0.10", 49152, true, true},
        {"127.0.0.2", 0, false, false},     {"127.0.0.2", 65536, false, false},
        {"127.0.0", 49152, true, false},    {"localhost", 49152, true, false},
        {"", 49152, true, false},
    };
    for (const auto& row : table) {
        SimUdpLink link(row.allowNetwork, 0);
        QString why;
        EXPECT_EQ(link.checkDestination(QLatin1String(row.host), row.port, &why), row.accepted)
            << row.host << ":" << row.port;
        EXPECT_EQ(why.isEmpty(), row.accepted) << row.host;
    }
    SimUdpLink link(false, 0);
    QString why;
    ASSERT_FALSE(link.checkDestination(QStringLiteral("192.168.0.10"), 49152, &why));
    EXPECT_EQ(why,
              QStringLiteral("destination 192.168.0.10:49152 refused: UDP goes only to loopback addresses "
                             "(127.0.0.0/8) unless --allow-network is given"));
}

TEST(Destination, ANonLoopbackDumpIsRefusedWithALogLine) {
    // 0.0.0.0 would mean this very host: harmless even if the refusal failed.
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.txt"), "abc")));
    u.send("$PU:filedump,a/b/c/x.txt,0.0.0.0," + u.port() + ",FF.FF.FF.FF.FF.FF;");
    EXPECT_FALSE(u.rx.receive(500).has_value());
    EXPECT_TRUE(logHas(*u.s.sim, QStringLiteral("filedump a/b/c/x.txt: destination 0.0.0.0:") +
                                     QString(u.port()) +
                                     QStringLiteral(" refused: UDP goes only to loopback addresses")))
        << u.s.sim->logLines().join('\n').toStdString();
    EXPECT_EQ(u.s.sim->udpDumpCount(), 0);
    // A frame asked for with that destination gets an error answer.
    EXPECT_EQ(u.s("$PU:ethlink,2,0.0.0.0," + u.port() + ";"), QByteArray("[PU]:$ethlink:OK;\n"));
    EXPECT_EQ(u.s("$PU:framedump,1,0;"), QByteArray("[PU]:$framedump:ERROR;\n"));
    EXPECT_FALSE(u.rx.receive(200).has_value());
}

} // namespace
