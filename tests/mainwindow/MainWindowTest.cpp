#include "mainwindow/MainWindow.h"
#include "app/AppSettings.h"
#include "app/DlgAppSettings.h"
#include "app/DlgLogin.h"
#include "app/WorkFolder.h"
#include "link/SerialLink.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"
#include "trace/ZelTraceMgrTreeView.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QSettings>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTest>

#include <pty.h>
#include <unistd.h>

namespace {

// A fresh working folder and empty settings for each test.
class MainWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        QSettings().clear();
        work = kelvotest::make_temp_dir("work");
        WorkFolder::setPath(work);
    }
    void TearDown() override {
        close_comm();
        WorkFolder::setPath(QString());
        for (int fd : fds) {
            ::close(fd);
        }
    }
    // The follower side path of a new pseudo-terminal (a port that opens).
    QString pty() {
        int leader = -1, follower = -1;
        char name[256] = {};
        if (openpty(&leader, &follower, name, nullptr, nullptr) != 0) {
            return {};
        }
        fds << leader << follower;
        return QString::fromLocal8Bit(name);
    }
    bool fileHas(const QString& name, const QByteArray& text) {
        return kelvotest::wait_until([&] { return kelvotest::read_file(work + "/" + name).contains(text); });
    }
    QString work;
    QList<int> fds;
};

} // namespace

TEST_F(MainWindowTest, StartupWithNoSettingsFailsThePortInRedAndAsksForLogin) {
    kelvotest::ScriptedDialogs dialogs; // no box expected
    MainWindow w;
    int opened = 0;
    w.setProjectOpener([&](const QString&) { return ++opened > 0; });
    EXPECT_EQ(w.commStatusLabel()->text(), "Comm status");
    w.show();
    EXPECT_EQ(w.commStatusLabel()->text(), "/dev/ttyUSB-1");
    EXPECT_EQ(w.commStatusLabel()->styleSheet(), "color:red;");
    ASSERT_TRUE(kelvotest::wait_until([&] { return w.loginDialog() && w.loginDialog()->isVisible(); }));
    EXPECT_EQ(w.loginDialog()->edName->text(), "");
    EXPECT_EQ(w.loginDialog()->edEmail->text(), "");
    EXPECT_EQ(opened, 0);
    EXPECT_TRUE(fileHas("Kelvoapp.log", "\tInformation\tMainWindow\tStarted Trace Manager\r\n"));
    EXPECT_TRUE(fileHas("Kelvoapp.log", "\tError\tVortOS    \tinit_comm:Error while opening /dev/ttyUSB-1"));
    EXPECT_TRUE(
        fileHas("Kelvoapp.serial.log", "\tError\tVortOS    \tinit_comm:Error while opening /dev/ttyUSB-1"));
    EXPECT_TRUE(
        fileHas("Kelvoapp.serial.log", "\tInformation\tOpen      \tOpen /dev/ttyUSB-1@38400 FAILED\r\n"));
    // The login is stored and shown in the menu bar.
    w.loginDialog()->edName->setText("Ann");
    w.loginDialog()->edEmail->setText("ann@example.org");
    QTest::mouseClick(w.loginDialog()->btSignIn, Qt::LeftButton);
    EXPECT_EQ(w.loginAction()->text(), "             logged as : Ann");
}

TEST_F(MainWindowTest, HiddenLoginAndRecentProjectAtStartup) {
    AppSettings::setUser("Ann", "ann@example.org");
    QSettings().setValue("hidelogin", "Y");
    AppSettings::setRecentFiles({"/data/a/kelvo6_new", "/data/b/kelvo6_old"});
    const QString port = pty();
    ASSERT_FALSE(port.isEmpty());
    AppSettings::setSerialPort(port);
    AppSettings::setSerialSpeed(9600);
    MainWindow w;
    QStringList opened;
    w.setProjectOpener([&](const QString& p) {
        opened << p;
        return true;
    });
    w.show();
    EXPECT_EQ(w.commStatusLabel()->text(), port);
    EXPECT_EQ(w.commStatusLabel()->styleSheet(), "color:darkgreen;");
    ASSERT_TRUE(kelvotest::wait_until([&] { return !opened.isEmpty(); }));
    EXPECT_EQ(opened, QStringList({"/data/a/kelvo6_new"}));
    EXPECT_EQ(w.loginAction()->text(), "             logged as : Ann");
    EXPECT_EQ(w.loginDialog(), nullptr);
    EXPECT_TRUE(fileHas("Kelvoapp.serial.log", QStringLiteral("\tOpen %1@9600 OK\r\n").arg(port).toLatin1()));
    // The serial hooks log the traffic at debug level under "send" and "recv".
    ASSERT_TRUE(send_message("$VERSION;"));
    EXPECT_TRUE(fileHas("Kelvoapp.serial.log", "\tDebug\tsend      \t$VERSION;"));
    // The recent-file actions show "folder/name" and carry the path.
    EXPECT_TRUE(w.recentFileActions()[0]->isVisible());
    EXPECT_EQ(w.recentFileActions()[0]->text(), "a/kelvo6_new");
    EXPECT_EQ(w.recentFileActions()[1]->data().toString(), "/data/b/kelvo6_old");
    EXPECT_FALSE(w.recentFileActions()[2]->isVisible());
    w.recentFileActions()[1]->trigger();
    EXPECT_EQ(opened.last(), "/data/b/kelvo6_old");
    EXPECT_EQ(AppSettings::recentFiles(), QStringList({"/data/b/kelvo6_old", "/data/a/kelvo6_new"}));
    EXPECT_EQ(w.recentFileActions()[0]->text(), "b/kelvo6_old");
}

TEST_F(MainWindowTest, MenusAndActionsInOrderWithTheirLabels) {
    MainWindow w;
    EXPECT_EQ(w.windowTitle(), "Kelvo App 2 V2.4 : 2025-06-16");
    QStringList bar;
    for (QAction* a : w.menuBar()->actions()) {
        bar << a->text();
    }
    EXPECT_EQ(bar, QStringList({"&File", "&Sensor", "&Project", "&Help", "Data", "Login"}));

    const struct {
        const char* name;
        const char* label;
        bool enabled;
    } actions[] = {
        {"action_pen_project", "&\xCE\x9Fpen project", false},
        {"actionExit", "Exit", true},
        {"actionCreate_new_project", "Create &new project", false},
        {"actionProject_sequences", "Manage downloaded sequences", false},
        {"actionProject_samples", "Manage samples", false},
        {"actionProject_settings", "Edit project metadata", false},
        {"actionView_serial_monitoring", "Monitor serial port", true},
        {"actionApplication_settings", "Application settings", true},
        {"actionOpen_VortOS_terminal", "Open VortOS terminal", false},
        {"actionView_current_Camera_HW_Conf", "View camera settings (HW)", false},
        {"actionView_current_Camera_ACQ_Conf", "View acquisition settings (ACQ)", false},
        {"actionView_Timetable", "View Timetable", false},
        {"actionView_camera_settings_HW_File", "View camera settings (HW) File", false},
        {"actionView_acquisition_settings_ACQ_File", "View acquisition settings (ACQ) File", false},
        {"actionView_Timetable_File", "View Timetable File", false},
        {"actionCheck_connection", "Connect to sensor", false},
        {"actionAutocheck", "Autocheck", false},
        {"actionDownload_Data", "Download sequences", false},
        {"actionStop_asynchronous_job_ASAP", "Stop at the end of current task", false},
        {"actionErase_data_in_Kelvo6", "Delete sequence in Kelvo6", false},
        {"actionSynchronize_Kelvo_Time", "Synchronize Kelvo Time with PC (UTC)", false},
        {"actionRead_Kelvo_Time", "Check Kelvo Time", false},
        {"actionReboot_and_disconnect", "Reboot sensor and disconnect", false},
        {"actionLive_Camera", "Live Camera", false},
        {"actionMerge_sequences", "Merge sequences", false},
        {"actionTIME_Mode", "TIME", false},
        {"actionSUPERVISED_Mode", "SUPERVISED", false},
        {"actionAuto_Mode", "AUTO", false},
        {"actionCTD_Mode", "CTD", false},
        {"actionCTS5_USEA_mode", "NKE : CTS5 float", false},
        {"actionALS_Sea_Explorer", "ALS : SeaExplorer", false},
        {"actionCSCS_SeaGlider", "CSCS : SeaGlider", false},
        {"actiontest", "test", false},
    };
    for (const auto& a : actions) {
        const auto found = w.findChildren<QAction*>(QLatin1String(a.name));
        ASSERT_EQ(found.size(), 1) << a.name;
        EXPECT_EQ(found[0]->text(), QString::fromUtf8(a.label)) << a.name;
        EXPECT_EQ(found[0]->isEnabled(), a.enabled) << a.name;
        EXPECT_FALSE(found[0]->associatedWidgets().isEmpty()) << a.name << " is in no menu";
    }
    // The Omicron, not a Latin O.
    EXPECT_EQ(w.findChild<QAction*>("action_pen_project")->text().at(1).unicode(), 0x039F);
    EXPECT_EQ(w.findChild<QAction*>("actionExit")->shortcut(), QKeySequence(QKeySequence::Quit));

    const QMenu* recent = w.findChild<QMenu*>("menuOpen_Recent");
    ASSERT_NE(recent, nullptr);
    EXPECT_EQ(recent->title(), "Open Recent");
    EXPECT_EQ(recent->actions().size(), 25);
    EXPECT_EQ(w.recentFileActions().size(), 25);
    const QMenu* program = w.findChild<QMenu*>("menuProgram_Kelvo6");
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(program->title(), "Program Kelvo6");
    EXPECT_TRUE(program->actions().contains(w.findChild<QAction*>("actionCTD_Mode")));

    ASSERT_NE(w.stackedArea(), nullptr);
    EXPECT_GE(w.stackedArea()->count(), 1);
    ASSERT_NE(w.traceView(), nullptr);
    EXPECT_TRUE(w.isAncestorOf(w.traceView()));
    EXPECT_TRUE(w.statusBar()->isAncestorOf(w.commStatusLabel()));
}

TEST_F(MainWindowTest, SavingSettingsReopensThePort) {
    QSettings().setValue("hidelogin", "Y");
    AppSettings::setUser("Ann", "ann@example.org");
    MainWindow w;
    w.show();
    EXPECT_EQ(w.commStatusLabel()->styleSheet(), "color:red;");
    const QString port = pty();
    w.findChild<QAction*>("actionApplication_settings")->trigger();
    DlgAppSettings* dlg = w.settingsDialog();
    ASSERT_NE(dlg, nullptr);
    EXPECT_TRUE(dlg->isVisible());
    dlg->edSerialPort->setEditText(port);
    QTest::mouseClick(dlg->btSave, Qt::LeftButton);
    EXPECT_EQ(w.commStatusLabel()->text(), port);
    EXPECT_EQ(w.commStatusLabel()->styleSheet(), "color:darkgreen;");
    EXPECT_TRUE(
        fileHas("Kelvoapp.serial.log", QStringLiteral("\tOpen %1@38400 OK\r\n").arg(port).toLatin1()));
}

TEST_F(MainWindowTest, OnlyKelvo6FoldersOpen) {
    MainWindow w;
    QStringList opened;
    w.setProjectOpener([&](const QString& p) {
        opened << p;
        return true;
    });
    QAction* open = w.findChild<QAction*>("action_pen_project");
    EXPECT_TRUE(open->isEnabled());
    kelvotest::ScriptedDialogs dialogs;
    dialogs.expectFile("/data/Kelvo6_upper");
    dialogs.expect(QMessageBox::Ok);
    open->trigger();
    ASSERT_EQ(dialogs.seen.size(), 1u);
    EXPECT_EQ(dialogs.seen[0].title, "Kelvo6 Only");
    EXPECT_EQ(dialogs.seen[0].text, "Only folder starting by kelvo6_ can be opened");
    EXPECT_TRUE(opened.isEmpty());

    dialogs.expectFile("/data/kelvo6_sn012_2025_test/");
    open->trigger();
    EXPECT_EQ(dialogs.fileRequests.back().caption, "Select Output Folder");
    EXPECT_EQ(opened, QStringList({"/data/kelvo6_sn012_2025_test"}));
    EXPECT_EQ(AppSettings::recentFiles().value(0), "/data/kelvo6_sn012_2025_test");
    // The next dialog starts one level above the open project.
    dialogs.expectFile("");
    open->trigger();
    EXPECT_EQ(dialogs.fileRequests.back().dir, "/data");
}
