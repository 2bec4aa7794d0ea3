// The live camera window against the simulator: refused without an instrument, Start/Stop with
// their texts, frames shown while the window stays live, a setting changed mid-run sent once,
// and Driven mode following "automate.ini".
#include "tools/DlgLiveCamera.h"
#include "device/InterfaceCamera.h"
#include "link/InstrumentProtocol.h"
#include "link/SerialLink.h"
#include "sim/DemoInstrument.h"
#include "sim/Kelvo6Simulator.h"
#include "support/LogCapture.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "tools/LiveCameraLoop.h"
#include "worker/InstrumentLock.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>

#include <gtest/gtest.h>

using kelvotest::wait_until;

namespace {

template <typename T> T* child(QWidget& w, const char* name) {
    T* c = w.findChild<T*>(QLatin1String(name));
    EXPECT_NE(c, nullptr) << name;
    return c;
}

} // namespace

TEST(DlgLiveCamera, ManualAndDrivenRuns) {
    SimOptions options;
    options.linkRateMbps = 0;
    Kelvo6Simulator sim(options);
    QString error;
    ASSERT_TRUE(sim.start(&error)) << error.toStdString();
    ASSERT_TRUE(init_comm(sim.devicePath(), 38400));
    InterfaceCamera cam([](std::chrono::milliseconds) {});
    cam.setEthernetOverride("127.0.0.2", DemoInstrument::freeUdpPort("127.0.0.2"));
    cam.setEthernetTimeoutMs(200);
    InstrumentLock lock;
    DlgLiveCamera dlg(&cam, nullptr, &lock);
    auto* start = child<QPushButton>(dlg, "btStartStop");
    EXPECT_EQ(child<QPushButton>(dlg, "btExit")->text(), "EXIT Live \nDisplay");

    {
        kelvotest::ScriptedDialogs dialogs;
        dialogs.expect(QMessageBox::Ok);
        start->click();
        ASSERT_EQ(dialogs.seen.size(), 1u);
        EXPECT_EQ(dialogs.seen[0].title + "|" + dialogs.seen[0].text, "No device|No device found");
    }
    ASSERT_TRUE(cam.connectAndIdentify());
    sim.clearReceived();

    dlg.show();
    child<QSpinBox>(dlg, "spGain")->setValue(20);
    start->click();
    EXPECT_EQ(start->text(), "Stop Live Display");
    EXPECT_EQ(start->styleSheet(), "background-color:#f27f77;");
    auto* displayed = child<QLabel>(dlg, "lblDisplayed");
    ASSERT_TRUE(wait_until([&] { return displayed->text() != "0 Images displayed"; }, 20000));
    EXPECT_TRUE(child<QLabel>(dlg, "lblStatistics")->text().startsWith("Mean level="));
    EXPECT_TRUE(child<QLabel>(dlg, "lblStatistics")->text().contains("Gain = 2.0 dB \n"));
    EXPECT_FALSE(child<QLabel>(dlg, "lblImage")->pixmap(Qt::ReturnByValue).isNull());
    child<QSpinBox>(dlg, "spGain")->setValue(600); // bounded to 480
    ASSERT_TRUE(wait_until(
        [&] { return child<QLabel>(dlg, "lblStatistics")->text().contains("Gain = 48.0 dB"); }, 20000));

    // Driven: the INI file steers the settings and every frame is saved under its base name.
    const QString dir = kelvotest::make_temp_dir("driven");
    kelvotest::write_file(dir + "/automate.ini",
                          ("[settings]\nShutter=5\nBlack_level=7\nGain=30\ntransferfunc=3\n"
                           "filebasename=" +
                           dir + "/drv\nfileext=png\n")
                              .toUtf8());
    dlg.setDrivenIniPath(dir + "/automate.ini");
    child<QRadioButton>(dlg, "rbDriven")->setChecked(true);
    ASSERT_TRUE(wait_until([&] { return QFileInfo::exists(dir + "/drv.png"); }, 20000));
    ASSERT_TRUE(wait_until([&] { return child<QSpinBox>(dlg, "spBlackLevel")->value() == 7; }, 20000));
    EXPECT_EQ(child<QSpinBox>(dlg, "spGain")->value(), 30);
    EXPECT_TRUE(QFileInfo::exists(dir + "/drv.txt"));

    start->click();
    ASSERT_TRUE(wait_until([&] { return start->text() == "Start Live Display"; }, 20000));
    EXPECT_EQ(start->styleSheet(), "");
    EXPECT_FALSE(lock.isBusy());
    const QStringList lines = sim.receivedLines();
    EXPECT_EQ(lines.count("$PU:imgparamset,0,20,1000.00;"), 1);
    EXPECT_EQ(lines.count("$PU:imgparamset,0,480,1000.00;"), 1);
    EXPECT_EQ(lines.count("$PU:imgparamset,7,30,13.78;"), 1);
    EXPECT_EQ(
        lines.count("$PU:transferfunc,0,33489920,67044352,100598784,134153216,167707648,201262080,234816512,"
                    "268370944;"),
        1);
    close_comm();
    sim.stop();
    set_instrument_variant(QString());
}
