#include "mainwindow/MainWindow.h"
#include "app/AppSettings.h"
#include "app/DlgAppSettings.h"
#include "app/DlgLogin.h"
#include "app/WorkFolder.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"
#include "support/ScriptedDialogs.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QSettings>
#include <QTest>

#include <memory>
#include <vector>

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
    }
    // A port that opens: a simulator's pseudo-terminal.
    QString pty() {
        sims.push_back(std::make_unique<Kelvo6Simulator>(SimOptions{}));
        return sims.back()->start() ? sims.back()->devicePath() : QString();
    }
    bool fileHas(const QString& name, const QByteArray& text) {
        return kelvotest::wait_until([&] { return kelvotest::read_file(work + "/" + name).contains(text); });
    }
    QString work;
    std::vector<std::unique_ptr<Kelvo6Simulator>> sims;
};

} // namespace

TEST_F(MainWindowTest, StartupWithoutAPortFailsItInRedAsksForLoginAndSavedSettingsReopenIt) {
    AppSettings::setUser("Ann", "ann@example.org");
    kelvotest::ScriptedDialogs dialogs; // no box expected
    MainWindow w;
    int opened = 0;
    w.setProjectOpener([&](const QString&, bool) { return ++opened > 0; });
    EXPECT_EQ(w.commStatusLabel()->text(), "Comm status");
    w.show();
    EXPECT_EQ(w.commStatusLabel()->text(), "/dev/ttyUSB-1");
    EXPECT_EQ(w.commStatusLabel()->styleSheet(), "color:red;");
    ASSERT_TRUE(kelvotest::wait_until([&] { return w.loginDialog() && w.loginDialog()->isVisible(); }));
    DlgLogin* login = w.loginDialog();
    EXPECT_EQ(login->windowTitle(), "KelvoApp Login");
    EXPECT_EQ(login->btSignIn->text(), "SIGN IN");
    EXPECT_EQ(login->edName->text(), "Ann");
    EXPECT_EQ(login->edEmail->text(), "ann@example.org");
    EXPECT_EQ(opened, 0);
    EXPECT_TRUE(fileHas("Kelvoapp.log", "\tInformation\tMainWindow\tStarted Trace Manager\r\n"));
    EXPECT_TRUE(fileHas("Kelvoapp.log", "\tError\tVortOS    \tinit_comm:Error while opening /dev/ttyUSB-1"));
    EXPECT_TRUE(
        fileHas("Kelvoapp.serial.log", "\tError\tVortOS    \tinit_comm:Error while opening /dev/ttyUSB-1"));
    EXPECT_TRUE(
        fileHas("Kelvoapp.serial.log", "\tInformation\tOpen      \tOpen /dev/ttyUSB-1@38400 FAILED\r\n"));
    // The login is stored as typed, with no check on emptiness or form, and shown in the menu bar.
    login->edName->setText("  Bo  Ek ");
    login->edEmail->setText("");
    QTest::mouseClick(login->btSignIn, Qt::LeftButton);
    EXPECT_FALSE(login->isVisible());
    EXPECT_EQ(QSettings().value("user_name").toString(), "  Bo  Ek ");
    EXPECT_EQ(QSettings().value("user_email").toString(), "");
    EXPECT_EQ(w.loginAction()->text(), "             logged as :   Bo  Ek ");

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
    QList<bool> told; // whether a refusal would be shown in a box
    w.setProjectOpener([&](const QString& p, bool tellUser) {
        opened << p;
        told << tellUser;
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
    EXPECT_EQ(told, QList<bool>({false, true})); // the start-up reopening only logs a refusal
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

    // Each menu's entries in order as "objectName:label", separators left out; the first letter of
    // "Οpen project" is the Greek capital Omicron.
    const std::pair<const char*, QStringList> menus[] = {
        {"menuFile",
         {"action_pen_project:&\xCE\x9Fpen project", "actionCreate_new_project:Create &new project",
          "menuOpen_Recent:Open Recent", "actionApplication_settings:Application settings",
          "actionStop_asynchronous_job_ASAP:Stop at the end of current task", "actionExit:Exit"}},
        {"menuSensor",
         {"actionCheck_connection:Connect to sensor", "actionOpen_VortOS_terminal:Open VortOS terminal",
          "actionView_serial_monitoring:Monitor serial port",
          "actionView_current_Camera_HW_Conf:View camera settings (HW)",
          "actionView_current_Camera_ACQ_Conf:View acquisition settings (ACQ)",
          "actionView_Timetable:View Timetable", "menuProgram_Kelvo6:Program Kelvo6",
          "actionAutocheck:Autocheck", "actionSynchronize_Kelvo_Time:Synchronize Kelvo Time with PC (UTC)",
          "actionRead_Kelvo_Time:Check Kelvo Time", "actionLive_Camera:Live Camera",
          "actionErase_data_in_Kelvo6:Delete sequence in Kelvo6",
          "actionReboot_and_disconnect:Reboot sensor and disconnect"}},
        {"menuProgram_Kelvo6",
         {"actionTIME_Mode:TIME", "actionSUPERVISED_Mode:SUPERVISED", "actionAuto_Mode:AUTO",
          "actionCTD_Mode:CTD", "actionCTS5_USEA_mode:NKE : CTS5 float",
          "actionALS_Sea_Explorer:ALS : SeaExplorer", "actionCSCS_SeaGlider:CSCS : SeaGlider"}},
        {"menuProject",
         {"actionProject_sequences:Manage downloaded sequences", "actionProject_samples:Manage samples",
          "actionProject_settings:Edit project metadata",
          "actionView_camera_settings_HW_File:View camera settings (HW) File",
          "actionView_acquisition_settings_ACQ_File:View acquisition settings (ACQ) File",
          "actionView_Timetable_File:View Timetable File"}},
        {"menuHelp", {"actiontest:test"}},
        {"menuData", {"actionDownload_Data:Download sequences", "actionMerge_sequences:Merge sequences"}},
    };
    for (const auto& [name, expected] : menus) {
        const QMenu* menu = w.findChild<QMenu*>(name);
        ASSERT_NE(menu, nullptr) << name;
        QStringList entries;
        for (const QAction* a : menu->actions()) {
            if (!a->isSeparator()) {
                entries << (a->menu() ? a->menu()->objectName() : a->objectName()) + ":" + a->text();
            }
        }
        EXPECT_EQ(entries, expected) << name;
    }
    // Until their features are wired, only these act.
    QStringList enabled;
    for (const QAction* a : w.findChildren<QAction*>()) {
        if (a->isEnabled() && a->isVisible() && !a->objectName().isEmpty() && !a->menu()) {
            enabled << a->objectName();
        }
    }
    enabled.sort();
    EXPECT_EQ(enabled, QStringList({"actionApplication_settings", "actionExit", "actionLogin",
                                    "actionView_serial_monitoring"}));
    EXPECT_EQ(w.findChild<QAction*>("actionExit")->shortcut(), QKeySequence(QKeySequence::Quit));
    const QMenu* recent = w.findChild<QMenu*>("menuOpen_Recent");
    EXPECT_EQ(recent->actions(), w.recentFileActions());
    EXPECT_EQ(recent->actions().size(), 25);
}

TEST_F(MainWindowTest, OnlyKelvo6FoldersOpen) {
    MainWindow w;
    QStringList opened;
    w.setProjectOpener([&](const QString& p, bool tellUser) {
        EXPECT_TRUE(tellUser) << "a folder the user picked is refused in a box";
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
