// Live frames over UDP: the header, the 2056 x 2464 frame in packet-size datagrams, the serial
// answer after the frame, frames that change. (A frame asked for
// without a destination: the serial command table; a fault spoiling a frame: the device
// interface's live image test.)
#include "UdpSession.h"

namespace {

TEST(FrameDump, HeaderFrameThenOneSerialAnswerAndTheNextFrameDiffers) {
    SimOptions o;
    o.linkRateMbps = 200;
    UdpSession u(o);
    ASSERT_TRUE(u.ethlink());
    std::vector<int> expected(1 + 619, 8192);
    expected.front() = 16;
    expected.back() = 3328; // 5,065,984 - 618 x 8192
    QByteArray previous;
    for (int frame = 0; frame < 2; ++frame) {
        u.send("$PU:framedump,1,0;");
        const auto got = u.rx.receiveAll(3000, 500);
        ASSERT_EQ(sizes(got), expected);
        EXPECT_EQ(got[0].bytes.toHex(' '), QByteArray("6b 02 00 00 00 4d 4d 00 00 20 00 00 00 00 00 00"));
        EXPECT_EQ(u.s.client.readBurst(3000), QByteArray("[PU]:$framedump:OK;\n"));
        // Particles drift between frames.
        EXPECT_NE(joined(got, 1), previous);
        previous = joined(got, 1);
    }
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
