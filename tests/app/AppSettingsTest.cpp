#include "app/AppSettings.h"
#include "app/RecentFiles.h"
#include "app/SerialDevices.h"
#include "app/WorkFolder.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSettings>
#include <QStandardPaths>

#include <array>

// The keys of the other values are read back by the settings dialog's test, the user's and the
// logged-in text by the main window's.
TEST(AppSettings, ValuesLiveUnderTheirKeysInTheKelvoAppStore) {
    QSettings().clear();
    EXPECT_EQ(AppSettings::loginActionText(), "             logged as : ???");
    AppSettings::setSerialPort(" /dev/ttyUSB0 ");
    QSettings raw("KelvoApp", "KelvoApp");
    EXPECT_EQ(raw.value("serialport").toString(), "/dev/ttyUSB0");
    // An old numeric setting is read as its number.
    raw.setValue("serialport", 3);
    EXPECT_EQ(AppSettings::serialPort(), "3");
    // Garbage falls back to the defaults instead of a zero speed or port.
    raw.setValue("serialspeed", "fast");
    raw.setValue("udpport", 70000);
    EXPECT_EQ(AppSettings::serialSpeed(), 38400);
    EXPECT_EQ(AppSettings::udpPort(), 49152);
}

// The skipped login (exact "Y" and both fields) is checked by the main window's startup.
TEST(AppSettings, LoginIsShownUnlessHiddenWithExactYAndBothFields) {
    const std::array<const char*, 3> cases[] = {
        {"y", "Ann", "ann@example.org"},     {"Y ", "Ann", "ann@example.org"},
        {"Y", "", "ann@example.org"},        {"Y", "Ann", ""},
        {nullptr, "Ann", "ann@example.org"},
    };
    for (const auto& [hide, name, email] : cases) {
        QSettings().clear();
        QSettings raw;
        if (hide) {
            raw.setValue("hidelogin", hide);
        }
        raw.setValue("user_name", name);
        raw.setValue("user_email", email);
        raw.sync();
        EXPECT_FALSE(AppSettings::loginCanBeSkipped())
            << (hide ? hide : "(absent)") << "/" << name << "/" << email;
    }
}

TEST(RecentFiles, NewestFirstWithoutDuplicatesAndAtMost25) {
    EXPECT_EQ(RecentFiles::withAdded({"/p/b", "/p/a"}, ""), QStringList({"/p/b", "/p/a"}));
    EXPECT_EQ(RecentFiles::withAdded({"/x", "/y", "/x"}, "/x"), QStringList({"/x", "/y"}));
    QSettings().clear();
    for (int i = 1; i <= 26; ++i) {
        RecentFiles::add(QStringLiteral("/data/kelvo6_%1/kelvo6_%1").arg(i));
    }
    const QStringList stored = QSettings().value("recentFiles").toStringList();
    ASSERT_EQ(stored.size(), 25);
    EXPECT_EQ(stored.first(), "/data/kelvo6_26/kelvo6_26");
    EXPECT_EQ(stored.last(), "/data/kelvo6_2/kelvo6_2"); // the first one was pushed out
    // An opened recent file moving to the front is checked through the main window's menu.
}

TEST(WorkFolder, CommandLineOption) {
    const struct {
        QStringList args;
        bool ok;
        const char* dir;
    } cases[] = {
        {{"kelvoapp"}, true, ""},
        {{"kelvoapp", "--workdir", "/tmp/w"}, true, "/tmp/w"},
        {{"kelvoapp", "--workdir=/tmp/v", "--screenshot", "s.png"}, true, "/tmp/v"},
        {{"kelvoapp", "--workdir"}, false, ""},
        {{"kelvoapp", "--workdir", "--screenshot"}, false, ""},
        {{"kelvoapp", "--workdir="}, false, ""},
    };
    for (const auto& c : cases) {
        QString dir, error;
        EXPECT_EQ(WorkFolder::parseArguments(c.args, dir, error), c.ok) << c.args.join(' ').toStdString();
        EXPECT_EQ(dir, c.dir);
        EXPECT_EQ(error, c.ok ? "" : "--workdir needs a folder: --workdir DIR");
    }
}

TEST(WorkFolder, ChosenFolderElseThePerUserDataFolder) {
    WorkFolder::setPath(QString());
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    EXPECT_EQ(WorkFolder::path(), QDir::cleanPath(data));
    EXPECT_TRUE(WorkFolder::path().startsWith(kelvotest::home_dir())); // never the real HOME
    const QString chosen = kelvotest::make_temp_dir() + "/work/deeper";
    WorkFolder::setPath(chosen);
    EXPECT_EQ(WorkFolder::filePath("Kelvoapp.log"), chosen + "/Kelvoapp.log");
    EXPECT_TRUE(QDir(chosen).exists());
    EXPECT_EQ(WorkFolder::subFolder("configurator"), chosen + "/configurator");
    EXPECT_TRUE(QDir(chosen + "/configurator").exists());
    WorkFolder::setPath(QString());
}

TEST(SerialDevices, ListsTheSerialKindsInNaturalOrder) {
    const QString root = kelvotest::make_temp_dir("dev");
    for (const char* name : {"ttyUSB10", "ttyUSB2", "ttyACM0", "ttyS1", "ttyS0", "tty0", "null", "video0"}) {
        kelvotest::write_file(root + "/" + name, "");
    }
    kelvotest::write_file(root + "/serial/by-id/usb-FTDI_FT232R-if00-port0", "");
    EXPECT_EQ(list_serial_devices(root).join(' ').toStdString(),
              QStringList({root + "/ttyUSB2", root + "/ttyUSB10", root + "/ttyACM0", root + "/ttyS0",
                           root + "/ttyS1", root + "/serial/by-id/usb-FTDI_FT232R-if00-port0"})
                  .join(' ')
                  .toStdString());
    EXPECT_TRUE(list_serial_devices(root + "/missing").isEmpty());
}

// The program's own options are read before any window exists: help and version need no display.
TEST(KelvoappCommandLine, HelpAndVersionPrintAndExitAndAnUnknownOptionIsRefused) {
    const struct {
        QStringList args;
        int status;
        const char* out; // start of standard output
        const char* err; // start of standard error
    } cases[] = {
        {{"--version"}, 0, "kelvoapp 2.4 (Kelvo App 2 V2.4 : 2025-06-16)\n", ""},
        {{"--help"}, 0, "Usage: kelvoapp [--demo] [--workdir DIR]", ""},
        {{"--demo", "--frobnicate"}, 2, "", "kelvoapp: unknown option \"--frobnicate\"\nUsage: kelvoapp"},
        {{"project"}, 2, "", "kelvoapp: unexpected argument \"project\"\n"},
    };
    for (const auto& c : cases) {
        const kelvotest::ProgramRun r = kelvotest::run_program(kelvotest::bin_dir() + "/kelvoapp", c.args);
        EXPECT_EQ(r.status, c.status) << c.args.join(' ').toStdString();
        EXPECT_TRUE(r.out.startsWith(c.out)) << r.out.toStdString();
        EXPECT_TRUE(r.err.startsWith(c.err)) << r.err.toStdString();
    }
}
