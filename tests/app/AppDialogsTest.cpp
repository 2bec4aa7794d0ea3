#include "app/AppSettings.h"
#include "app/AppStyleSheet.h"
#include "app/DlgAppSettings.h"
#include "app/DlgLogin.h"
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

TEST(DlgLogin, ShowsStoredUserAndStoresWhatIsTyped) {
    QSettings().clear();
    AppSettings::setUser("Ann", "ann@example.org");
    DlgLogin dlg;
    EXPECT_EQ(dlg.windowTitle(), "KelvoApp Login");
    EXPECT_EQ(dlg.btSignIn->text(), "SIGN IN");
    dlg.open();
    EXPECT_TRUE(dlg.isVisible());
    EXPECT_TRUE(dlg.isModal());
    EXPECT_EQ(dlg.edName->text(), "Ann");
    EXPECT_EQ(dlg.edEmail->text(), "ann@example.org");
    // Stored as typed: no check on emptiness or form.
    dlg.edName->setText("  Bo  Ek ");
    dlg.edEmail->setText("");
    QSignalSpy signedIn(&dlg, &DlgLogin::signedIn);
    QTest::mouseClick(dlg.btSignIn, Qt::LeftButton);
    EXPECT_EQ(signedIn.count(), 1);
    EXPECT_FALSE(dlg.isVisible());
    EXPECT_EQ(QSettings().value("user_name").toString(), "  Bo  Ek ");
    EXPECT_EQ(QSettings().value("user_email").toString(), "");
}

TEST(DlgAppSettings, FieldsShowDefaultsAndDevicesAndSaveAnyPath) {
    QSettings().clear();
    const QString dev = kelvotest::make_temp_dir("dev");
    kelvotest::write_file(dev + "/ttyUSB0", "");
    kelvotest::write_file(dev + "/ttyACM3", "");
    DlgAppSettings dlg;
    dlg.setDeviceRoot(dev);
    dlg.open();
    EXPECT_EQ(dlg.edSerialPort->currentText(), "-1");
    ASSERT_EQ(dlg.edSerialPort->count(), 2);
    EXPECT_EQ(dlg.edSerialPort->itemText(0), dev + "/ttyUSB0");
    EXPECT_EQ(dlg.edSerialPort->itemText(1), dev + "/ttyACM3");
    EXPECT_EQ(dlg.edSerialSpeed->value(), 38400);
    EXPECT_EQ(dlg.edSerialSpeed->maximum(), 9999999);
    EXPECT_FALSE(dlg.cbSerialMonitor->isChecked());
    EXPECT_EQ(dlg.edIP->text(), "auto");
    EXPECT_EQ(dlg.lblUdpPort->text(), "49152");
    EXPECT_EQ(dlg.btSave->text(), "Save Settings");

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

TEST(DlgAppSettings, CancelWritesNothing) {
    QSettings().clear();
    DlgAppSettings dlg;
    dlg.setDeviceRoot(kelvotest::make_temp_dir("dev"));
    dlg.open();
    dlg.edSerialPort->setEditText("/dev/ttyUSB9");
    dlg.edSerialSpeed->setValue(1200);
    QSignalSpy saved(&dlg, &DlgAppSettings::settingsSaved);
    QTest::mouseClick(dlg.btCancel, Qt::LeftButton);
    EXPECT_EQ(saved.count(), 0);
    EXPECT_FALSE(dlg.isVisible());
    EXPECT_TRUE(QSettings().allKeys().isEmpty());
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

TEST(AppStyleSheet, ThreeButtonLooksAppliedByStatusTip) {
    const QString css = kelvo_style_sheet();
    for (const char* part :
         {"QPushButton[statusTip=\"btBlue\"]", "QPushButton[accessibleDescription=\"btGreen\"]",
          "rgba(102,152,203,1)", "rgba(92, 122, 163,1)", "#43a047", "#1b5e20", "#fb8c00", "#e65100",
          "border-bottom: 3px solid rgba(0,0,0,0.21)", "font: 14px \"Calibri\"", "padding: -3px",
          "border: 1px solid rgba(0,0,0,0.51)"}) {
        EXPECT_TRUE(css.contains(QLatin1String(part))) << part;
    }
    // The sheet parses and reaches a button marked by its status tip.
    QWidget host;
    host.setStyleSheet(css);
    QPushButton plain("plain", &host), green("green", &host);
    green.setStatusTip("btGreen");
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    const QImage gi = green.grab().toImage(), pi = plain.grab().toImage();
    const auto green_pixels = [](const QImage& img) {
        int n = 0;
        for (int y = 0; y < img.height(); ++y) {
            for (int x = 0; x < img.width(); ++x) {
                n += QColor(img.pixel(x, y)) == QColor("#43a047");
            }
        }
        return n;
    };
    EXPECT_GT(green_pixels(gi), gi.width() * gi.height() / 4);
    EXPECT_EQ(green_pixels(pi), 0);
}
