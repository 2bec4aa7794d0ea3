// The terminal window on the offscreen platform.
#include "terminal/DlgSerialTerminal.h"
#include "app/AppSettings.h"
#include "app/WorkFolder.h"
#include "link/InstrumentProtocol.h"
#include "link/ScriptedSerialPort.h"
#include "link/SerialLink.h"
#include "sim/Kelvo6Simulator.h"
#include "support/TestSupport.h"
#include "terminal/TermPrint.h"
#include "terminal/TerminalView.h"
#include "terminal/VortOShell.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTextBlock>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

namespace {

QStringList lines_of(const TerminalView& view) {
    QStringList lines;
    for (QTextBlock b = view.document()->begin(); b.isValid(); b = b.next()) {
        lines << b.text();
    }
    return lines;
}

class TerminalGuiTest : public ::testing::Test {
protected:
    void SetUp() override {
        QSettings().remove(QLatin1String(AppSettings::kTerminalHistory));
        WorkFolder::setPath(kelvotest::make_temp_dir(QStringLiteral("gui")));
        dlg = std::make_unique<DlgSerialTerminal>();
        QObject::connect(dlg.get(), &DlgSerialTerminal::commandFinished, [this](bool ok) {
            ++finished;
            lastOk = ok;
        });
    }
    void TearDown() override {
        dlg.reset();
        close_comm();
        set_serial_port_factory({});
        if (sim) {
            sim->stop();
        }
        WorkFolder::setPath(QString());
        set_instrument_variant(QString());
    }

    template <typename T> T* child(const char* name) const {
        T* w = dlg->findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(w, nullptr) << name;
        return w;
    }

    // Types a line and presses Send, then waits for the command to end.
    bool send(const QString& line) {
        const int before = finished;
        child<QComboBox>("edCommand")->setEditText(line);
        child<QPushButton>("BtSend")->click();
        EXPECT_TRUE(kelvotest::wait_until([&] { return finished > before; }, 30000)) << line.toStdString();
        QCoreApplication::processEvents(); // queued output still on its way
        return lastOk;
    }

    QStringList viewLines() const { return lines_of(*dlg->view()); }

    // Types `line` in the command field and presses Enter where the key goes: the completer's
    // list when it is open, the field otherwise.
    void typeAndEnter(const QString& line) {
        QLineEdit* edit = child<QComboBox>("edCommand")->lineEdit();
        QTest::keyClicks(edit, line);
        QWidget* popup = QApplication::activePopupWidget();
        QTest::keyClick(popup != nullptr ? popup : edit, Qt::Key_Return);
    }

    std::unique_ptr<DlgSerialTerminal> dlg;
    std::unique_ptr<Kelvo6Simulator> sim;
    int finished = 0;
    bool lastOk = false;
};

TEST_F(TerminalGuiTest, WindowAndItsWidgets) {
    EXPECT_EQ(dlg->windowTitle(), QStringLiteral("VortOS Terminal"));
    const std::pair<const char*, const char*> buttons[] = {{"BtSend", "Send"},
                                                           {"btClose", "Close"},
                                                           {"btFileUpload", "File UpLoad"},
                                                           {"btReadSerial", "Read Serial Port"}};
    for (const auto& [name, text] : buttons) {
        QPushButton* b = child<QPushButton>(name);
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(b->text(), QString::fromLatin1(text));
    }
    EXPECT_FALSE(child<QPushButton>("btFileUpload")->isEnabled());
    QComboBox* box = child<QComboBox>("edCommand");
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->isEditable());
    QStringList items;
    for (int i = 0; i < box->count(); ++i) {
        items << box->itemText(i);
    }
    EXPECT_EQ(items, (QStringList{QStringLiteral("acqconf load 0"), QStringLiteral("hwconf load"),
                                  QStringLiteral("$USER;"), QStringLiteral("$start:ACQ_CTD;"),
                                  QStringLiteral("$stop;")}));
    EXPECT_NE(dlg->findChild<TerminalView*>(QStringLiteral("Term")), nullptr);
}

TEST_F(TerminalGuiTest, HelpShowsAsColouredColumns) {
    dlg->show();
    EXPECT_TRUE(send(QStringLiteral("help")));
    const QStringList lines = viewLines();
    ASSERT_GE(lines.size(), 20);
    EXPECT_EQ(lines[0], QStringLiteral("[ME] help"));
    EXPECT_EQ(lines[1], QString());
    EXPECT_EQ(lines[2], QStringLiteral("[HELP]:  Command        Description"));
    EXPECT_EQ(lines[4], QStringLiteral("         acqconf        Manage VORTAN acquisition configurations"));
    EXPECT_EQ(lines[18],
              QStringLiteral("         timetable      Manage VORTAN time programming configuration"));

    // First row bright green, second bright white, the padding in the default colour.
    auto colourAt = [&](int line, int column) {
        const QTextBlock block = dlg->view()->document()->findBlockByNumber(line);
        QTextCursor c(block);
        c.setPosition(block.position() + column + 1);
        return c.charFormat().foreground().color();
    };
    EXPECT_EQ(colourAt(4, 9), TerminalView::colourOf(92));
    EXPECT_EQ(colourAt(5, 9), TerminalView::colourOf(97));
    EXPECT_EQ(colourAt(6, 30), TerminalView::colourOf(92));
    EXPECT_EQ(colourAt(2, 0), TerminalView::colourOf(0));
    EXPECT_NE(TerminalView::colourOf(92), TerminalView::colourOf(97));

    EXPECT_TRUE(send(QStringLiteral("clear")));
    EXPECT_EQ(viewLines(), QStringList{QString()});
}

TEST_F(TerminalGuiTest, CommandRunsOffTheWindowThreadOneAtATime) {
    sim = std::make_unique<Kelvo6Simulator>();
    ASSERT_TRUE(sim->start());
    ASSERT_TRUE(init_comm(sim->devicePath(), 38400));
    sim->setSilentCommands(1000, QStringLiteral("$HWCONFread"));
    dlg->shell().context().setAnswerReads(15);
    std::atomic<QThread*> clearThread{nullptr};
    dlg->shell().context().setClearView([&] { clearThread = QThread::currentThread(); });
    dlg->show();

    EXPECT_TRUE(send(QStringLiteral("clear")));
    EXPECT_NE(clearThread.load(), nullptr);
    EXPECT_NE(clearThread.load(), QThread::currentThread());

    const int before = finished;
    child<QComboBox>("edCommand")->setEditText(QStringLiteral("hwconf load"));
    child<QPushButton>("BtSend")->click();
    // The click returned while the instrument is still silent: the command runs elsewhere.
    EXPECT_TRUE(dlg->isBusy());
    EXPECT_FALSE(child<QPushButton>("btReadSerial")->isEnabled());
    EXPECT_TRUE(kelvotest::wait_until([&] { return child<QLabel>("lblRunning")->isVisible(); }, 2000));
    EXPECT_EQ(child<QLabel>("lblRunning")->text(), QStringLiteral("Running \"hwconf load\"..."));
    // Lines typed meanwhile wait in a visible queue, each on its own: the field empties at once.
    typeAndEnter(QStringLiteral("frobnicate"));
    typeAndEnter(QStringLiteral("frobnicate"));
    EXPECT_EQ(child<QComboBox>("edCommand")->currentText(), QString());
    EXPECT_TRUE(child<QLabel>("lblQueued")->isVisible());
    EXPECT_EQ(child<QLabel>("lblQueued")->text(),
              QStringLiteral("Waiting to run: \"frobnicate\", \"frobnicate\""));
    // The window keeps handling events meanwhile.
    EXPECT_TRUE(kelvotest::wait_until([&] { return finished == before + 3; }, 30000));
    EXPECT_FALSE(lastOk);
    EXPECT_FALSE(dlg->isBusy());
    EXPECT_TRUE(child<QPushButton>("btReadSerial")->isEnabled());
    EXPECT_FALSE(child<QLabel>("lblRunning")->isVisible());
    EXPECT_FALSE(child<QLabel>("lblQueued")->isVisible());
    QCoreApplication::processEvents();
    EXPECT_EQ(sim->receivedLines().count(QStringLiteral("$HWCONFread;")), 1);
    const QStringList lines = viewLines();
    const int error = static_cast<int>(lines.indexOf(QStringLiteral(
        "        Error when processing VORTAN response. Maybe it does not have a valid hardware "
        "configuration. Abort !")));
    ASSERT_GE(error, 0);
    EXPECT_EQ(lines.mid(error).filter(QStringLiteral("frobnicate")),
              (QStringList{QStringLiteral("[ME] frobnicate"),
                           QStringLiteral("[VortOShell]: Unknown command \"frobnicate\" !"),
                           QStringLiteral("[ME] frobnicate"),
                           QStringLiteral("[VortOShell]: Unknown command \"frobnicate\" !")}));
}

TEST_F(TerminalGuiTest, EnterRunsWhatWasTypedAndEveryLineRunEntersTheHistory) {
    // The port of the settings that cannot be opened: refused with the system's reason, and no
    // exchange is tried (the link reports nothing more).
    int linkErrors = 0;
    set_comm_error_hook([&](const std::string&) { ++linkErrors; });
    ASSERT_FALSE(init_comm(QStringLiteral("/dev/kelvo-test-none"), 38400));
    linkErrors = 0;
    dlg->show();
    QComboBox* box = child<QComboBox>("edCommand");
    EXPECT_EQ(dlg->focusWidget(), box); // its field takes the keys

    for (const char* line : {"hwconf", "$stop;", "hwconf"}) {
        const int before = finished;
        typeAndEnter(QString::fromLatin1(line));
        ASSERT_TRUE(kelvotest::wait_until([&] { return finished > before; }, 10000)) << line;
        EXPECT_EQ(box->currentText(), QString()) << line;
    }
    // A line of the completer's list picked with the arrow keys is run as picked.
    {
        const int before = finished;
        QTest::keyClicks(box->lineEdit(), QStringLiteral("hwconf l"));
        QWidget* popup = QApplication::activePopupWidget();
        ASSERT_NE(popup, nullptr);
        QTest::keyClick(popup, Qt::Key_Down);
        QTest::keyClick(popup, Qt::Key_Return);
        ASSERT_TRUE(kelvotest::wait_until([&] { return finished > before; }, 10000));
        EXPECT_EQ(box->currentText(), QString());
    }
    QCoreApplication::processEvents();
    set_comm_error_hook({});
    const QStringList lines = viewLines();
    // "hwconf" is run as typed, although the list offers "hwconf load".
    EXPECT_EQ(lines.filter(QStringLiteral("[ME]")),
              (QStringList{QStringLiteral("[ME] hwconf"), QStringLiteral("[ME] $stop;"),
                           QStringLiteral("[ME] hwconf"), QStringLiteral("[ME] hwconf load")}));
    EXPECT_TRUE(
        lines.contains(QStringLiteral("[VortOS]: Serial port /dev/kelvo-test-none is not open (No such file "
                                      "or directory), \"$stop;\" needs the instrument !")));
    EXPECT_EQ(linkErrors, 0);

    // Newest first, no duplicates, before the quick commands it does not repeat; kept for the
    // next window.
    const QStringList expected{QStringLiteral("hwconf load"), QStringLiteral("hwconf"),
                               QStringLiteral("$stop;"),      QStringLiteral("acqconf load 0"),
                               QStringLiteral("$USER;"),      QStringLiteral("$start:ACQ_CTD;")};
    const auto items = [](const QComboBox* b) {
        QStringList all;
        for (int i = 0; i < b->count(); ++i) {
            all << b->itemText(i);
        }
        return all;
    };
    EXPECT_EQ(items(box), expected);
    dlg.reset();
    dlg = std::make_unique<DlgSerialTerminal>();
    EXPECT_EQ(items(child<QComboBox>("edCommand")), expected);
}

TEST_F(TerminalGuiTest, QuickCommandSentRawAndSerialReadDrains) {
    auto script = std::make_shared<PortScript>();
    script->onLine = [](const std::string& line, PortScript& s) {
        if (line == "$USER;") {
            s.answer("$starterr:30;\n");
        }
    };
    set_serial_port_factory([script] { return std::make_unique<ScriptedSerialPort>(script); });
    ASSERT_TRUE(init_comm(QStringLiteral("scripted"), 38400));
    dlg->show();
    child<QComboBox>("edCommand")->setCurrentIndex(2); // "$USER;"
    EXPECT_TRUE(send(child<QComboBox>("edCommand")->currentText()));
    EXPECT_EQ(script->lines, std::vector<std::string>{"$USER;"});
    EXPECT_EQ(viewLines(),
              (QStringList{QStringLiteral("[ME] $USER;"), QStringLiteral("[Raw]$starterr:30;")}));

    script->answer("[PU]:first\n");
    script->answer("[PU]:second\n");
    const int before = finished;
    child<QPushButton>("btReadSerial")->click();
    ASSERT_TRUE(kelvotest::wait_until([&] { return finished > before; }, 10000));
    QCoreApplication::processEvents();
    EXPECT_EQ(viewLines().mid(2),
              (QStringList{QStringLiteral("[Raw][PU]:first"), QStringLiteral("[Raw][PU]:second")}));
}

TEST_F(TerminalGuiTest, PrintsGoToTheViewOnlyWhileShown) {
    term_print("before");
    dlg->show();
    term_print("shown");
    child<QPushButton>("btClose")->click();
    EXPECT_FALSE(dlg->isVisible());
    term_print("after");
    QCoreApplication::processEvents(); // a print that went to the view would be delivered by now
    EXPECT_EQ(viewLines(), QStringList{QStringLiteral("shown")});
    dlg->show(); // reopened: the same text
    EXPECT_EQ(viewLines(), QStringList{QStringLiteral("shown")});
}

TEST(TerminalViewProgress, DownloadPercentageStaysOnItsLine) {
    TerminalView view;
    for (const char* text : {"Done! IP = 127.0.0.2, Port = 0XC000, MAC = FF.FF.FF.FF.FF.FF", "\x1b[?25l",
                             "\r\x1b[2K\tDownloading file a.txt ", "( 3000 bytes ) :    ", "\b\b\b33%",
                             "\b\b\b66%", "\b\b\b100%", "\x1b[?25h", "\n[GETFILE]: EXIT !"}) {
        view.appendTerminalText(QByteArray(text));
    }
    EXPECT_EQ(lines_of(view),
              (QStringList{QStringLiteral("Done! IP = 127.0.0.2, Port = 0XC000, MAC = FF.FF.FF.FF.FF.FF"),
                           QStringLiteral("        Downloading file a.txt "),
                           QStringLiteral("( 3000 bytes ) : 100%"), QString(),
                           QStringLiteral("[GETFILE]: EXIT !")}));
    // On an empty view an update has no line to redraw and starts one.
    view.clearTerminal();
    view.appendTerminalText("\b\b\b42%");
    EXPECT_EQ(view.document()->toPlainText(), QStringLiteral("42%"));
}

} // namespace
