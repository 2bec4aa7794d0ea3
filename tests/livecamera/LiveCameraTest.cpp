// The live camera against the simulator over its pseudo-terminal and loopback UDP: the exact
// lines sent as the settings change, saving with the settings file, the loop on its own thread
// under the instrument lock, failed frames; and the settings bounds and the driven INI file.
#include "device/InterfaceCamera.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "sim/DemoInstrument.h"
#include "sim/Kelvo6Simulator.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"
#include "tools/LiveCameraLoop.h"
#include "tools/LiveCameraSession.h"
#include "worker/InstrumentLock.h"

#include <QDir>
#include <QSettings>

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <memory>

using kelvotest::write_file;

namespace {

const char* const kLog12 =
    "$PU:transferfunc,0,4129024,8323328,16712224,33489728,67044448,134153600,201262464,268371328;";
const char* const kLinear11 =
    "$PU:transferfunc,0,2031616,4128768,6225920,8323072,10420224,12517376,14614528,16711680;";

class LiveCameraTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimOptions options;
        options.linkRateMbps = 0;
        sim = std::make_unique<Kelvo6Simulator>(options);
        QString error;
        ASSERT_TRUE(sim->start(&error)) << error.toStdString();
        ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
        udpPort = DemoInstrument::freeUdpPort(QStringLiteral("127.0.0.2"));
        cam.setEthernetOverride(QStringLiteral("127.0.0.2"), udpPort);
        cam.setEthernetTimeoutMs(200);
        // Identifying the instrument is not under test: the variant is told and the PU powered.
        set_instrument_variant(QStringLiteral("LP"));
        ASSERT_TRUE(cam.puSetup());
        sim->clearReceived();
    }
    void TearDown() override {
        close_comm();
        sim->stop();
        set_instrument_variant(QString());
    }
    // The lines received since the last call, the Ethernet destination left out.
    QStringList newLines(int* ethlinks = nullptr) {
        const QStringList all = sim->receivedLines();
        sim->clearReceived();
        QStringList lines;
        int n = 0;
        for (const QString& l : all) {
            if (l.startsWith("$PU:ethlink,2,")) {
                ++n;
            } else {
                lines << l;
            }
        }
        if (ethlinks) {
            *ethlinks = n;
        }
        return lines;
    }

    std::unique_ptr<Kelvo6Simulator> sim;
    int udpPort = 0;
    InterfaceCamera cam{[](std::chrono::milliseconds) {}}; // the protocol's pauses are not needed here
};

} // namespace

TEST(LiveCameraSettings, BoundsTransferTableAndDrivenIni) {
    LiveCameraSettings s;
    s.exposureUs = 5;
    s.blackLevel = 5000;
    s.gain = 600;
    s.transferIndex = 8;
    const LiveCameraSettings b = s.Bounded();
    EXPECT_EQ(b.exposureUs, 13.78);
    EXPECT_EQ(b.blackLevel, 4095);
    EXPECT_EQ(b.gain, 480);
    EXPECT_EQ(b.transferIndex, 0);
    s.blackLevel = -3;
    s.gain = -1;
    EXPECT_EQ(s.Bounded().blackLevel, 0);
    EXPECT_EQ(s.Bounded().gain, 0);
    EXPECT_EQ(b.Signature(), "13.78/4095/480/0/0/0/0");
    const char* names[] = {"CURRENT",    "LOG_1:1",    "LOG_1:2",    "LINEAR_1:16",
                           "LINEAR_1:8", "LINEAR_1:4", "LINEAR_1:2", "LINEAR_1:1"};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(LiveCameraSettings::TransferName(i), names[i]);
        EXPECT_EQ(LiveCameraSettings::TransferCommand(i).isEmpty(), i == 0);
    }
    EXPECT_EQ(LiveCameraSettings::TransferCommand(2), kLog12);
    EXPECT_EQ(LiveCameraSettings::TransferCommand(7), kLinear11);
    EXPECT_EQ(LiveCameraSettings::TransferCommand(1),
              "$PU:transferfunc,0,2031616,4128768,8323360,16712256,33489760,67044480,134153632,268371648;");

    const QString dir = kelvotest::make_temp_dir("ini");
    const LiveCameraSettings absent = LiveCameraSettings::FromIni(dir + "/none.ini");
    EXPECT_EQ(absent.Signature(), "1000/0/0/0/0/0/0");
    EXPECT_EQ(absent.fileBaseName, "livecamera");
    EXPECT_EQ(absent.fileExt, "bmp");
    write_file(dir + "/a.ini",
               "[settings]\nShutter=abc\nBlack_level=12.0\nGain=9999\ntransferfunc=12\nmire=1\n"
               "light=yes\nlightcorrection=1\nfilebasename=out/f#\nfileext=png\n");
    const LiveCameraSettings garbage = LiveCameraSettings::FromIni(dir + "/a.ini");
    EXPECT_EQ(garbage.Bounded().Signature(), "1000/12/480/0/1/0/1");
    EXPECT_EQ(garbage.fileBaseName, "out/f#");
}

TEST(LiveCameraSession, TextsAndStatistics) {
    cv::Mat m(2, 2, CV_8UC1);
    m.at<uchar>(0, 0) = 0;
    m.at<uchar>(0, 1) = 10;
    m.at<uchar>(1, 0) = 20;
    m.at<uchar>(1, 1) = 250;
    const LiveFrameStats s = LiveCameraSession::Statistics(m);
    EXPECT_EQ(LiveCameraSession::StatisticsText(s),
              "Mean level=70.00   Std dev=104.16   Min=  0   Max=250 \n");
    LiveCameraSettings settings;
    settings.gain = 125;
    settings.blackLevel = 17;
    settings.transferIndex = 3;
    EXPECT_EQ(
        LiveCameraSession::AcquisitionText(settings, 4, 1, "21.5"),
        "Acquisition Parameters\nExposure time = 1000.00 microseconds \nGain = 12.5 dB \nBlack level = 17 "
        "(12 bits)\nTransfert Fct : LINEAR_1:16\nImage OK=4 , KO=1  , Temperature=21.5 \n");
    const cv::Mat wide(2056, 2464, CV_8UC1, cv::Scalar(9));
    EXPECT_EQ(LiveCameraSession::FitToView(wide, 616, 1000).size(), cv::Size(616, 514));
    EXPECT_EQ(LiveCameraSession::FitToView(wide, 2000, 257).size(), cv::Size(308, 257));
    EXPECT_FALSE(LiveCameraSession::StampedBaseName("a#b#").contains('#'));
    EXPECT_EQ(LiveCameraSession::StampedBaseName("a#").size(), 1 + 19);
}

TEST_F(LiveCameraTest, LinesSentOnlyWhenSettingsChange) {
    LiveCameraSession session(cam);
    LiveSaveTarget target;
    struct Step {
        double exposure;
        int black;
        int gain;
        int transfer;
        bool light;
        bool correction;
        QStringList expected;
    };
    const Step steps[] = {
        {1000, 0, 0, 0, false, false, {"$PU:imgparamset,0,0,1000.00;", "$PU:framedump,0,0;"}},
        {1000, 0, 0, 0, false, false, {"$PU:framedump,0,0;"}},
        {5, 5000, 600, 2, true, false, {"$PU:imgparamset,4095,480,13.78;", kLog12, "$PU:framedump,1,0;"}},
        {5, 5000, 600, 0, true, false, {"$PU:framedump,1,0;"}}, // CURRENT sends nothing
        {5, 5000, 600, 2, true, false, {"$PU:framedump,1,0;"}}, // LOG_1:2 again: already sent
        {13.78, 4095, 480, 7, false, true, {kLinear11, "$PU:framedump,0,1;"}},
        {250.126, 4095, 480, 9, false, false, {"$PU:imgparamset,4095,480,250.13;", "$PU:framedump,0,0;"}},
    };
    int pass = 0;
    for (const Step& st : steps) {
        LiveCameraSettings s;
        s.exposureUs = st.exposure;
        s.blackLevel = st.black;
        s.gain = st.gain;
        s.transferIndex = st.transfer;
        s.light = st.light;
        s.lightCorrection = st.correction;
        const LiveFrame f = session.Pass(s, target);
        int ethlinks = 0;
        EXPECT_EQ(newLines(&ethlinks), st.expected) << "pass " << pass;
        EXPECT_EQ(ethlinks, pass == 0 ? 1 : 0) << "the destination is set on the first frame only";
        EXPECT_EQ(f.status, "OK");
        ASSERT_TRUE(f.good);
        EXPECT_EQ(f.image.size(), cv::Size(2464, 2056));
        EXPECT_EQ(f.displayed, ++pass);
        EXPECT_TRUE(f.savedPath.isEmpty());
    }

    // A damaged frame counts as failed and changes nothing else.
    sim->setUdpFault(SimUdpFault::TruncatedFile);
    const LiveFrame bad = session.Pass(LiveCameraSettings(), target);
    EXPECT_EQ(bad.status, "KO2");
    EXPECT_FALSE(bad.good);
    EXPECT_EQ(bad.displayed, pass);
    EXPECT_EQ(bad.failed, 1);
    sim->setUdpFault(SimUdpFault::NoHeader); // the instrument sends no frame header
    EXPECT_EQ(session.Pass(LiveCameraSettings(), target).status, "KO1");

    // A host address the link refuses: no frame, no crash, counted as failed.
    InterfaceCamera refused{[](std::chrono::milliseconds) {}};
    refused.setEthernetOverride(QStringLiteral("127.0.0.1"), udpPort);
    LiveCameraSession other(refused);
    const LiveFrame none = other.Pass(LiveCameraSettings(), target);
    EXPECT_EQ(none.status, "Erreur Ethernet");
    EXPECT_EQ(none.failed, 1);
    EXPECT_TRUE(none.image.empty());
}

TEST_F(LiveCameraTest, SavingWithTheSettingsFile) {
    const QString folder = kelvotest::make_temp_dir("live") + "/livecamera";
    LiveCameraSession session(cam);
    session.setTemperature("21.50");
    LiveSaveTarget target{folder, false, "/p/kelvo6_x", "K6LP-0001", "kelvo6_x"};
    LiveCameraSettings s;
    s.save = LiveCameraSettings::Save::Every;
    const LiveFrame first = session.Pass(s, target);
    ASSERT_TRUE(first.good);
    ASSERT_FALSE(first.savedPath.isEmpty()) << first.saveError.toStdString();
    EXPECT_TRUE(first.savedPath.startsWith(folder + "/livecamera2")) << first.savedPath.toStdString();
    EXPECT_TRUE(first.savedPath.endsWith(".png"));
    const cv::Mat png = cv::imread(first.savedPath.toStdString(), cv::IMREAD_UNCHANGED);
    EXPECT_EQ(cv::countNonZero(png != first.image), 0);
    ASSERT_EQ(first.settingsPath, first.savedPath.chopped(4) + ".txt");
    QSettings ini(first.settingsPath, QSettings::IniFormat);
    EXPECT_EQ(ini.allKeys().size(), 15);
    EXPECT_EQ(ini.value("settings/Shutter").toDouble(), 1000.0);
    EXPECT_EQ(ini.value("data/Temperature").toString(), "21.50");
    EXPECT_EQ(ini.value("project/sn").toString(), "K6LP-0001");
    EXPECT_NEAR(ini.value("data/MeanLevel").toDouble(), first.stats.mean, 1e-6);

    const LiveFrame same = session.Pass(s, target);
    EXPECT_TRUE(same.settingsPath.isEmpty()) << "same signature: no new settings file";
    s.gain = 10;
    s.fileBaseName = "fixed";
    s.save = LiveCameraSettings::Save::One;
    const LiveFrame one = session.Pass(s, target);
    EXPECT_TRUE(one.consumedJustOne);
    EXPECT_EQ(one.savedPath, folder + "/fixed.png");
    EXPECT_EQ(one.settingsPath, folder + "/fixed.txt");
    session.Pass(s, target); // a name without "#" is saved over
    EXPECT_EQ(QDir(folder).entryList({"fixed*"}, QDir::Files).size(), 2);
    EXPECT_EQ(session.saved(), 4);

    s.fileExt = "nosuchformat";
    const LiveFrame refused = session.Pass(s, target);
    EXPECT_TRUE(refused.savedPath.isEmpty());
    EXPECT_EQ(refused.saveError.left(37), "Unable to encode the frame as nosuchf");
    EXPECT_EQ(refused.saved, 4);
}

TEST_F(LiveCameraTest, LoopRunsOnItsOwnThreadUnderTheInstrumentLock) {
    InstrumentLock lock;
    LiveCameraLoop loop(cam, &lock);
    loop.setPreviewSize(400, 300);
    LiveCameraSettings s;
    s.gain = 30;
    s.save = LiveCameraSettings::Save::One;
    const QString folder = kelvotest::make_temp_dir("loop");
    loop.setTarget({folder, false, {}, {}, {}});
    loop.setSettings(s);
    int shown = 0;
    int lastDisplayed = 0;
    cv::Size preview;
    QObject::connect(&loop, &LiveCameraLoop::frameAvailable, [&] {
        if (auto f = loop.takeFrame()) {
            ++shown;
            lastDisplayed = f->displayed;
            preview = f->preview.size();
        }
    });
    bool stopped = false;
    QString stopError = "not stopped";
    QObject::connect(&loop, &LiveCameraLoop::stopped, [&](const QString& e) {
        stopped = true;
        stopError = e;
    });
    ASSERT_TRUE(loop.start());
    EXPECT_EQ(lock.holder(), "Live camera");
    QString refusal;
    EXPECT_FALSE(loop.start(&refusal));
    EXPECT_EQ(refusal, "the instrument is busy with Live camera");
    ASSERT_TRUE(kelvotest::wait_until([&] { return lastDisplayed >= 2; }, 20000));
    EXPECT_EQ(loop.settings().save, LiveCameraSettings::Save::Off) << "\"Just one\" falls back to Off";
    s.gain = 40;
    s.save = LiveCameraSettings::Save::Off;
    loop.setSettings(s);
    const int before = lastDisplayed;
    ASSERT_TRUE(kelvotest::wait_until([&] { return lastDisplayed >= before + 2; }, 20000));
    loop.stop();
    ASSERT_TRUE(kelvotest::wait_until([&] { return stopped; }, 20000));
    EXPECT_EQ(stopError, "");
    EXPECT_FALSE(lock.isBusy());
    EXPECT_EQ(preview, cv::Size(359, 300));
    EXPECT_GE(shown, 2);
    EXPECT_EQ(QDir(folder).entryList({"*.png"}, QDir::Files).size(), 1);
    const QStringList lines = sim->receivedLines();
    EXPECT_EQ(lines.count("$PU:imgparamset,0,30,1000.00;"), 1);
    EXPECT_EQ(lines.count("$PU:imgparamset,0,40,1000.00;"), 1);
    EXPECT_EQ(lines.count("$TSread;"), 1);
}

TEST_F(LiveCameraTest, CommandLineGrab) {
    close_comm(); // the command opens the port itself
    const QString out = kelvotest::make_temp_dir("grab") + "/frames";
    const kelvotest::ProgramRun run = kelvotest::run_program(
        kelvotest::bin_dir() + "/kelvo", {"camera", "grab", "--count", "2", "--gain", "30", "--exposure", "5",
                                          "--transfer", "log_1:2", "--out", out, "--port", sim->devicePath(),
                                          "--localip", "127.0.0.2", "--udpport", QString::number(udpPort)});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QList<QByteArray> lines = run.out.split('\n');
    ASSERT_EQ(lines.size(), 3);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(lines[i].startsWith("Mean level=")) << lines[i].toStdString();
        EXPECT_TRUE(lines[i].endsWith(" ")) << lines[i].toStdString();
    }
    EXPECT_EQ(QDir(out).entryList({"livecamera*.png"}, QDir::Files).size(), 2);
    EXPECT_EQ(QDir(out).entryList({"livecamera*.txt"}, QDir::Files).size(), 1);
    const QStringList sent = sim->receivedLines();
    EXPECT_EQ(sent.count("$PU:imgparamset,0,30,13.78;"), 1);
    EXPECT_EQ(sent.count(kLog12), 1);
    EXPECT_EQ(sent.count("$PU:framedump,0,0;"), 2);

    EXPECT_EQ(
        kelvotest::run_program(kelvotest::bin_dir() + "/kelvo", {"camera", "grab", "--transfer", "LOG_9"})
            .status,
        2);
}
