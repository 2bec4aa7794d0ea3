// File dumps from the simulator's card over loopback UDP, received with a plain socket: the
// header bytes, the datagram sizes of both request forms, the faults and the refusals.
#include "UdpSession.h"
#include "sim/SimUdpLink.h"

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

// The header of a 2500-byte file in 1024-byte datagrams.
const QByteArray kHeader2500 = "03 00 00 00 c4 09 00 00 00 04 00 00 00 00 00 00";

struct DumpCase {
    const char* name;
    int fileSize;
    int packetSize;
    const char* header;
    std::vector<int> dataSizes;
};
// Test names carry the case name only (a byte dump of the case would hold addresses).
void PrintTo(const DumpCase& c, std::ostream* os) {
    *os << c.name;
}

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
    EXPECT_EQ(got[0].bytes.toHex(' '), QByteArray(c.header));
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
        DumpCase{"ConfiguredPacketSize", 2500, 1024, kHeader2500, {1024, 1024, 452}}),
    [](const auto& info) { return std::string(info.param.name); });

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
    EXPECT_TRUE(u.logged(QStringLiteral("filedump %1: %2").arg(GetParam().path, GetParam().log)))
        << u.s.sim->logLines().join('\n').toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Paths, NothingToSend,
    ::testing::Values(
        RefusedPath{"a/b/c/missing.txt", "no such file on the card, announced as nothing to send"},
        RefusedPath{"../secret.txt", "card path \"../secret.txt\" has an empty, \".\" or \"..\" component; "
                                     "announced as nothing to send"},
        RefusedPath{"a/../../secret.txt", "card path \"a/../../secret.txt\" has an empty, \".\" or \"..\" "
                                          "component; announced as nothing to send"},
        RefusedPath{"/etc/hostname",
                    "card path \"/etc/hostname\" is not relative to the card; announced as nothing to send"},
        RefusedPath{"a//b/c/x.txt", "card path \"a//b/c/x.txt\" has an empty, \".\" or \"..\" component; "
                                    "announced as nothing to send"}));

TEST(DeviceFormDump, RefusedRequestsSendNothing) {
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.txt"), "abc")));
    EXPECT_EQ(u.s("$PU:filedump,a,b;"), QByteArray("[PU]:$filedump:ERROR;\n"));
    EXPECT_EQ(u.s("$PU:filedump,a/b/c/x.txt,127.0.0.2,port,MAC;"), QByteArray("[PU]:$filedump:ERROR;\n"));
    // The device form needs the destination of "$PU:ethlink,2,...".
    EXPECT_EQ(u.s("$PU:ethlink,1;"), QByteArray("[PU]:$ethlink:OK;\n"));
    u.send("$PU:filedump,a/b/c/x.txt;");
    EXPECT_FALSE(u.rx.receive(500).has_value());
    EXPECT_TRUE(
        u.logged("filedump a/b/c/x.txt: no Ethernet destination named ($PU:ethlink,2,...); nothing sent"));
    EXPECT_EQ(u.s.sim->udpDumpCount(), 0);
}

// Faults, each on a terminal-form dump of a 2500-byte file (three 1024-byte datagrams at most);
// a fault asked for once spoils one dump only. `chunks` are the data datagrams as (offset, size)
// in the file.
struct FaultCase {
    const char* name;
    SimUdpFault fault;
    bool stray;
    bool header;
    std::vector<std::pair<int, int>> chunks;
};
void PrintTo(const FaultCase& c, std::ostream* os) {
    *os << c.name;
}

class DumpFault : public ::testing::TestWithParam<FaultCase> {};

TEST_P(DumpFault, SpoilsTheNextDumpOnly) {
    const FaultCase& c = GetParam();
    const QByteArray file = pattern(2500);
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.vig"), file)));
    u.s.sim->setUdpFault(c.fault, 1);
    u.send(u.terminalDump("a/b/c/x.vig"));
    const auto spoiled = u.rx.receiveAll();
    ASSERT_EQ(spoiled.size(), size_t(c.stray) + size_t(c.header) + c.chunks.size());
    size_t i = 0;
    if (c.stray) {
        // From another port than the dump's.
        EXPECT_EQ(spoiled[0].bytes.size(), 20);
        EXPECT_NE(spoiled[0].fromPort, spoiled[1].fromPort);
        ++i;
    }
    if (c.header) {
        // Always the whole file, whatever goes wrong afterwards.
        EXPECT_EQ(spoiled[i++].bytes.toHex(' '), kHeader2500);
    }
    for (const auto& [offset, size] : c.chunks) {
        EXPECT_EQ(spoiled[i++].bytes, file.mid(offset, size)) << "datagram " << i;
    }

    u.send(u.terminalDump("a/b/c/x.vig"));
    const auto clean = u.rx.receiveAll();
    ASSERT_EQ(sizes(clean), (std::vector<int>{16, 1024, 1024, 452}));
    EXPECT_EQ(clean[0].bytes.toHex(' '), kHeader2500);
    EXPECT_EQ(joined(clean, 1), file);
    EXPECT_EQ(clean[0].fromPort, clean[1].fromPort);
    // The terminal form carries its own destination.
    EXPECT_EQ(u.s.sim->ethlinkDestination().mode, -1);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, DumpFault,
    ::testing::Values(
        FaultCase{"Lost", SimUdpFault::LoseDatagram, false, true, {{0, 1024}, {2048, 452}}},
        FaultCase{"Duplicated",
                  SimUdpFault::DuplicateDatagram,
                  false,
                  true,
                  {{0, 1024}, {1024, 1024}, {1024, 1024}, {2048, 452}}},
        FaultCase{"Stray", SimUdpFault::StrayDatagram, true, true, {{0, 1024}, {1024, 1024}, {2048, 452}}},
        FaultCase{"NoHeader", SimUdpFault::NoHeader, false, false, {{0, 1024}, {1024, 1024}, {2048, 452}}},
        FaultCase{
            "Truncated", SimUdpFault::TruncatedFile, false, true, {{0, 1024}, {1024, 1024}, {2048, 226}}},
        FaultCase{"Disconnect", SimUdpFault::Disconnect, false, true, {{0, 1024}}}),
    [](const auto& info) { return std::string(info.param.name); });

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
}

TEST(Destination, ANonLoopbackDumpIsRefusedWithALogLine) {
    // 0.0.0.0 would mean this very host: harmless even if the refusal failed.
    UdpSession u(cardOptions(cardWith(QStringLiteral("a/b/c/x.txt"), "abc")));
    u.send("$PU:filedump,a/b/c/x.txt,0.0.0.0," + u.port() + ",FF.FF.FF.FF.FF.FF;");
    EXPECT_FALSE(u.rx.receive(500).has_value());
    EXPECT_TRUE(u.logged(QStringLiteral("filedump a/b/c/x.txt: destination 0.0.0.0:%1 refused: UDP goes only "
                                        "to loopback addresses (127.0.0.0/8) unless --allow-network is given")
                             .arg(u.rx.port())))
        << u.s.sim->logLines().join('\n').toStdString();
    EXPECT_EQ(u.s.sim->udpDumpCount(), 0);
    // A frame asked for with that destination gets an error answer.
    EXPECT_EQ(u.s("$PU:ethlink,2,0.0.0.0," + u.port() + ";"), QByteArray("[PU]:$ethlink:OK;\n"));
    EXPECT_EQ(u.s("$PU:framedump,1,0;"), QByteArray("[PU]:$framedump:ERROR;\n"));
    EXPECT_FALSE(u.rx.receive(200).has_value());
}

} // namespace
