#include "app/AppSettings.h"
#include "app/AppStyleSheet.h"
#include "app/DlgAppSettings.h"
#include "app/QTolvarApplication.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>

#include <stdexcept>

// The login dialog is checked where the main window opens it at startup.
TEST(DlgAppSettings, FieldsShowDefaultsAndDevicesSaveAnyPathAndCancelWritesNothing) {
    QSettings().clear();
    const QString dev = kelvotest::make_temp_dir("dev");
    kelvotest::write_file(dev + "/ttyUSB0", "");
    DlgAppSettings dlg;
    dlg.setDeviceRoot(dev);
    dlg.open();
    EXPECT_EQ(dlg.edSerialPort->currentText(), "-1");
    ASSERT_EQ(dlg.edSerialPort->count(), 1);
    EXPECT_EQ(dlg.edSerialPort->itemText(0), dev + "/ttyUSB0");
    EXPECT_EQ(dlg.edSerialSpeed->value(), 38400);
    EXPECT_FALSE(dlg.cbSerialMonitor->isChecked());
    EXPECT_EQ(dlg.edIP->text(), "auto");
    EXPECT_EQ(dlg.lblUdpPort->text(), "49152");
    EXPECT_EQ(dlg.btSave->text(), "Save Settings");

    dlg.edSerialPort->setEditText("/dev/ttyUSB9");
    QTest::mouseClick(dlg.btCancel, Qt::LeftButton);
    EXPECT_FALSE(dlg.isVisible());
    EXPECT_TRUE(QSettings().allKeys().isEmpty());

    dlg.open();
    dlg.edSerialPort->setEditText("/tmp/some pty/3");
    dlg.edSerialSpeed->setValue(9600);
    dlg.cbSerialMonitor->setChecked(true);
    dlg.edIP->setText(" 127.0.0.2 ");
    QSignalSpy saved(&dlg, &DlgAppSettings::settingsSaved);
    QTest::mouseClick(dlg.btSave, Qt::LeftButton);
    EXPECT_EQ(saved.count(), 1);
    EXPECT_FALSE(dlg.isVisible());
    QSettings s;
    EXPECT_EQ(s.value("serialport").toString(), "/tmp/some pty/3");
    EXPECT_EQ(s.value("serialspeed").toInt(), 9600);
    EXPECT_EQ(s.value("serialmonitor").toInt(), 1);
    EXPECT_EQ(s.value("localip").toString(), "127.0.0.2");
}

TEST(DlgAppSettings, LocalIpIsAutoOrIPv4AndAMissingPortIsKeptWithAWarning) {
    QSettings().clear();
    const QString dev = kelvotest::make_temp_dir("dev");
    kelvotest::write_file(dev + "/ttyUSB0", "");
    DlgAppSettings dlg;
    dlg.setDeviceRoot(dev);
    const struct {
        const char* ip;
        bool saved;
    } cases[] = {{"192.168.0.10", true}, {"auto", true}, {"192.168.0", false},
                 {"localhost", false},   {"", false},    {"300.1.1.1", false}};
    for (const auto& c : cases) {
        QSettings().setValue("localip", "before");
        dlg.open();
        dlg.edSerialPort->setEditText(dev + "/ttyUSB0");
        EXPECT_FALSE(dlg.lblPortWarning->isVisible()) << c.ip;
        dlg.edIP->setText(c.ip);
        kelvotest::ScriptedDialogs dialogs;
        if (!c.saved) {
            dialogs.expect(QMessageBox::Ok);
        }
        QTest::mouseClick(dlg.btSave, Qt::LeftButton);
        EXPECT_EQ(QSettings().value("localip").toString(), c.saved ? QString(c.ip) : QString("before"))
            << c.ip;
        EXPECT_EQ(dlg.isVisible(), !c.saved) << c.ip;
        if (!c.saved) {
            ASSERT_EQ(dialogs.seen.size(), 1u) << c.ip;
            EXPECT_EQ(dialogs.seen[0].icon, QMessageBox::Warning);
            EXPECT_EQ(
                dialogs.seen[0].text,
                QString("Local IP must be \"auto\" or an IPv4 address such as 192.168.0.10, not \"%1\". "
                        "Nothing was saved.")
                    .arg(c.ip));
        }
        dlg.reject();
    }

    // A port with no device behind it (a path, or a number from older settings) is saved anyway.
    for (const QString& port : {QString("/dev/kelvo-test-none"), QString("97")}) {
        dlg.open();
        dlg.edSerialPort->setEditText(port);
        dlg.edIP->setText("auto");
        const QString device = port == "97" ? "/dev/ttyUSB97" : port;
        EXPECT_TRUE(dlg.lblPortWarning->isVisible());
        EXPECT_EQ(dlg.lblPortWarning->text(), "There is no device " + device +
                                                  " on this computer now: it is saved as it is, and the port "
                                                  "opens once the device is plugged in.");
        QTest::mouseClick(dlg.btSave, Qt::LeftButton);
        EXPECT_EQ(AppSettings::serialPort(), port);
    }
}

TEST(QTolvarApplication, EscapedExceptionsAreShownAndCountAsHandled) {
    QObject receiver;
    receiver.setObjectName("btProgSensor");
    kelvotest::ScriptedDialogs dialogs;
    dialogs.expect(QMessageBox::Ok);
    dialogs.expect(QMessageBox::Ok);
    EXPECT_TRUE(QTolvarApplication::reportEscapedException(
        &receiver, std::make_exception_ptr(std::runtime_error("Invalid answer : OK not found"))));
    EXPECT_TRUE(QTolvarApplication::reportEscapedException(&receiver, std::make_exception_ptr(42)));
    ASSERT_EQ(dialogs.seen.size(), 2u);
    EXPECT_EQ(dialogs.seen[0].title, "btProgSensor - Unhandled Exception ");
    EXPECT_EQ(dialogs.seen[0].text, "Unhandled C++ Exception : Invalid answer : OK not found");
    EXPECT_EQ(dialogs.seen[1].title, "btProgSensor - Unhandled Exception ");
    EXPECT_EQ(dialogs.seen[1].text, "Unhandled C++ Exception");
}

TEST(AppStyleSheet, ButtonLooksPickedByStatusTipOrAccessibleDescription) {
    QWidget host;
    host.setStyleSheet(kelvo_style_sheet());
    QPushButton plain("plain", &host), blue("blue", &host), green("green", &host), orange("orange", &host);
    blue.setStatusTip("btBlue");
    green.setAccessibleDescription("btGreen");
    orange.setStatusTip("btOrange");
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    // Share of a button's pixels in one colour.
    const auto share = [](QPushButton& b, const char* colour) {
        const QImage img = b.grab().toImage();
        int n = 0;
        for (int y = 0; y < img.height(); ++y) {
            for (int x = 0; x < img.width(); ++x) {
                n += QColor(img.pixel(x, y)) == QColor(colour);
            }
        }
        return double(n) / (img.width() * img.height());
    };
    const std::pair<QPushButton*, const char*> looks[] = {
        {&blue, "#6698cb"}, {&green, "#43a047"}, {&orange, "#fb8c00"}};
    for (const auto& [button, colour] : looks) {
        EXPECT_GT(share(*button, colour), 0.25) << colour;
        EXPECT_EQ(share(plain, colour), 0.0) << colour;
    }
}
