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
        ASSERT_TRUE(init_comm(QString::fromStdString(pty.devicePath()), 38400)) << joined();
    }
    std::shared_ptr<PortScript> useScript() {
        auto script = std::make_shared<PortScript>();
        set_serial_port_factory([script] { return std::make_unique<ScriptedSerialPort>(script); });
        EXPECT_TRUE(init_comm(QStringLiteral("/dev/scripted"), 38400));
        return script;
    }
    std::string joined() const {
        std::string all;
        for (const auto& e : errors) {
            all += e + "\n";
        }
        return all;
    }

    PtyPair pty;
    std::vector<std::string> errors, sent, received;
};

TEST_F(SerialLinkTest, MessageOf1023CharactersGoesOutAs1024Bytes) {
    openPty();
    const std::string text(1023, 'A');
    EXPECT_TRUE(send_message("%s", text.c_str()));
    const std::string wire = pty.receive();
    ASSERT_EQ(wire.size(), 1024u);
    EXPECT_EQ(wire, text + "\n");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0], text);
}

TEST_F(SerialLinkTest, MessageOf1024CharactersIsRefusedButShownToTheSendHook) {
    openPty();
    const std::string text(1024, 'B');
    EXPECT_FALSE(send_message("%s", text.c_str()));
    EXPECT_EQ(pty.receive(200ms), "");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0], std::string(1023, 'B'));
    EXPECT_TRUE(errors.empty()) << joined();
}

TEST_F(SerialLinkTest, CommandIsFormattedWithPrintfRulesAndEndsWithOneLineFeed) {
    openPty();
    EXPECT_TRUE(send_message("$POWERPUset:%d;", 1));
    EXPECT_TRUE(send_message("$RTCset:%04d%02d%02d,%02d%02d%02d;", 2024, 3, 7, 9, 5, 0));
    EXPECT_EQ(pty.receive(), "$POWERPUset:1;\n$RTCset:20240307,090500;\n");
    EXPECT_EQ(sent, (std::vector<std::string>{"$POWERPUset:1;", "$RTCset:20240307,090500;"}));
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
    EXPECT_EQ(comm_baud(), 38400u);
    EXPECT_EQ(comm_port_name(), QString::fromStdString(pty.devicePath()));
}

TEST_F(SerialLinkTest, AnswerKeepsItsLineFeedsAndReachesTheReceiveHook) {
    openPty();
    pty.send("== Kelvo6-LP == Entering Supervisor Mode ==\n$ok;\n");
    std::string answer;
    bool got = false;
    EXPECT_TRUE(get_message(answer, got, 5));
    EXPECT_TRUE(got);
    EXPECT_EQ(answer, "== Kelvo6-LP == Entering Supervisor Mode ==\n$ok;\n");
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0], answer);
}

TEST_F(SerialLinkTest, TwoBurstsMoreThan100msApartAreTwoAnswers) {
    openPty();
    std::thread peer([this] {
        pty.send("$PUready:OK;\n");
        std::this_thread::sleep_for(400ms);
        pty.send("[PU]:$aliveack;\n");
    });
    std::string first, second;
    bool got1 = false, got2 = false;
    get_message(first, got1, 5);
    get_message(second, got2, 20);
    peer.join();
    EXPECT_EQ(first, "$PUready:OK;\n");
    EXPECT_EQ(second, "[PU]:$aliveack;\n");
    EXPECT_TRUE(got1);
    EXPECT_TRUE(got2);
}

TEST_F(SerialLinkTest, BurstsCloserThan100msJoinIntoOneAnswer) {
    openPty();
    std::thread peer([this] {
        for (int i = 0; i < 5; ++i) {
            pty.send("ab");
            std::this_thread::sleep_for(20ms);
        }
    });
    std::string answer;
    bool got = false;
    get_message(answer, got, 10);
    peer.join();
    EXPECT_EQ(answer, "ababababab");
}

TEST_F(SerialLinkTest, SilentLineGivesAnEmptyAnswerNotReceived) {
    openPty();
    std::string answer = "stale";
    bool got = true;
    EXPECT_TRUE(get_message(answer, got, 1));
    EXPECT_FALSE(got);
    EXPECT_EQ(answer, "");
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0], "");
}

TEST_F(SerialLinkTest, ImmediateModeReturnsWhatIsBuffered) {
    openPty();
    pty.send("$ok;\n");
    std::this_thread::sleep_for(50ms);
    ASSERT_TRUE(set_comm_timeouts(1));
    std::string answer;
    bool got = false;
    EXPECT_TRUE(get_message(answer, got, 1));
    EXPECT_EQ(answer, "$ok;\n");
    EXPECT_FALSE(set_comm_timeouts(2));
    EXPECT_TRUE(set_comm_timeouts(0));
}

TEST_F(SerialLinkTest, ChunkThatBeginsWithNulIsIgnored) {
    openPty();
    std::thread peer([this] {
        pty.send(std::string("\0garbage", 8));
        std::this_thread::sleep_for(250ms);
        pty.send("$ok;\n");
    });
    std::string answer;
    bool got = false;
    get_message(answer, got, 10);
    peer.join();
    EXPECT_TRUE(got);
    EXPECT_EQ(answer, "$ok;\n");
}

TEST_F(SerialLinkTest, ChunkIsKeptUpToItsFirstNul) {
    openPty();
    pty.send(std::string("$ok\0;junk\n", 10));
    std::string answer;
    bool got = false;
    get_message(answer, got, 5);
    EXPECT_EQ(answer, "$ok");
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

TEST_F(SerialLinkTest, ExpectAnswerThrowsWithTheExpectedText) {
    openPty();
    pty.send("$ok;\n");
    EXPECT_NO_THROW(expect_answer("$ok", 5));
    pty.send("$error;\n");
    try {
        expect_answer("$ok", 5);
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Invalid answer : $ok not found");
    }
    try {
        expect_answer("ok", 1); // silent line
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Invalid answer : ok not found");
    }
}

TEST_F(SerialLinkTest, PurgeDiscardsWhatWasWaiting) {
    openPty();
    pty.send("$stop:ACK;\n");
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(purge_comm(false));
    std::string answer;
    bool got = false;
    get_message(answer, got, 1);
    EXPECT_FALSE(got);
    EXPECT_EQ(answer, "");
}

TEST_F(SerialLinkTest, CloseKeepsIsOpenButNeverUsesTheClosedDescriptor) {
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
    EXPECT_EQ(pty.receive(200ms), "");
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors[0], "send_message: WriteFile Error : Bad file descriptor");
    EXPECT_FALSE(close_comm());
}

TEST_F(SerialLinkTest, ReopenAfterCloseWorksOnTheSameDevice) {
    openPty();
    close_comm();
    openPty();
    EXPECT_TRUE(send_message("$VERSION;"));
    EXPECT_EQ(pty.receive(), "$VERSION;\n");
}

struct OpenFailure {
    const char* port;
    const char* expected;
    bool openAfter;
};

TEST_F(SerialLinkTest, OpenFailuresSayWhatWentWrong) {
    const OpenFailure cases[] = {
        {"/dev/kelvo-no-such-port",
         "init_comm:Error while opening /dev/kelvo-no-such-port : No such file or directory", false},
        {"-1", "init_comm:Error while opening /dev/ttyUSB-1 : No such file or directory", false},
        {"", "init_comm:Error while opening  : No such file or directory", false},
        {"/dev/null", "init_comm:Error while SetCommState /dev/null : Inappropriate ioctl for device", true},
    };
    for (const auto& c : cases) {
        errors.clear();
        EXPECT_FALSE(init_comm(QString::fromUtf8(c.port), 38400)) << c.port;
        ASSERT_EQ(errors.size(), 1u) << c.port;
        EXPECT_EQ(errors[0], c.expected);
        EXPECT_EQ(is_comm_open(), c.openAfter) << c.port;
    }
}

TEST_F(SerialLinkTest, UnsupportedBaudRateFailsConfiguration) {
    EXPECT_FALSE(init_comm(QString::fromStdString(pty.devicePath()), 12345));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], "init_comm:Error while SetCommState " + pty.devicePath() + " : Invalid argument");
}

TEST_F(SerialLinkTest, SecondOpenerOfTheSamePortIsRefused) {
    openPty();
    PosixSerialPort other;
    EXPECT_FALSE(other.open(pty.devicePath()));
    EXPECT_EQ(other.errorText(), "Device or resource busy");
}

// Opens `path` as an unprivileged user (in a child process when running as root) and returns
// the port's error text.
std::string open_error_as_unprivileged(const std::string& path) {
    int fds[2];
    if (::pipe(fds) != 0) {
        return "pipe failed";
    }
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
            ::_exit(2);
        }
        PosixSerialPort port;
        const std::string text = port.open(path) ? "opened" : port.errorText();
        const ssize_t n = ::write(fds[1], text.data(), text.size());
        ::_exit(n == static_cast<ssize_t>(text.size()) ? 0 : 3);
    }
    ::close(fds[1]);
    std::string text;
    char buf[512];
    for (ssize_t n; (n = ::read(fds[0], buf, sizeof buf)) > 0;) {
        text.append(buf, static_cast<std::size_t>(n));
    }
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
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
        {"failed reads count", {{false, ""}, {false, ""}}, 2, 2, false, "", false},
        {"failure after data ends it", {{true, "part"}, {false, ""}}, 5, 2, true, "part", false},
    };
    for (const auto& c : cases) {
        auto script = useScript();
        script->reads.assign(c.reads.begin(), c.reads.end());
        std::string answer;
        bool got = false;
        EXPECT_EQ(get_message(answer, got, c.tries), c.expectedResult) << c.name;
        EXPECT_EQ(script->readCount, c.expectedReads) << c.name;
        EXPECT_EQ(got, c.expectedReceived) << c.name;
        EXPECT_EQ(answer, c.expectedAnswer) << c.name;
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

TEST_F(SerialLinkTest, ConfigurationFailuresCloseButKeepIsOpen) {
    struct Step {
        bool timeoutsOk, configureOk;
        const char* expected;
    };
    const Step steps[] = {
        {false, true, "init_comm:Error while set_comm_timeouts /dev/scripted : Scripted failure"},
        {true, false, "init_comm:Error while SetCommState /dev/scripted : Scripted failure"},
    };
    for (const auto& step : steps) {
        auto script = std::make_shared<PortScript>();
        script->timeoutsOk = step.timeoutsOk;
        script->configureOk = step.configureOk;
        set_serial_port_factory([script] { return std::make_unique<ScriptedSerialPort>(script); });
        errors.clear();
        EXPECT_FALSE(init_comm(QStringLiteral("/dev/scripted"), 38400));
        EXPECT_EQ(errors, (std::vector<std::string>{step.expected}));
        EXPECT_TRUE(is_comm_open());
    }
}

} // namespace
