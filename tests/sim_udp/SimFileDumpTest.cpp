// File dumps from the simulator's card over loopback UDP, received with a plain socket: the
// header bytes, the datagram sizes of both request forms, the faults and the refusals.
#include "UdpSession.h"
#include "sim/SimUdpLink.h"

namespace {

// The header of a 2500-byte file in 1024-byte datagrams.
const QByteArray kHeader2500 = "03 00 00 00 c4 09 00 00 00 04 00 00 00 00 00 00";

TEST(DeviceFormDump, HeaderThenDatagramsOfTheAnnouncedSize) {
    const struct {
        int fileSize;
        int packetSize;
        QByteArray header;
        std::vector<int> sizes;
    } cases[] = {
        {0, 8192, "00 00 00 00 00 00 00 00 00 20 00 00 00 00 00 00", {16}},
        {1, 8192, "01 00 00 00 01 00 00 00 00 20 00 00 00 00 00 00", {16, 1}},
        {8192, 8192, "01 00 00 00 00 20 00 00 00 20 00 00 00 00 00 00", {16, 8192}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fileSize);
        const QByteArray file = pattern(c.fileSize);
        SimOptions o = cardOptions(cardWith({QStringLiteral("acq/202401/20240101-000000/f.bin")}, file));
        o.packetSize = c.packetSize;
        UdpSession u(o);
        ASSERT_TRUE(u.ethlink());
        u.send("$PU:filedump,acq/202401/20240101-000000/f.bin;");
        const auto got = u.rx.receiveAll();
        ASSERT_FALSE(got.empty());
        EXPECT_EQ(got[0].bytes.toHex(' '), c.header);
        EXPECT_EQ(sizes(got), c.sizes);
        EXPECT_EQ(joined(got, 1), file);
        EXPECT_EQ(u.s.sim->udpDumpCount(), 1);
    }
}

// A path that is missing or tries to leave the card is announced as "nothing to send" (size -1,
// no data), and the card's neighbours are never read.
TEST(DeviceFormDump, NothingToSendIsAnnouncedAsSizeMinusOneAndRefusedRequestsSendNothing) {
    const QString card = cardWith({QStringLiteral("a/b/c/x.txt")}, QByteArray("card file"));
    ASSERT_TRUE(kelvotest::write_file(card + QStringLiteral("/../secret.txt"), "outside the card"));
    UdpSession u(cardOptions(card));
    ASSERT_TRUE(u.ethlink());
    const std::pair<const char*, const char*> cases[] = {
        {"a/b/c/missing.txt", "no such file on the card, announced as nothing to send"},
        {"../secret.txt",
         "card path \"../secret.txt\" has an empty, \".\" or \"..\" component; announced as nothing to send"},
        {"/etc/hostname",
         "card path \"/etc/hostname\" is not relative to the card; announced as nothing to send"},
        {"a//b/c/x.txt",
         "card path \"a//b/c/x.txt\" has an empty, \".\" or \"..\" component; announced as nothing to send"},
    };
    for (const auto& [path, log] : cases) {
        u.send(QByteArray("$PU:filedump,") + path + ";");
        const auto got = u.rx.receiveAll();
        ASSERT_EQ(sizes(got), std::vector<int>{16}) << path;
        EXPECT_EQ(got[0].bytes.toHex(' '), QByteArray("00 00 00 00 ff ff ff ff 00 20 00 00 00 00 00 00"));
        EXPECT_TRUE(u.logged(QStringLiteral("filedump %1: %2").arg(path, log)))
            << u.s.sim->logLines().join('\n').toStdString();
    }
    // Refused requests send nothing; the device form needs the destination of "$PU:ethlink,2,...".
    const int dumps = u.s.sim->udpDumpCount();
    EXPECT_EQ(u.s("$PU:filedump,a,b;"), QByteArray("[PU]:$filedump:ERROR;\n"));
    EXPECT_EQ(u.s("$PU:filedump,a/b/c/x.txt,127.0.0.2,port,MAC;"), QByteArray("[PU]:$filedump:ERROR;\n"));
    EXPECT_EQ(u.s("$PU:ethlink,1;"), QByteArray("[PU]:$ethlink:OK;\n"));
    u.send("$PU:filedump,a/b/c/x.txt;");
    EXPECT_FALSE(u.rx.receive(500).has_value());
    EXPECT_TRUE(
        u.logged("filedump a/b/c/x.txt: no Ethernet destination named ($PU:ethlink,2,...); nothing sent"));
    // Only to loopback (0.0.0.0 would mean this very host: harmless even if the refusal failed).
    u.send(u.terminalDump("a/b/c/x.txt").replace("127.0.0.2", "0.0.0.0"));
    EXPECT_FALSE(u.rx.receive(500).has_value());
    EXPECT_TRUE(u.logged(QStringLiteral("filedump a/b/c/x.txt: destination 0.0.0.0:%1 refused: UDP goes only "
                                        "to loopback addresses (127.0.0.0/8) unless --allow-network is given")
                             .arg(u.rx.port())))
        << u.s.sim->logLines().join('\n').toStdString();
    EXPECT_EQ(u.s.sim->udpDumpCount(), dumps);
    // A frame asked for with that destination gets an error answer.
    EXPECT_EQ(u.s("$PU:ethlink,2,0.0.0.0," + u.port() + ";"), QByteArray("[PU]:$ethlink:OK;\n"));
    EXPECT_EQ(u.s("$PU:framedump,1,0;"), QByteArray("[PU]:$framedump:ERROR;\n"));
    EXPECT_FALSE(u.rx.receive(200).has_value());
}

// Faults, each on a terminal-form dump of a 2500-byte file (three 1024-byte datagrams at most);
// a fault asked for once spoils one dump only. `chunks` are the data datagrams as (offset, size)
// in the file.
TEST(DumpFault, EachSpoilsTheNextDumpOnly) {
    const struct {
        const char* name;
        SimUdpFault fault;
        bool stray;
        bool header;
        std::vector<std::pair<int, int>> chunks;
    } cases[] = {
        {"lost", SimUdpFault::LoseDatagram, false, true, {{0, 1024}, {2048, 452}}},
        {"doubled",
         SimUdpFault::DuplicateDatagram,
         false,
         true,
         {{0, 1024}, {1024, 1024}, {1024, 1024}, {2048, 452}}},
        {"stray", SimUdpFault::StrayDatagram, true, true, {{0, 1024}, {1024, 1024}, {2048, 452}}},
        {"no header", SimUdpFault::NoHeader, false, false, {{0, 1024}, {1024, 1024}, {2048, 452}}},
        {"truncated", SimUdpFault::TruncatedFile, false, true, {{0, 1024}, {1024, 1024}, {2048, 226}}},
        {"disconnect", SimUdpFault::Disconnect, false, true, {{0, 1024}}},
    };
    const QByteArray file = pattern(2500);
    UdpSession u(cardOptions(cardWith({QStringLiteral("a/b/c/x.vig")}, file)));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
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
    }
    // The terminal form carries its own destination.
    EXPECT_EQ(u.s.sim->ethlinkDestination().mode, -1);
}

TEST(Destination, OnlyLoopbackWithoutAllowNetwork) {
    const struct {
        const char* host;
        int port;
        bool allowNetwork;
        bool accepted;
    } table[] = {
        {"127.0.0.2", 65535, false, true},        {"127.255.255.254", 1, false, true},
        {"126.255.255.255", 49152, false, false}, {"128.0.0.1", 49152, false, false},
        {"192.168.0.10", 49152, false, false},    {"192.168.0.10", 49152, true, true},
        {"127.0.0.2", 0, false, false},           {"127.0.0.2", 65536, false, false},
        {"127.0.0", 49152, true, false},          {"", 49152, true, false},
    };
    for (const auto& row : table) {
        SimUdpLink link(row.allowNetwork, 0);
        QString why;
        EXPECT_EQ(link.checkDestination(QLatin1String(row.host), row.port, &why), row.accepted)
            << row.host << ":" << row.port;
        EXPECT_EQ(why.isEmpty(), row.accepted) << row.host;
    }
}

} // namespace
