// The kelvo6-sim program's UDP options: card, packet size, pacing off, a fault, and its log on
// standard error.
#include "UdpSession.h"

TEST(SimExecutableUdp, ServesTheCardWithTheOptionsGiven) {
    const QByteArray file = pattern(2500);
    const QString card = cardWith({QStringLiteral("a/b/c/x.vig")}, file);
    SimProgram p({"--card", card, "--packet-size", "1000", "--link-rate", "0", "--lose-datagram", "1"});
    UdpReceiver rx;
    ASSERT_TRUE(rx.bind("127.0.0.2"));
    const QByteArray port = QByteArray::number(rx.port());
    EXPECT_EQ(p.client.exchange("$SU;"), QByteArray("== Kelvo6-LP == Entering Supervisor Mode ==\n"));
    EXPECT_EQ(p.client.exchange("$POWERPUset:1;"), QByteArray("$ok;\n"));
    EXPECT_EQ(p.client.exchange("$PU:ethlink,2,127.0.0.2," + port + ";"), QByteArray("[PU]:$ethlink:OK;\n"));

    ASSERT_TRUE(p.client.send("$PU:filedump,a/b/c/x.vig;\n"));
    EXPECT_EQ(sizes(rx.receiveAll()), (std::vector<int>{16, 1000, 500}));
    ASSERT_TRUE(p.client.send("$PU:filedump,a/b/c/x.vig;\n"));
    const auto clean = rx.receiveAll();
    EXPECT_EQ(sizes(clean), (std::vector<int>{16, 1000, 1000, 500}));
    EXPECT_EQ(joined(clean, 1), file);

    EXPECT_EQ(p.stop(), 0);
    const QString log = QString::fromLocal8Bit(p.process.readAllStandardError());
    EXPECT_EQ(log,
              QStringLiteral("kelvo6-sim: filedump a/b/c/x.vig: 2500 bytes announced, 1500 data bytes in "
                             "3 datagrams of at most 1000 to 127.0.0.2:%1 (fault: lost datagram)\n"
                             "kelvo6-sim: filedump a/b/c/x.vig: 2500 bytes announced, 2500 data bytes in "
                             "4 datagrams of at most 1000 to 127.0.0.2:%1\n")
                  .arg(rx.port()));
}
