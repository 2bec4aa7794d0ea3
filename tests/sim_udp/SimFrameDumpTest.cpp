// Live frames over UDP: the header, the 2056 x 2464 frame in packet-size datagrams, the serial
// answer after the frame, frames that change. (A frame asked for
// without a destination: the serial command table; a fault spoiling a frame: the device
// interface's live image test.)
#include "UdpSession.h"

namespace {

struct Frame {
    std::vector<UdpReceiver::Datagram> datagrams;
    QByteArray serial;
};

Frame askFrame(UdpSession& u, const QByteArray& flags) {
    Frame f;
    u.send("$PU:framedump," + flags + ";");
    f.datagrams = u.rx.receiveAll(3000, 500);
    f.serial = u.s.client.readBurst(3000);
    return f;
}

TEST(FrameDump, HeaderFrameThenOneSerialAnswerAndTheNextFrameDiffers) {
    SimOptions o;
    o.linkRateMbps = 200;
    UdpSession u(o);
    ASSERT_TRUE(u.ethlink());
    const Frame f = askFrame(u, "1,0");
    ASSERT_EQ(f.datagrams.size(), 1u + 619u);
    EXPECT_EQ(f.datagrams[0].bytes.toHex(' '), QByteArray("6b 02 00 00 00 4d 4d 00 00 20 00 00 00 00 00 00"));
    for (size_t i = 1; i < 619; ++i) {
        ASSERT_EQ(f.datagrams[i].bytes.size(), 8192) << i;
    }
    EXPECT_EQ(f.datagrams.back().bytes.size(), 3328); // 5,065,984 - 618 x 8192
    EXPECT_EQ(f.serial, QByteArray("[PU]:$framedump:OK;\n"));

    // Particles drift between frames.
    const QByteArray next = joined(askFrame(u, "1,0").datagrams, 1);
    ASSERT_EQ(next.size(), 5065984);
    EXPECT_NE(joined(f.datagrams, 1), next);
}

TEST(FrameDump, BadFlagsAreAnError) {
    UdpSession u;
    ASSERT_TRUE(u.ethlink());
    for (const char* bad :
         {"$PU:framedump;", "$PU:framedump,1;", "$PU:framedump,x,0;", "$PU:framedump,1,0,2;"}) {
        EXPECT_EQ(u.s(bad), QByteArray("[PU]:$framedump:ERROR;\n")) << bad;
    }
    EXPECT_FALSE(u.rx.receive(200).has_value());
}

} // namespace
