// InterfaceCamera against the Kelvo6 simulator's serial side over its pseudo-terminal; where the
// processing unit would send over UDP, the test sends from loopback when the request goes out.
#include "device/InterfaceCamera.h"
#include "eth/UdpTestSender.h"
#include "link/ScriptedSerialPort.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QSettings>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <tuple>
#include <vector>

using kelvotest::LogCapture;
using kelvotest::pattern_file;
using kelvotest::UdpTestSender;

namespace {

class InterfaceCameraTest : public ::testing::Test {
protected:
    void TearDown() override {
        set_comm_send_hook({});
        close_comm();
        if (sim) {
            sim->stop();
        }
        set_instrument_variant(QString());
    }

    void start(SimOptions options = {}) {
        sim = std::make_unique<Kelvo6Simulator>(options);
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        set_instrument_variant(QString());
        cam = std::make_unique<InterfaceCamera>();
        port = kelvotest::free_udp_port();
        cam->setEthernetOverride(QStringLiteral("127.0.0.2"), port);
        pu.target("127.0.0.2", port);
        // The processing unit answers a dump request on UDP.
        set_comm_send_hook([this](const std::string& line) {
            if (onUdpRequest && (line.starts_with("$PU:filedump,") || line.starts_with("$PU:framedump,"))) {
                onUdpRequest(line);
            }
        });
    }

    int received(const QString& line) const { return static_cast<int>(sim->receivedLines().count(line)); }

    std::unique_ptr<Kelvo6Simulator> sim;
    std::unique_ptr<InterfaceCamera> cam;
    UdpTestSender pu;
    int port = 0;
    std::function<void(const std::string&)> onUdpRequest;
};

} // namespace

TEST_F(InterfaceCameraTest, ConnectAndIdentifyFillsTheIdentityAndWorkingSet) {
    start();
    ASSERT_TRUE(cam->connectAndIdentify());
    EXPECT_EQ(cam->variant(), QStringLiteral("LP"));
    EXPECT_EQ(cam->cameraRef(), QStringLiteral("K6LP-0001"));
    EXPECT_EQ(cam->lightRef(), QStringLiteral("LU-0001"));
    EXPECT_EQ(cam->powerReading(), QStringLiteral("12.10 V"));
    ASSERT_EQ(cam->hardwareInfo().size(), 8);
    EXPECT_EQ(cam->hardwareInfo()[0], QStringLiteral("PU-K6LP-0001"));
    EXPECT_EQ(cam->hardwareInfo()[Kelvo6Simulator::kHwinfoSdTotalIndexLP], QStringLiteral("30436"));
    EXPECT_EQ(sim->puState(), SimPuState::Ready);

    for (int slot = 0; slot < 10; ++slot) {
        EXPECT_EQ(received(QStringLiteral("$ACQCONFread:%1;").arg(slot)), 1) << slot;
        EXPECT_EQ(cam->acquisitionSlotValid(slot), !sim->slotFields(slot).isEmpty()) << slot;
        if (cam->acquisitionSlotValid(slot)) {
            EXPECT_EQ(QString::fromStdString(param_config_name(cam->acquisition(slot))),
                      sim->slotFields(slot)[0]);
        }
    }
    EXPECT_EQ(static_cast<int>(cam->timetable().size()), sim->timetable().size());
    const QStringList lines = sim->receivedLines();
    ASSERT_GE(lines.size(), 4);
    EXPECT_EQ(lines.mid(0, 3), (QStringList{"$stop;;", "$stop;", "$stop;"}));
    EXPECT_EQ(received(QStringLiteral("$VERSION;")), 1);
    EXPECT_EQ(received(QStringLiteral("$PU:hwinfo;")), 1);
    EXPECT_EQ(received(QStringLiteral("$PU:ethlink,1;")), 1);
}

TEST_F(InterfaceCameraTest, FirmwareOutsideTheSupportedYearIsRefused) {
    const std::pair<const char*, const char*> cases[] = {
        {"V3.4.2,2022.01.10",
         "InterfaceCamera|0|Incompatible KELVOAPP version for firmware :V3.4.2,2022.01.10;\n"},
        {"V3.1.0,2020.11.02",
         "InterfaceCamera|0|Incompatible KELVOAPP version for firmware :V3.1.0,2020.11.02;\n"},
        {"V3.1.0", "InterfaceCamera|0|Invalid Version Answer, missing , $VERSION:V3.1.0;\n"},
    };
    for (const auto& [firmware, logged] : cases) {
        SimOptions options;
        options.firmware = QString::fromLatin1(firmware);
        LogCapture log;
        start(options);
        EXPECT_FALSE(cam->connectAndIdentify()) << firmware;
        EXPECT_TRUE(log.saw(logged)) << firmware;
        EXPECT_TRUE(cam->cameraRef().isEmpty());
        EXPECT_TRUE(cam->hardwareInfo().isEmpty());
        EXPECT_EQ(received(QStringLiteral("$HWCONFread;")), 0);
        EXPECT_EQ(received(QStringLiteral("$PU:hwinfo;")), 0);
        TearDown();
    }
}

TEST_F(InterfaceCameraTest, ClosedPortAnswersCommNotInitialized) {
    close_comm();
    InterfaceCamera camera;
    // close_comm keeps the link reading as open (callers see dead exchanges); a port that never
    // opened reads as closed.
    init_comm(QStringLiteral("/dev/kelvo-no-such-port"), 38400);
    EXPECT_EQ(camera.autocheck(), QStringLiteral("Comm not initialized"));
    EXPECT_EQ(camera.readClock(), QStringLiteral("Comm not initialized"));
    EXPECT_EQ(camera.reboot(), QStringLiteral("Comm not initialized"));
    EXPECT_FALSE(camera.connectAndIdentify());
}

// The passed and temperature answers are read from the simulator below.
TEST(InterfaceCameraText, AutocheckResults) {
    const std::pair<const char*, const char*> cases[] = {
        {"$starterr:49;", "Error 49 : Mezzanine board verification failed"},
        {"$starterr:59;", "Error 59 : Flash verification failed"},
        {"$starterr:69;", "Error 69 : Pressure sensor verification failed"},
        {"$starterr:89;", "Error : $starterr:89;"},
        {"", "Error : "},
    };
    for (const auto& [answer, text] : cases) {
        EXPECT_EQ(InterfaceCamera::autocheckText(answer).toStdString(), text);
    }
}

TEST_F(InterfaceCameraTest, AutocheckAgainstTheInstrument) {
    const std::pair<SimAutocheck, const char*> cases[] = {
        {SimAutocheck::Passed, "OK"},
        {SimAutocheck::Temperature79, "Error 69 : Temperature sensor verification failed"},
    };
    start();
    for (const auto& [result, text] : cases) {
        sim->setAutocheckResult(result);
        EXPECT_EQ(cam->autocheck().toStdString(), text);
        EXPECT_EQ(sim->mode(), SimMode::Supervisor); // entered again afterwards
    }
}

TEST_F(InterfaceCameraTest, ClockSetInUtcThenRead) {
    start();
    const QDateTime when(QDate(2024, 3, 5), QTime(6, 7, 8), Qt::UTC);
    EXPECT_EQ(cam->setClock(when), QStringLiteral("OK2024-03-05 06:07:08"));
    EXPECT_EQ(received(QStringLiteral("$RTCset:20240305,060708;")), 1);
    EXPECT_TRUE(cam->readClock().startsWith(QStringLiteral("$RTCread:20240305,0607")))
        << cam->readClock().toStdString();
}

TEST_F(InterfaceCameraTest, FormatAnswers) {
    start();
    EXPECT_EQ(cam->formatSdCard(), QStringLiteral("formatting Done"));
    sim->setMakefsFailure(5);
    EXPECT_EQ(cam->formatSdCard(), QStringLiteral("Error [PU]:$makefs:FAILED,5;\n"));
}

TEST_F(InterfaceCameraTest, PowerAndTemperatureReadings) {
    SimOptions options;
    options.variant = QStringLiteral("HF");
    start(options);
    ASSERT_EQ(InstrumentProtocol().supervisorMode(true), SupervisorHF);
    EXPECT_EQ(cam->powerMonitor(), QStringLiteral("24.05 V")); // the HF label
    EXPECT_EQ(cam->temperature(), QStringLiteral("18.40"));
}

TEST_F(InterfaceCameraTest, DownloadThroughTheDestinationOfEachVariant) {
    const QByteArray file = pattern_file(70000);
    for (const char* variant : {"LP", "HF"}) {
        SimOptions options;
        options.variant = QString::fromLatin1(variant);
        options.cardDir = kelvotest::make_temp_dir(QStringLiteral("card"));
        options.linkRateMbps = 0;
        ASSERT_TRUE(kelvotest::write_file(options.cardDir + QStringLiteral("/2023/06/s/a.raw"), file));
        start(options);
        ASSERT_EQ(cam->prepareEthernet(), 0);
        EXPECT_EQ(cam->prepareEthernet(), 0); // once per run
        ASSERT_TRUE(cam->puSetup());
        ASSERT_TRUE(cam->setEthernetDestination());
        const SimEthlinkDestination dest = sim->ethlinkDestination();
        EXPECT_EQ(dest.host, QStringLiteral("127.0.0.2"));
        EXPECT_EQ(dest.port, port);
        EXPECT_EQ(dest.mac, QString::fromLatin1(std::string(variant) == "LP" ? "FF.FF.FF.FF.FF.FF" : ""));

        EXPECT_EQ(cam->downloadFile(QStringLiteral("2023/06/s/a.raw")), file) << variant;
        EXPECT_TRUE(cam->lastTransferSucceeded());
        EXPECT_EQ(cam->lastDumpReport().attempts, 1);
        EXPECT_EQ(received(QStringLiteral("$PU:filedump,2023/06/s/a.raw;")), 1);
        TearDown();
    }
}

TEST_F(InterfaceCameraTest, FileListWithTreeUpdate) {
    SimOptions options;
    options.cardDir = kelvotest::make_temp_dir(QStringLiteral("card"));
    options.linkRateMbps = 0;
    ASSERT_TRUE(
        kelvotest::write_file(options.cardDir + QStringLiteral("/2023/06/20230612-101500/x_data.txt"), "d"));
    start(options);
    ASSERT_TRUE(cam->connectAndIdentify());
    bool ok = false;
    const QString tree = cam->fileList(true, &ok);
    EXPECT_TRUE(ok) << tree.toStdString();
    EXPECT_EQ(received(QStringLiteral("$PU:treeupdate;")), 1);
    EXPECT_TRUE(tree.contains(QStringLiteral("x_data.txt"))) << tree.toStdString();
    EXPECT_EQ(tree.toUtf8(), kelvotest::read_file(options.cardDir + QStringLiteral("/tree.txt")));
}

TEST_F(InterfaceCameraTest, TraversalRefusedWithNothingWritten) {
    start();
    ASSERT_EQ(cam->prepareEthernet(), 0);
    const QString root = kelvotest::make_temp_dir();
    const QString folder = root + QStringLiteral("/filemanager");
    ASSERT_TRUE(QDir().mkpath(folder));
    int asked = 0;
    onUdpRequest = [&](const std::string&) {
        ++asked;
        pu.sendFile("evil", 1024);
    };
    QString error;
    EXPECT_FALSE(cam->downloadFileTo(QStringLiteral("seq/../../owned.txt"), folder, &error));
    EXPECT_EQ(error, QStringLiteral("Path refused, it holds a \"..\" component: \"seq/../../owned.txt\""));
    EXPECT_EQ(asked, 0);
    EXPECT_FALSE(QFile::exists(root + QStringLiteral("/owned.txt")));
    EXPECT_TRUE(QDir(folder).isEmpty());

    ASSERT_TRUE(cam->downloadFileTo(QStringLiteral("2023/06/s/f.txt"), folder, &error))
        << error.toStdString();
    EXPECT_EQ(kelvotest::read_file(folder + QStringLiteral("/2023/06/s/f.txt")), QByteArray("evil"));
}

TEST_F(InterfaceCameraTest, LiveImageFromTheSimulator) {
    SimOptions options;
    options.linkRateMbps = 0;
    start(options);
    ASSERT_TRUE(cam->connectAndIdentify());
    cv::Mat image;
    EXPECT_EQ(cam->liveImage(1, 0, 0, true, image), QStringLiteral("OK"));
    EXPECT_EQ(image.rows, 2056);
    EXPECT_EQ(image.cols, 2464);
    EXPECT_EQ(received(QStringLiteral("$PU:framedump,1,0;")), 1);

    sim->setUdpFault(SimUdpFault::TruncatedFile);
    EXPECT_EQ(cam->liveImage(1, 0, 0, false, image), QStringLiteral("KO2"));
    EXPECT_EQ(cam->liveImage(1, 0, 0, false, image), QStringLiteral("OK")); // the fault was for one dump
}

TEST_F(InterfaceCameraTest, LiveImageFromATestSender) {
    start();
    ASSERT_EQ(cam->prepareEthernet(), 0); // no destination named: the simulator sends nothing
    QByteArray frame = pattern_file(InterfaceCamera::kLiveFrameBytes, 11);
    onUdpRequest = [&](const std::string& line) {
        EXPECT_EQ(line, "$PU:framedump,2,1;");
        pu.sendFile(frame, 8192);
    };
    cv::Mat image;
    EXPECT_EQ(cam->liveImage(2, 1, 0, false, image), QStringLiteral("OK"));
    ASSERT_EQ(image.total(), static_cast<std::size_t>(InterfaceCamera::kLiveFrameBytes));
    EXPECT_EQ(QByteArray(reinterpret_cast<const char*>(image.data), InterfaceCamera::kLiveFrameBytes), frame);

    LogCapture log;
    onUdpRequest = [&](const std::string&) { pu.send(QByteArray(20, 'h')); };
    EXPECT_EQ(cam->liveImage(2, 1, 0, false, image), QStringLiteral("KO1"));
    EXPECT_TRUE(log.saw(
        "InterfaceCamera|3|InterfaceCamera::GetLiveImage Invalid header packet length 20 instead 16"));

    onUdpRequest = {};
    EXPECT_EQ(cam->liveImage(2, 1, 1999999, false, image), QStringLiteral("KO1")); // one 2-second wait
    EXPECT_TRUE(log.saw(
        "InterfaceCamera|3|InterfaceCamera::GetLiveImage Invalid header packet length -1 instead 16"));

    onUdpRequest = [&](const std::string&) {
        pu.sendFile(QByteArray(1000, 's'), 1000);
    }; // not a frame's size
    EXPECT_EQ(cam->liveImage(2, 1, 0, false, image), QStringLiteral("KO2"));
}

TEST_F(InterfaceCameraTest, EthernetErrorsAndPortTakeOver) {
    start();
    cam->setEthernetOverride(QStringLiteral("127.0.0.1"), port);
    cv::Mat image;
    EXPECT_EQ(cam->liveImage(0, 0, 0, false, image), QStringLiteral("Erreur Ethernet"));
    EXPECT_EQ(cam->prepareEthernet(), 1);

    // The settings give the address and port when nothing overrides them.
    QSettings settings(QStringLiteral("KelvoApp"), QStringLiteral("KelvoApp"));
    settings.setValue(QStringLiteral("localip"), QStringLiteral("127.0.0.2"));
    settings.setValue(QStringLiteral("udpport"), port);
    settings.sync();
    cam->setEthernetOverride(QString(), 0);
    ASSERT_EQ(cam->prepareEthernet(), 0);
    EXPECT_EQ(cam->ethAddress(), QStringLiteral("127.0.0.2"));
    EXPECT_EQ(cam->ethPort(), port);
    EXPECT_TRUE(cam->ethernetReady());
    {
        EthLink terminal;
        std::string ip = "127.0.0.2";
        std::string mac = "FF.FF.FF.FF.FF.FF";
        ASSERT_EQ(terminal.init_eth_socket(ip, port, mac, 8388608, 2000), 0);
        EXPECT_FALSE(cam->ethernetReady());
    }
    EXPECT_EQ(cam->prepareEthernet(), 0);
    EXPECT_TRUE(cam->ethernetReady());
}

TEST_F(InterfaceCameraTest, RebootLeavesTheInstrumentInUserModeWithoutWaiting) {
    start();
    ASSERT_TRUE(cam->connectAndIdentify());
    sim->clearReceived();
    LogCapture log;
    EXPECT_EQ(cam->reboot(), QStringLiteral("OK"));
    EXPECT_TRUE(log.saw("InterfaceCamera|2|Reboot initiated"));
    // No answer is awaited: the line may still be on its way.
    EXPECT_TRUE(kelvotest::wait_until([&] { return received(QStringLiteral("$SUreboot;")) == 1; }, 3000));
    EXPECT_EQ(sim->receivedLines(), (QStringList{"$SU;", "$SUreboot;"}));
    EXPECT_TRUE(kelvotest::wait_until([&] { return sim->mode() == SimMode::User; }, 3000));
    EXPECT_EQ(sim->puState(), SimPuState::Off);

    // A busy instrument refuses supervisor mode: nothing is rebooted.
    sim->setBusy(true);
    sim->clearReceived();
    EXPECT_EQ(cam->reboot(), QStringLiteral("Error"));
    EXPECT_EQ(received(QStringLiteral("$SUreboot;")), 0);
}

TEST_F(InterfaceCameraTest, ImageParametersOnTheWire) {
    const std::tuple<int, int, double, const char*> cases[] = {
        {3, 250, 1.5, "$PU:imgparamset,3,250,1.50;\n"},
        {-1, 4095, -0.257, "$PU:imgparamset,-1,4095,-0.26;\n"},
        {12, 7, 1000.0, "$PU:imgparamset,12,7,1000.00;\n"},
    };
    start();
    ASSERT_TRUE(cam->puSetup());
    for (const auto& [first, second, third, wire] : cases) {
        sim->clearReceived();
        EXPECT_TRUE(cam->setImageParameters(first, second, third));
        EXPECT_TRUE(kelvotest::wait_until([&] { return sim->receivedBytes().endsWith('\n'); }, 2000));
        EXPECT_EQ(sim->receivedBytes(), QByteArray(wire));
    }
}

TEST_F(InterfaceCameraTest, EthernetDestinationWithAnUnknownVariantSendsNothing) {
    start();
    ASSERT_EQ(cam->prepareEthernet(), 0);
    for (const char* v : {"XX", ""}) {
        set_instrument_variant(QString::fromLatin1(v));
        sim->clearReceived();
        LogCapture log;
        EXPECT_FALSE(cam->setEthernetDestination()) << v;
        EXPECT_TRUE(log.saw(
            std::string("InterfaceCamera|0|Unable enable Ethernet Link, invalid device type  ") + v + " "))
            << v;
        EXPECT_TRUE(sim->receivedLines().isEmpty()) << v;
    }
    EXPECT_EQ(sim->ethlinkDestination().mode, -1);
}

namespace {

// The power monitor against a scripted instrument, to reach answers the simulator never gives.
class PowerReadingTest : public ::testing::Test {
protected:
    void SetUp() override {
        script = std::make_shared<PortScript>();
        set_serial_port_factory([s = script] { return std::make_unique<ScriptedSerialPort>(s); });
        ASSERT_TRUE(init_comm(QStringLiteral("/dev/scripted"), 38400));
    }
    void TearDown() override {
        close_comm();
        set_serial_port_factory({});
        set_instrument_variant(QString());
    }
    std::shared_ptr<PortScript> script;
};

} // namespace

// The HF label is read from the simulator; the LP one is enough for the value rules.
TEST_F(PowerReadingTest, ValuesOfTwoCharactersOrLessReadAsUnknown) {
    const std::pair<const char*, const char*> cases[] = {
        {"B0 voltage: 12\nB1 voltage: 0.00 V\n$POWERmonitor:OK;\n", "?"},
        {"B0 voltage: 9.5\n$POWERmonitor:OK;\n", "9.5"},
        {"B0 voltage: 12.10 V", "12.10 V"}, // no line feed after the value
        {"PBU input voltage: 24.05 V\n", "?"},
        {"", "?"},
    };
    InterfaceCamera camera([](std::chrono::milliseconds) {});
    set_instrument_variant(QStringLiteral("LP"));
    for (const auto& [answer, reading] : cases) {
        script->lines.clear();
        script->onLine = [answer](const std::string& line, PortScript& s) {
            if (line == "$POWERmonitor;" && *answer != '\0') {
                s.answer(answer);
            }
        };
        EXPECT_EQ(camera.powerMonitor().toStdString(), reading) << answer;
        EXPECT_EQ(script->lines, std::vector<std::string>{"$POWERmonitor;"});
    }
}

TEST_F(InterfaceCameraTest, PacedDumpNeverDeliversADatagramBeforeTheLinkCarriedIt) {
    // At 1 Mbit/s an 8,192-byte datagram takes 65.5 ms on the wire: the k-th one may reach the
    // host only k x 65.5 ms after the header (a sender that runs one datagram ahead fails by 65 ms).
    const QByteArray file = pattern_file(3 * 8192, 5);
    SimOptions options;
    options.cardDir = kelvotest::make_temp_dir(QStringLiteral("card"));
    options.linkRateMbps = 1;
    options.packetSize = 8192;
    ASSERT_TRUE(kelvotest::write_file(options.cardDir + QStringLiteral("/p.bin"), file));
    start(options);
    ASSERT_EQ(cam->prepareEthernet(), 0);
    ASSERT_TRUE(cam->puSetup());
    ASSERT_TRUE(cam->setEthernetDestination());
    ASSERT_TRUE(send_message("$PU:filedump,p.bin;"));
    std::vector<char> buffer(65536);
    ASSERT_EQ(cam->ethLink().receive(buffer.data(), buffer.size()), 16);
    const auto header = std::chrono::steady_clock::now();
    QByteArray got;
    for (int k = 1; k <= 3; ++k) {
        const int n = cam->ethLink().receive(buffer.data(), buffer.size());
        ASSERT_EQ(n, 8192) << k;
        const auto after =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - header);
        EXPECT_GE(after.count(), k * 65.536 - 15.0) << "datagram " << k;
        got.append(buffer.data(), n);
    }
    EXPECT_EQ(got, file);
}
