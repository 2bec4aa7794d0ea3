// The serial link over a real pseudo-terminal pair, and its counting rules over a scripted port.
#include "PtyPair.h"
#include "ScriptedSerialPort.h"

#include "link/PosixSerialPort.h"
#include "link/SerialLink.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

using namespace std::chrono_literals;

namespace {

class SerialLinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        set_serial_port_factory({});
        set_comm_error_hook([this](const std::string& t) { errors.push_back(t); });
        set_comm_send_hook([this](const std::string& t) { sent.push_back(t); });
        set_comm_receive_hook([this](const std::string& t) { received.push_back(t); });
    }
    void TearDown() override {
        close_comm();
        set_comm_error_hook({});
        set_comm_send_hook({});
        set_comm_receive_hook({});
        set_serial_port_factory({});
    }
    void openPty() {
        ASSERT_TRUE(pty.valid());
        ASSERT_TRUE(init_comm(QString::fromStdString(pty.devicePath()), 38400))
            << ::testing::PrintToString(errors);
    }
    std::shared_ptr<PortScript> useScript() {
        auto script = std::make_shared<PortScript>();
        set_serial_port_factory([script] { return std::make_unique<ScriptedSerialPort>(script); });
        EXPECT_TRUE(init_comm(QStringLiteral("/dev/scripted"), 38400));
        return script;
    }

    PtyPair pty;
    std::vector<std::string> errors, sent, received;
};

TEST_F(SerialLinkTest, MessagesGoOutWithOneLineFeedAndAtMost1023Characters) {
    openPty();
    const std::string longest(1023, 'A');
    EXPECT_TRUE(send_message("$RTCset:%04d%02d%02d,%02d%02d%02d;", 2024, 3, 7, 9, 5, 0));
    EXPECT_TRUE(send_message("%s", longest.c_str()));
    // One character more is shown to the send hook (cut) but never sent.
    EXPECT_FALSE(send_message("%s", std::string(1024, 'B').c_str()));
    EXPECT_EQ(pty.receive(), "$RTCset:20240307,090500;\n" + longest + "\n");
    EXPECT_EQ(sent, (std::vector<std::string>{"$RTCset:20240307,090500;", longest, std::string(1023, 'B')}));
    EXPECT_TRUE(errors.empty()) << ::testing::PrintToString(errors);
}

TEST_F(SerialLinkTest, PortIsSetToRaw8N1WithoutParityCheck) {
    openPty();
    const int fd = ::open(pty.devicePath().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    termios tio{};
    ASSERT_EQ(::tcgetattr(fd, &tio), 0);
    ::close(fd);
    EXPECT_EQ(tio.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(tio.c_cflag & (PARENB | CSTOPB), 0u);
    EXPECT_EQ(tio.c_iflag & (INPCK | ISTRIP | IXON | ICRNL), 0u);
    EXPECT_EQ(tio.c_lflag & (ICANON | ECHO), 0u);
    EXPECT_EQ(tio.c_oflag & OPOST, 0u);
    EXPECT_EQ(::cfgetospeed(&tio), static_cast<speed_t>(B38400));
}

TEST_F(SerialLinkTest, BurstsCloserThan100msJoinAndASilenceEndsTheAnswer) {
    openPty();
    std::thread peer([this] {
        for (int i = 0; i < 5; ++i) {
            pty.send("ab");
            std::this_thread::sleep_for(20ms);
        }
        std::this_thread::sleep_for(400ms);
        pty.send("[PU]:$aliveack;\n");
    });
    std::string first, second;
    bool got1 = false, got2 = false;
    get_message(first, got1, 10);
    get_message(second, got2, 20);
    peer.join();
    EXPECT_EQ(first, "ababababab");
    EXPECT_EQ(second, "[PU]:$aliveack;\n");
    EXPECT_TRUE(got1);
    EXPECT_TRUE(got2);
}

TEST_F(SerialLinkTest, GarbageAndOverLongLinesArriveWholeWithoutOverflow) {
    openPty();
    std::string garbage;
    for (int i = 0; i < 6000; ++i) {
        garbage.push_back(static_cast<char>(1 + (i * 37) % 255)); // every byte value but NUL
    }
    pty.send(garbage);
    std::string answer;
    bool got = false;
    get_message(answer, got, 5);
    EXPECT_TRUE(got);
    EXPECT_EQ(answer, garbage);
}

TEST_F(SerialLinkTest, BufferedBytesAreReadAtOnceInImmediateModeOrPurged) {
    openPty();
    std::string answer;
    bool got = false;
    pty.send("$ok;\n");
    std::this_thread::sleep_for(50ms);
    ASSERT_TRUE(set_comm_timeouts(1));
    EXPECT_TRUE(get_message(answer, got, 1));
    EXPECT_EQ(answer, "$ok;\n");
    EXPECT_FALSE(set_comm_timeouts(2));
    EXPECT_TRUE(set_comm_timeouts(0));

    pty.send("$stop:ACK;\n");
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(purge_comm(false));
    get_message(answer, got, 1);
    EXPECT_FALSE(got);
    EXPECT_EQ(answer, "");
}

TEST_F(SerialLinkTest, ClosedDescriptorIsNeverUsedAgainAndTheDeviceReopens) {
    openPty();
    EXPECT_TRUE(close_comm());
    EXPECT_TRUE(is_comm_open());
    // The freed descriptor number goes to the next file opened; it must receive nothing.
    int pipeFds[2];
    ASSERT_EQ(::pipe2(pipeFds, O_NONBLOCK), 0);
    EXPECT_FALSE(send_message("$SU;"));
    std::string answer;
    bool got = true;
    EXPECT_FALSE(get_message(answer, got, 3));
    EXPECT_FALSE(got);
    char buf[16];
    EXPECT_EQ(::read(pipeFds[0], buf, sizeof buf), -1);
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors[0], "send_message: WriteFile Error : Bad file descriptor");
    EXPECT_FALSE(close_comm());

    openPty();
    EXPECT_TRUE(send_message("$VERSION;"));
    EXPECT_EQ(pty.receive(), "$VERSION;\n"); // and nothing of the refused "$SU;"
}

TEST_F(SerialLinkTest, OpenFailuresSayWhatWentWrong) {
    struct Case {
        std::string port;
        quint32 baud;
        std::string expected;
        bool openAfter;
    };
    const Case cases[] = {
        {"/dev/kelvo-no-such-port", 38400,
         "init_comm:Error while opening /dev/kelvo-no-such-port : No such file or directory", false},
        {"/dev/null", 38400, "init_comm:Error while SetCommState /dev/null : Inappropriate ioctl for device",
         true},
        {pty.devicePath(), 12345,
         "init_comm:Error while SetCommState " + pty.devicePath() + " : Invalid argument", true},
    };
    for (const auto& c : cases) {
        errors.clear();
        EXPECT_FALSE(init_comm(QString::fromStdString(c.port), c.baud)) << c.port;
        EXPECT_EQ(errors, std::vector<std::string>{c.expected});
        EXPECT_EQ(is_comm_open(), c.openAfter) << c.port;
    }
    // A port that refuses its read timing is closed but, like the others, still reads as open.
    auto script = std::make_shared<PortScript>();
    script->timeoutsOk = false;
    set_serial_port_factory([script] { return std::make_unique<ScriptedSerialPort>(script); });
    errors.clear();
    EXPECT_FALSE(init_comm(QStringLiteral("/dev/scripted"), 38400));
    EXPECT_EQ(errors, std::vector<std::string>{
                          "init_comm:Error while set_comm_timeouts /dev/scripted : Scripted failure"});
    EXPECT_TRUE(is_comm_open());
}

TEST_F(SerialLinkTest, SecondOpenerOfTheSamePortIsRefused) {
    openPty();
    PosixSerialPort other;
    EXPECT_FALSE(other.open(pty.devicePath()));
    EXPECT_EQ(other.errorText(), "Device or resource busy");
}

// Opens `path` as the unprivileged user "nobody" in a child process and returns the port's error
// text (the caller runs as root).
std::string open_error_as_unprivileged(const std::string& path) {
    int fds[2];
    if (::pipe(fds) != 0) {
        return "pipe failed";
    }
    if (::fork() == 0) {
        std::string text = "could not drop privileges";
        PosixSerialPort port;
        if (::setgid(65534) == 0 && ::setuid(65534) == 0) {
            text = port.open(path) ? "opened" : port.errorText();
        }
        ::_exit(::write(fds[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
    ::close(fds[1]);
    std::string text;
    char buf[512];
    for (ssize_t n; (n = ::read(fds[0], buf, sizeof buf)) > 0;) {
        text.append(buf, static_cast<std::size_t>(n));
    }
    ::close(fds[0]);
    ::wait(nullptr);
    return text;
}

TEST_F(SerialLinkTest, PermissionFailureNamesTheGroupToJoin) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to give the device to another group";
    }
    for (const char* group : {"dialout", "uucp"}) {
        const struct group* g = ::getgrnam(group);
        ASSERT_NE(g, nullptr) << group;
        const std::string path = "/tmp/kelvo-link-tty-" + std::string(group) + std::to_string(::getpid());
        const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY, 0660);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::fchown(fd, 0, g->gr_gid), 0);
        ASSERT_EQ(::fchmod(fd, 0660), 0);
        ::close(fd);
        EXPECT_EQ(open_error_as_unprivileged(path), "Permission denied (add your user to the group \"" +
                                                        std::string(group) + "\" that owns " + path +
                                                        ", for example with \"sudo usermod -aG " + group +
                                                        " $USER\", then log in again)");
        ::unlink(path.c_str());
    }
}

TEST_F(SerialLinkTest, ClosedLinkRefusesEveryExchange) {
    EXPECT_FALSE(init_comm(QStringLiteral("/dev/kelvo-no-such-port"), 38400));
    errors.clear();
    EXPECT_FALSE(send_message("$SU;"));
    std::string answer = "x";
    bool got = false;
    EXPECT_FALSE(get_message(answer, got, 20000)); // returns at once
    EXPECT_TRUE(got);
    EXPECT_EQ(answer, "");
    EXPECT_FALSE(purge_comm(false));
    EXPECT_EQ(errors, (std::vector<std::string>{"send_message : Initialisation not OK",
                                                "get_message : Initialisation not OK"}));
    EXPECT_TRUE(sent.empty());
}

TEST(SerialDevicePath, NumbersNameUsbPortsAndPathsStay) {
    const std::pair<const char*, const char*> cases[] = {
        {"3", "/dev/ttyUSB3"},           {"-1", "/dev/ttyUSB-1"},
        {" 0 ", "/dev/ttyUSB0"},         {"/dev/pts/7", "/dev/pts/7"},
        {" /dev/ttyS0\n", "/dev/ttyS0"}, {"/dev/serial/by-id/usb-x", "/dev/serial/by-id/usb-x"},
    };
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(serial_device_path(QString::fromUtf8(in)), QString::fromUtf8(out)) << in;
    }
}

// Counting rules over a scripted port: tries count only silent (or failed) reads.
struct TriesCase {
    const char* name;
    std::vector<PortScript::Read> reads;
    int tries;
    int expectedReads;
    bool expectedReceived;
    std::string expectedAnswer;
    bool expectedResult;
};

TEST_F(SerialLinkTest, TriesCountOnlyEmptyReads) {
    const std::string nulChunk("\0\0x", 3);
    const TriesCase cases[] = {
        {"silent", {}, 3, 3, false, "", true},
        {"zero tries still reads once", {}, 0, 1, false, "", true},
        {"answer ends at first silence", {{true, "a"}, {true, "b"}}, 1, 3, true, "ab", true},
        {"late answer", {{true, ""}, {true, ""}, {true, "$ok;\n"}}, 3, 4, true, "$ok;\n", true},
        {"too late", {{true, ""}, {true, ""}, {true, "$ok;\n"}}, 2, 2, false, "", true},
        {"nul chunk counts no try", {{true, nulChunk}, {true, nulChunk}}, 2, 4, false, "", true},
        {"nul chunk then data", {{true, nulChunk}, {true, "$ok;\n"}}, 1, 3, true, "$ok;\n", true},
        {"chunk kept up to its first nul",
         {{true, std::string("$ok\0;junk\n", 10)}},
         1,
         2,
         true,
         "$ok",
         true},
        {"failed reads count", {{false, ""}, {false, ""}}, 2, 2, false, "", false},
        {"failure after data ends it", {{true, "part"}, {false, ""}}, 5, 2, true, "part", false},
    };
    for (const auto& c : cases) {
        auto script = useScript();
        script->reads.assign(c.reads.begin(), c.reads.end());
        received.clear();
        std::string answer = "stale";
        bool got = !c.expectedReceived;
        EXPECT_EQ(get_message(answer, got, c.tries), c.expectedResult) << c.name;
        EXPECT_EQ(script->readCount, c.expectedReads) << c.name;
        EXPECT_EQ(got, c.expectedReceived) << c.name;
        EXPECT_EQ(answer, c.expectedAnswer) << c.name;
        EXPECT_EQ(received, std::vector<std::string>{c.expectedAnswer}) << c.name;
    }
}

TEST_F(SerialLinkTest, ExpectAnswerThrowsWithTheExpectedText) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"$ok;\n", "$ok", ""},
        {"$error;\n", "$ok", "Invalid answer : $ok not found"},
        {"", "ok", "Invalid answer : ok not found"}, // silent line
    };
    for (const auto& [answer, expected, thrown] : cases) {
        useScript()->answer(answer);
        std::string what;
        try {
            expect_answer(expected, 1);
        } catch (const std::runtime_error& e) {
            what = e.what();
        }
        EXPECT_EQ(what, thrown) << answer;
    }
}

TEST_F(SerialLinkTest, PurgeWithDrainReadsOnceAndDropsIt) {
    auto script = useScript();
    script->reads = {{true, "late line\n"}, {true, ""}, {true, "next\n"}};
    EXPECT_TRUE(purge_comm(true));
    EXPECT_EQ(script->purgeCount, 1);
    EXPECT_EQ(script->readCount, 2);
    std::string answer;
    bool got = false;
    get_message(answer, got, 1);
    EXPECT_EQ(answer, "next\n");
}

} // namespace
