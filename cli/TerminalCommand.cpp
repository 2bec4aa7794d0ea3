// `kelvo terminal`: the VortOS shell on the command line, for scripts (-c) and for working with
// the instrument from a text console.
#include "CliCommand.h"
#include "CliOutput.h"

#include "app/AppSettings.h"
#include "app/WorkFolder.h"
#include "link/SerialLink.h"
#include "terminal/AnsiText.h"
#include "terminal/TermPrint.h"
#include "terminal/VortOShell.h"
#include "trace/ZelTraceMgr.h"
#include "trace/ZelTraceMgrFileMulti.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <editline/readline.h>

namespace {

const char* const kUsage =
    "Usage: kelvo terminal [--port DEVICE] [--baud N] [--workdir DIR] [--localip ADDR] "
    "[--udpport N] [-c LINE]...\n";

// Same rotation as the application's own logs.
constexpr int kLogFileCount = 10;
constexpr int kLogFileSizeKiB = 10000;

void print_usage_help() {
    std::fputs(kUsage, stdout);
    std::fputs("\n"
               "Runs the VortOS terminal shell: the same commands and raw \"$...;\" messages as the\n"
               "terminal window, with the same output.\n"
               "\n"
               "  --port DEVICE  serial port for this run (default: the serialport setting)\n"
               "  --baud N       baud rate for this run (default: the serialspeed setting)\n"
               "  --workdir DIR  working folder (configurator/, filemanager/, log files)\n"
               "  --localip ADDR host IPv4 address on which the instrument sends files, or \"auto\"\n"
               "                 (default: the localip setting)\n"
               "  --udpport N    host UDP port on which the instrument sends files, 1 to 65535\n"
               "                 (default: the udpport setting)\n"
               "  -c LINE        run LINE as if typed; may be repeated, lines run in order\n"
               "\n"
               "With -c, the exit status is 0 when every line succeeded and 1 otherwise (a line that\n"
               "needs the instrument fails when the serial port could not be opened). Without -c,\n"
               "lines are read from standard input (with line editing and history on a terminal)\n"
               "until \"exit\" or the end of input.\n",
               stdout);
}

struct Options {
    QString port;
    QString workdir;
    QString localIp;
    int baud = 0;
    int udpPort = 0;
    QStringList lines;
    bool help = false;
};

// Accepts "--opt VALUE" and "--opt=VALUE". Returns false with `error` on a bad command line.
bool parse_options(const QStringList& args, Options& o, QString& error) {
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            o.help = true;
            continue;
        }
        QString name = a;
        QString value;
        bool inlineValue = false;
        const int eq = a.indexOf(QLatin1Char('='));
        if (a.startsWith(QLatin1String("--")) && eq > 0) {
            name = a.left(eq);
            value = a.mid(eq + 1);
            inlineValue = true;
        }
        if (name != QLatin1String("--port") && name != QLatin1String("--baud") &&
            name != QLatin1String("--workdir") && name != QLatin1String("--localip") &&
            name != QLatin1String("--udpport") && name != QLatin1String("-c")) {
            error = QStringLiteral("unknown argument \"%1\"").arg(a);
            return false;
        }
        if (!inlineValue) {
            if (i + 1 >= args.size()) {
                error = QStringLiteral("%1 needs a value").arg(name);
                return false;
            }
            value = args[++i];
        }
        if (name == QLatin1String("-c")) {
            o.lines << value;
        } else if (value.isEmpty()) {
            error = QStringLiteral("%1 needs a value").arg(name);
            return false;
        } else if (name == QLatin1String("--port")) {
            o.port = value;
        } else if (name == QLatin1String("--workdir")) {
            o.workdir = value;
        } else if (name == QLatin1String("--localip")) {
            if (!AppSettings::isLocalIpText(value)) {
                error = QStringLiteral(
                            "--localip needs \"auto\" or an IPv4 address such as 192.168.0.10, not \"%1\"")
                            .arg(value);
                return false;
            }
            o.localIp = value;
        } else if (name == QLatin1String("--udpport")) {
            bool ok = false;
            o.udpPort = value.toInt(&ok);
            if (!ok || o.udpPort < 1 || o.udpPort > 65535 || value.startsWith(QLatin1Char('+'))) {
                error =
                    QStringLiteral("--udpport needs a port number from 1 to 65535, not \"%1\"").arg(value);
                return false;
            }
        } else {
            bool ok = false;
            o.baud = value.toInt(&ok);
            if (!ok || o.baud <= 0 || o.baud > AppSettings::kMaxSerialSpeed) {
                error = QStringLiteral("--baud needs a positive number up to %1, not \"%2\"")
                            .arg(AppSettings::kMaxSerialSpeed)
                            .arg(value);
                return false;
            }
        }
    }
    return true;
}

// Cursor and colour escapes only for a person at a terminal who did not turn them off.
// The escapes of a text played onto a plain line, for output that is not a terminal: colours and
// cursor visibility are dropped, a column move pads with spaces, a carriage return or "\e[2K"
// starts the line again, a backspace takes back one character. Tabs stay tabs.
class PlainLine {
public:
    // Plays `text`; returns the lines it ended, without their line feeds.
    std::vector<std::string> play(const std::string& text) {
        std::vector<std::string> ended;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char c = text[i];
            if (c == '\n') {
                ended.push_back(m_line);
                m_line.clear();
            } else if (c == '\r') {
                m_line.clear();
            } else if (c == '\b') {
                if (!m_line.empty()) {
                    m_line.pop_back();
                }
            } else if (c == '\x1b' && i + 1 < text.size() && text[i + 1] == '[') {
                std::size_t j = i + 2;
                while (j < text.size() && (text[j] < 0x40 || text[j] > 0x7e)) {
                    ++j;
                }
                if (j >= text.size()) {
                    break;
                }
                const std::string params = text.substr(i + 2, j - i - 2);
                if (!params.empty() && params[0] != '?' && text[j] == 'G') {
                    const int column = std::clamp(std::atoi(params.c_str()), 1, AnsiText::kMaxColumn) - 1;
                    m_line.append(static_cast<std::size_t>(std::max(0, column - width())), ' ');
                } else if (params == "2" && text[j] == 'K') {
                    m_line.clear();
                }
                i = j;
            } else if (c != '\x1b') {
                m_line += c;
            }
        }
        return ended;
    }
    // The line not yet ended, handed over and forgotten.
    std::string take() { return std::exchange(m_line, std::string()); }

private:
    // Columns the line takes on a terminal, tab stops every eight columns.
    int width() const {
        int column = 0;
        for (char c : m_line) {
            column = c == '\t' ? (column / 8 + 1) * 8 : column + 1;
        }
        return column;
    }
    std::string m_line;
};

// Each print is one line on standard output. The line feed that ends a print is held back until
// the next one, so that a percentage beginning with backspaces redraws the line it belongs to and
// a text that only hides or shows the cursor takes no line.
//
// Into a pipe, a file or with NO_COLOR set, the escapes are played rather than written, and a
// line redrawn in place is written once, as it stands when it ends.
class StdoutLines {
public:
    StdoutLines()
        : m_escapes(escapes_allowed()) {}

    void print(const std::string& text) {
        if (AnsiText::isCursorControlOnly(text)) {
            if (m_escapes) {
                write(text);
            }
            return;
        }
        if (!AnsiText::continuesLine(text)) {
            endLine();
        }
        if (m_escapes) {
            write(text);
        } else {
            for (const std::string& line : m_plain.play(text)) {
                write(line + '\n');
            }
        }
        m_open = true;
    }
    // Ends the line still open, before a prompt or at exit.
    void endLine() {
        if (!m_open) {
            return;
        }
        if (m_escapes) {
            write("\n");
        } else {
            write(m_plain.take() + '\n');
        }
        m_open = false;
    }

private:
    static void write(const std::string& text) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
    }
    bool m_escapes;
    bool m_open = false;
    PlainLine m_plain;
};

// One line from standard input; false at the end of input.
bool read_input_line(bool interactive, std::string& line) {
    if (interactive) {
        char* raw = readline("VortOS> ");
        if (raw == nullptr) {
            return false;
        }
        line = raw;
        std::free(raw);
        if (!line.empty()) {
            add_history(line.c_str());
        }
        return true;
    }
    return static_cast<bool>(std::getline(std::cin, line));
}

bool is_exit(const std::string& line) {
    std::string name;
    ShellArgs args;
    return parse_command_line(line, name, args) == CommandLineCommand && name == "exit" && args.empty();
}

int run_terminal(const QStringList& args) {
    Options o;
    QString error;
    if (!parse_options(args, o, error)) {
        std::fprintf(stderr, "kelvo terminal: %s\n%s", error.toLocal8Bit().constData(), kUsage);
        return 2;
    }
    if (o.help) {
        print_usage_help();
        return 0;
    }
    if (!o.workdir.isEmpty()) {
        WorkFolder::setPath(o.workdir);
    }
    ZelTraceMgrFileMulti appLog(GetTraceMgr()->GetDispatcher(),
                                WorkFolder::filePath(QStringLiteral("Kelvoapp.log")), kLogFileCount,
                                kLogFileSizeKiB);
    ZelTraceMgrFileMulti serialLog(GetSerialTraceMgr()->GetDispatcher(),
                                   WorkFolder::filePath(QStringLiteral("Kelvoapp.serial.log")), kLogFileCount,
                                   kLogFileSizeKiB);

    const QString port = o.port.isEmpty() ? AppSettings::serialPort() : o.port;
    const int baud = o.baud > 0 ? o.baud : AppSettings::serialSpeed();
    std::string linkError;
    set_comm_error_hook([&linkError](const std::string& text) {
        linkError = text;
        GetSerialTraceMgr()->post("error", ZelLevelError, text);
    });
    set_comm_send_hook(
        [](const std::string& text) { GetSerialTraceMgr()->post("send", ZelLevelDebug, text); });
    set_comm_receive_hook(
        [](const std::string& text) { GetSerialTraceMgr()->post("recv", ZelLevelDebug, text); });
    if (!init_comm(port, static_cast<quint32>(baud))) {
        // Commands that need no instrument (help, templates) still work.
        std::fprintf(stderr, "kelvo terminal: serial port %s not opened: %s\n",
                     port.toLocal8Bit().constData(), linkError.c_str());
    }
    set_comm_error_hook(
        [](const std::string& text) { GetSerialTraceMgr()->post("error", ZelLevelError, text); });

    const bool interactive = o.lines.isEmpty() && isatty(STDIN_FILENO);
    VortOShell shell;
    shell.context().setEthernetOverride(o.localIp, o.udpPort);
    shell.context().setClearView([] {
        if (escapes_allowed()) {
            std::fputs("\x1b[H\x1b[2J", stdout);
            std::fflush(stdout);
        }
    });
    bool allOk = true;
    {
        StdoutLines stdoutLines;
        ScopedTermPrintSink sink([&stdoutLines](const std::string& text) { stdoutLines.print(text); });
        if (!o.lines.isEmpty()) {
            for (const QString& line : o.lines) {
                allOk = shell.runLine(line.toLatin1().toStdString(), false) && allOk;
                stdoutLines.endLine();
            }
        } else {
            std::string line;
            while (read_input_line(interactive, line)) {
                if (is_exit(line)) {
                    break;
                }
                allOk = shell.runLine(line, interactive) && allOk;
                stdoutLines.endLine();
            }
        }
    }
    set_comm_send_hook({});
    set_comm_receive_hook({});
    set_comm_error_hook({});
    close_comm();
    return allOk ? 0 : 1;
}

} // namespace

static CliRegistrar reg({"terminal",
                         "terminal [--port DEVICE] [--baud N] [--workdir DIR] [--localip ADDR] [--udpport N] "
                         "[-c LINE]...",
                         "run VortOS terminal commands against the instrument", &run_terminal});
