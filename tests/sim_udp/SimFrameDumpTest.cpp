// Live frames over UDP: the header, the 2056 x 2464 frame in packet-size datagrams, the serial
// answer after the frame, and frames that change and show particles. (A fault spoiling a frame:
// the device interface's live image test.)
#include "UdpSession.h"

#include <algorithm>

namespace {

double mean(const QByteArray& frame) {
    qint64 sum = 0;
    for (const char c : frame) {
        sum += static_cast<unsigned char>(c);
    }
    return frame.isEmpty() ? 0 : double(sum) / frame.size();
}

int brightPixels(const QByteArray& frame, int threshold) {
    return int(std::count_if(frame.begin(), frame.end(),
                             [&](char c) { return static_cast<unsigned char>(c) >= threshold; }));
}

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

TEST(FrameDump, HeaderFrameThenOneSerialAnswerAndTheLightShowsParticles) {
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

    const QByteArray lit1 = joined(f.datagrams, 1);
    const QByteArray lit2 = joined(askFrame(u, "1,0").datagrams, 1);
    const QByteArray dark = joined(askFrame(u, "0,0").datagrams, 1);
    const QByteArray corrected = joined(askFrame(u, "1,1").datagrams, 1);
    for (const QByteArray* frame : {&lit1, &lit2, &dark, &corrected}) {
        ASSERT_EQ(frame->size(), 5065984);
    }
    EXPECT_NE(lit1, lit2);
    // The flash lights the water: a brighter background and many bright particles.
    EXPECT_GT(mean(lit1), 40.0);
    EXPECT_LT(mean(dark), 15.0);
    EXPECT_GT(brightPixels(lit1, 150), 500);
    EXPECT_EQ(brightPixels(dark, 100), 0);
    EXPECT_GT(brightPixels(dark, 25), 20); // a few faint particles in the dark
    EXPECT_NE(corrected, lit1);
}

// (Without a destination: the serial command table.)
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
