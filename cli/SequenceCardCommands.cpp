#include "SequenceCardCommands.h"
#include "CliOutput.h"

#include "app/AppSettings.h"
#include "device/InterfaceCamera.h"
#include "link/SerialLink.h"
#include "processing/SequenceDataProcessor.h"
#include "project/Project.h"
#include "project/modelPrjSeq.h"
#include "tools/DownloadTasks.h"
#include "tools/SdSequenceList.h"
#include "tools/SequenceDownload.h"
#include "trace/FmtQt.h"

#include <QFileInfo>

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <unistd.h>

namespace {

const char* const kNetworkError = "The application encountered a network issue during data retrieving.\n"
                                  " - Check your Ethernet connection (cables)\n"
                                  " - Check the firewall settings to provide permissions to Kelvoapp";

// Cursor and colour escapes only for a person at a terminal who did not turn them off.
struct CardOptions {
    QString project;
    QStringList sequences;
    bool missing = false;
    bool treeUpdate = false;
    QString port;
    QString localIp;
    int udpPort = 0;
    int timeoutMs = 0;
    bool help = false;
};

// Reads the options shared by the card commands; `allowed` lists the flags this command takes.
bool parse(const QStringList& args, const QStringList& allowed, CardOptions& o, QString& error) {
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            o.help = true;
            return true;
        }
        if (!a.startsWith(QLatin1String("--"))) {
            if (o.project.isEmpty()) {
                o.project = a;
            } else {
                o.sequences << a;
            }
            continue;
        }
        if (!allowed.contains(a)) {
            error = QStringLiteral("unknown option %1").arg(a);
            return false;
        }
        if (a == QLatin1String("--missing")) {
            o.missing = true;
            continue;
        }
        if (a == QLatin1String("--tree-update")) {
            o.treeUpdate = true;
            continue;
        }
        if (i + 1 >= args.size()) {
            error = QStringLiteral("%1 needs a value").arg(a);
            return false;
        }
        const QString value = args[++i];
        bool ok = true;
        if (a == QLatin1String("--port")) {
            o.port = value;
        } else if (a == QLatin1String("--localip")) {
            in_addr parsed{};
            if (value != QLatin1String("auto") &&
                ::inet_pton(AF_INET, value.toLatin1().constData(), &parsed) != 1) {
                error = QStringLiteral(
                            "--localip needs \"auto\" or an IPv4 address such as 192.168.0.10, not \"%1\"")
                            .arg(value);
                return false;
            }
            o.localIp = value;
        } else if (a == QLatin1String("--udpport")) {
            o.udpPort = value.toInt(&ok);
            if (!ok || o.udpPort < 1 || o.udpPort > 65535) {
                error =
                    QStringLiteral("--udpport needs a port number from 1 to 65535, not \"%1\"").arg(value);
                return false;
            }
        } else if (a == QLatin1String("--eth-timeout")) {
            o.timeoutMs = value.toInt(&ok);
            if (!ok || o.timeoutMs < 1 || o.timeoutMs > 60000) {
                error =
                    QStringLiteral("--eth-timeout needs milliseconds from 1 to 60000, not \"%1\"").arg(value);
                return false;
            }
        }
    }
    if (o.project.isEmpty()) {
        error = QStringLiteral("a project folder is needed");
        return false;
    }
    return true;
}

// The project, the serial port and the Ethernet settings of this run.
class CardSession {
public:
    bool open(const CardOptions& o, const char* command) {
        if (!m_project.Load(o.project)) {
            err(fmt::format("kelvo sequence {}: {}\n", command, m_project.LastError()));
            return false;
        }
        const QString port = o.port.isEmpty() ? AppSettings::serialPort() : o.port;
        std::string linkError;
        set_comm_error_hook([&linkError](const std::string& text) { linkError = text; });
        const bool opened = init_comm(port, static_cast<quint32>(AppSettings::serialSpeed()));
        set_comm_error_hook({});
        if (!opened) {
            err(fmt::format("kelvo sequence {}: serial port {} not opened: {}\n", command, port, linkError));
            return false;
        }
        if (!o.localIp.isEmpty() || o.udpPort > 0) {
            m_camera.setEthernetOverride(o.localIp.isEmpty() ? AppSettings::localIp() : o.localIp,
                                         o.udpPort > 0 ? o.udpPort : AppSettings::udpPort());
        }
        if (o.timeoutMs > 0) {
            m_camera.setEthernetTimeoutMs(o.timeoutMs);
        }
        return true;
    }
    ~CardSession() { close_comm(); }

    bool list(bool treeUpdate, const char* command) {
        QString message;
        if (!DownloadTasks::listCard(m_camera, treeUpdate, &message)) {
            err(fmt::format("kelvo sequence {}: Network Error: {}\n{}\n", command, message, kNetworkError));
            return false;
        }
        return true;
    }

    QString status(const QString& name, const SdSequenceEntry& entry) const {
        return sd_sequence_status(name, entry, m_project.Path(), QString(), {});
    }

    Project& project() { return m_project; }
    InterfaceCamera& camera() { return m_camera; }

private:
    Project m_project;
    InterfaceCamera m_camera;
};

const char* const kCommonHelp =
    "  --port DEVICE     serial port (default: the serialport setting)\n"
    "  --localip ADDR    host IPv4 address the instrument sends to, or \"auto\"\n"
    "                    (default: the localip setting)\n"
    "  --udpport N       host UDP port (default: the udpport setting)\n"
    "  --eth-timeout MS  UDP silence that ends a transfer attempt (default 2000)\n"
    "  --tree-update     have the instrument rebuild its file list first\n";

} // namespace

int sequence_card(const QStringList& args) {
    static const char* const usage =
        "Usage: kelvo sequence card PROJECT [--tree-update] [--port P] [--localip ADDR] [--udpport N]\n";
    CardOptions o;
    QString error;
    if (!parse(args, {"--tree-update", "--port", "--localip", "--udpport", "--eth-timeout"}, o, error)) {
        err(fmt::format("kelvo sequence card: {}\n{}", error, usage));
        return 2;
    }
    if (o.help) {
        out(usage);
        out("Lists the sequences of the instrument's SD card as the download page does: name, vignettes, raw "
            "frames and status for PROJECT, tab-separated, then the number of sequences.\n");
        out(kCommonHelp);
        return 0;
    }
    if (!o.sequences.isEmpty()) {
        err(fmt::format("kelvo sequence card: unexpected argument {}\n{}", o.sequences.first(), usage));
        return 2;
    }
    CardSession session;
    if (!session.open(o, "card") || !session.list(o.treeUpdate, "card")) {
        return 1;
    }
    const SdSequenceList::Entries entries = SdSequenceList::instance().entries();
    std::string text;
    for (const auto& [key, entry] : entries) {
        const QString name = QString::fromUtf8(key);
        text += fmt::format("{}\t{}\t{}\t{}\n", name, entry.vigCount, entry.rawCount,
                            session.status(name, entry));
    }
    text += fmt::format("sequences: {}\n", entries.size());
    out(text);
    return 0;
}

int sequence_download(const QStringList& args) {
    static const char* const usage =
        "Usage: kelvo sequence download PROJECT (--missing | SEQ...) [--tree-update] "
        "[--port P] [--localip ADDR] [--udpport N]\n";
    CardOptions o;
    QString error;
    if (!parse(args, {"--missing", "--tree-update", "--port", "--localip", "--udpport", "--eth-timeout"}, o,
               error)) {
        err(fmt::format("kelvo sequence download: {}\n{}", error, usage));
        return 2;
    }
    if (o.help) {
        out(usage);
        out("Lists the card, then downloads the sequences named (or, with --missing, every one whose status "
            "is "
            "not OK) into PROJECT/raw, printing the progress and the final status of each. Exit status 0 "
            "when "
            "every download ended complete.\n");
        out(kCommonHelp);
        return 0;
    }
    if (o.missing == !o.sequences.isEmpty()) {
        err(fmt::format("kelvo sequence download: give either --missing or sequence names\n{}", usage));
        return 2;
    }
    CardSession session;
    if (!session.open(o, "download") || !session.list(o.treeUpdate, "download")) {
        return 1;
    }
    const SdSequenceList::Entries entries = SdSequenceList::instance().entries();
    QStringList names = o.sequences;
    if (o.missing) {
        for (const auto& [key, entry] : entries) {
            const QString name = QString::fromUtf8(key);
            if (session.status(name, entry) != QLatin1String("OK")) {
                names << name;
            }
        }
    }
    const bool redraw = escapes_allowed();
    bool allComplete = true;
    for (const QString& name : names) {
        const auto found = entries.find(name.toUtf8());
        const SdSequenceEntry entry = found == entries.end() ? SdSequenceEntry() : found->second;
        SequenceDownload download(session.camera(), session.project().Path());
        DownloadProgress last;
        const auto line = [](const DownloadProgress& p) {
            const double seconds = static_cast<double>(std::max<std::int64_t>(p.elapsedMs, 1)) / 1000.0;
            return fmt::format("{}: {}/{} files, {:.1f} MB, {:.1f} MB/s", p.sequence, p.filesDone,
                               p.filesTotal, static_cast<double>(p.bytes) / 1e6,
                               static_cast<double>(p.bytes) / 1e6 / seconds);
        };
        download.setProgressCallback([&](const DownloadProgress& p) {
            last = p;
            if (redraw) {
                out("\r\x1b[2K" + line(p));
            }
        });
        const DownloadResult result = download.run(name, entry);
        if (redraw) {
            out("\r\x1b[2K");
        }
        out(line(last) + "\n");
        if (!result.complete) {
            allComplete = false;
            err(fmt::format("{}\n", result.error));
        }
        out(fmt::format("{}\t{}\n", name, session.status(name, entry)));
    }
    return allComplete ? 0 : 1;
}

int sequence_zip(const QStringList& args) {
    static const char* const usage = "Usage: kelvo sequence zip PROJECT (--missing | SEQ...)\n";
    CardOptions o;
    QString error;
    if (!parse(args, {"--missing"}, o, error)) {
        err(fmt::format("kelvo sequence zip: {}\n{}", error, usage));
        return 2;
    }
    if (o.help) {
        out(usage);
        out("Gathers the loose vignettes and raw frames of each sequence named (or, with --missing, of every "
            "sequence without images.zip) into its images.zip and prints each status (ok on success).\n");
        return 0;
    }
    if (o.missing == !o.sequences.isEmpty()) {
        err(fmt::format("kelvo sequence zip: give either --missing or sequence names\n{}", usage));
        return 2;
    }
    Project project;
    if (!project.Load(o.project)) {
        err(fmt::format("kelvo sequence zip: {}\n", project.LastError()));
        return 1;
    }
    QStringList names = o.sequences;
    if (o.missing) {
        modelPrjSeq model(&project);
        model.Reload();
        names = model.SequencesWithoutImageZip();
    }
    SequenceDataProcessor processor(project.Path());
    bool allOk = true;
    for (const QString& name : names) {
        const QString status = processor.ZipVignettes(name);
        allOk = allOk && status.isEmpty();
        out(fmt::format("{}\t{}\n", name, status.isEmpty() ? QStringLiteral("ok") : status));
    }
    return allOk ? 0 : 1;
}
