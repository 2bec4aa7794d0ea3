#include "terminal/StorageCommands.h"

#include "link/CardPath.h"
#include "link/FileDump.h"
#include "link/SerialLink.h"
#include "terminal/ShellCommands.h"
#include "terminal/TermPrint.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>

namespace {

constexpr const char* kUnknownMac = "FF.FF.FF.FF.FF.FF";
constexpr const char* kMakefsPrefix = "[PU]:$makefs:";
// The name the transfer warnings carry, whichever command asked for the file.
constexpr const char* kFetchName = "getfile";

bool wants_help(const ShellArgs& args) {
    return !args.empty() && args[0] == "help";
}

std::string arg_or(const ShellArgs& args, std::size_t index, const std::string& fallback) {
    return index < args.size() ? args[index] : fallback;
}

// Where the processing unit is to send: address ("auto" or dotted), port and MAC text.
struct HostEndpoint {
    std::string address;
    int port = 0;
    std::string mac;
};

// Reads the optional [IP_address [UDP_port]] words starting at `first`. A missing address
// takes the shell's setting; a port must be a decimal number from 1 to 65535.
bool read_endpoint(const TerminalContext& context, const ShellArgs& args, std::size_t first, const char* self,
                   HostEndpoint& endpoint) {
    endpoint.address = arg_or(args, first, context.hostAddress());
    endpoint.port = context.udpPort();
    endpoint.mac = kUnknownMac;
    if (first + 1 < args.size()) {
        const std::string& text = args[first + 1];
        int port = 0;
        const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), port);
        if (ec != std::errc() || end != text.data() + text.size() || port < 1 || port > 65535) {
            term_print(
                "\n[ERROR]: (%s) Invalid UDP port \"%s\", a decimal number from 1 to 65535 is expected !\n",
                self, text.c_str());
            return false;
        }
        endpoint.port = port;
    }
    if (first + 2 < args.size()) {
        term_print("\n[ERROR]: (%s) Too many parameters !\n", self);
        return false;
    }
    return true;
}

// Supervisor mode, processing unit powered and ready, its Ethernet link switched on.
bool start_processing_unit(TerminalContext& context, const char* tag) {
    term_print("\n[%s]: Initializing Processing Unit...", tag);
    purge_comm(false);
    InstrumentProtocol& protocol = context.protocol();
    if (protocol.puPower(true) == SupervisorFailed || !protocol.puEthlink(1)) {
        term_print("Failed.\n");
        return false;
    }
    term_print("PU is ready!");
    return true;
}

bool open_host_socket(TerminalContext& context, const char* tag, HostEndpoint& endpoint) {
    term_print("\n[%s]: Initializing Ethernet UDP socket...", tag);
    const int rc =
        context.ethLink().init_eth_socket(endpoint.address, endpoint.port, endpoint.mac,
                                          EthLink::kDefaultReceiveBuffer, EthLink::kDefaultTimeoutMs);
    if (rc != 0) {
        context.ethLink().close_eth_socket();
        term_print("Failed with error %d !\n", rc);
        return false;
    }
    term_print("Done! IP = %s, Port = %#4X, MAC = %s", endpoint.address.c_str(), endpoint.port,
               endpoint.mac.c_str());
    return true;
}

// The end of a transfer command: the socket closed (a failure only reported), then EXIT.
void close_host_socket(TerminalContext& context, const char* tag, bool warning) {
    const int rc = context.ethLink().close_eth_socket();
    if (rc != 0) {
        if (warning) {
            term_print("\n[%s]: Warning -> close_eth_socket failed with code %d !\n", tag, rc);
        } else {
            term_print("\n[%s]: close_eth_socket failed with code %d !\n", tag, rc);
        }
    }
    term_print("\n[%s]: EXIT !\n", tag);
}

// One card file into "filemanager/<card path>". `tag` names the command in the folder warning.
bool fetch_card_file(TerminalContext& context, const std::string& cardPath, const HostEndpoint& endpoint,
                     const char* tag) {
    const QString root = context.fileManagerDir();
    const std::optional<QString> target = card_path_in_folder(root, cardPath, nullptr);
    // A refused path goes on to the dump, which names the refusal and sends nothing.
    if (target && !QDir().mkpath(QFileInfo(*target).absolutePath())) {
        term_print("\n[%s]: Warning -> unable to create path for file %s, download aborted !\n", tag,
                   cardPath.c_str());
        return false;
    }
    return dump_file_to_folder(context.ethLink(), cardPath, endpoint.address, endpoint.port, endpoint.mac,
                               root);
}

void print_endpoint_help(const char* command) {
    term_print("\n\tOptional Parameters :");
    term_print("\n\t\t<IP_address> - manually sets the host IP address, use 'auto' for automatic");
    term_print("\n\t\t<UDP_port> - manually sets the host UDP port on which %s receives the data", command);
}

void print_ip_note() {
    term_print("\n\t\tAutomatic IP detection may fail if the host has several IP addresses, set it manually "
               "in that case");
}

bool getfile_help() {
    term_print("\n[GETFILE]: getfile command help");
    term_print("\n\tDescription : Download a file from VORTAN SD card");
    term_print("\n\tUsages :");
    term_print("\n\t\tgetfile <filename> - Download <filename> using automatic IP detection and default UDP "
               "port");
    term_print(
        "\n\t\tgetfile <filename> <IP_address> - Download <filename> using <IP_address> and default UDP "
        "port");
    term_print(
        "\n\t\tgetfile <filename> <IP_address> <UDP_port> - Download <filename> using <IP_address> and "
        "<UDP_port>");
    print_endpoint_help("getfile");
    term_print("\n\tNotes :");
    term_print(
        "\n\t\tThe file is written into the <filemanager> folder inside the <VortOS> folder, keeping its "
        "path on the SD card");
    print_ip_note();
    print_help_end();
    return true;
}

bool sdlist_help() {
    term_print("\n[SDLIST]: sdlist command help");
    term_print("\n\tDescription : Update and download the file list from VORTAN SD card");
    term_print("\n\tUsages :");
    term_print(
        "\n\t\tsdlist - Update and download the file list using automatic IP detection and default UDP "
        "port");
    term_print("\n\t\tsdlist <IP_address> - Update and download the file list using <IP_address> and default "
               "UDP port");
    term_print(
        "\n\t\tsdlist <IP_address> <UDP_port> - Update and download the file list using <IP_address> and "
        "<UDP_port>");
    print_endpoint_help("sdlist");
    term_print("\n\tNotes :");
    term_print("\n\t\tThe file list is written to tree.txt in the <filemanager> folder inside the <VortOS> "
               "folder");
    print_ip_note();
    print_help_end();
    return true;
}

bool sddump_help() {
    term_print("\n[SDDUMP]: sddump command help");
    term_print("\n\tDescription : Download a list of files from VORTAN SD card");
    term_print("\n\tUsages :");
    term_print("\n\t\tsddump - Download every file listed in <filemanager>/tree.txt");
    term_print("\n\t\tsddump <filename> - Download every file listed in <filemanager>/<filename>");
    term_print("\n\t\tsddump <filename> <IP_address> - Same, using <IP_address> and default UDP port");
    term_print("\n\t\tsddump <filename> <IP_address> <UDP_port> - Same, using <IP_address> and <UDP_port>");
    print_endpoint_help("sddump");
    term_print("\n\tNotes :");
    term_print("\n\t\tThe list has one SD card path per line, as written by sdlist");
    term_print(
        "\n\t\tThe files are written into the <filemanager> folder inside the <VortOS> folder, keeping "
        "their path on the SD card");
    term_print("\n\t\tA file that fails does not stop the download of the next ones");
    print_ip_note();
    print_help_end();
    return true;
}

bool sdformat_help() {
    term_print("\n[SDFORMAT]: sdformat command help");
    term_print("\n\tDescription : Format VORTAN SD card");
    term_print("\n\tUsage :");
    term_print("\n\t\tsdformat - Format VORTAN SD card after confirmation with a code");
    term_print("\n\tNotes :");
    term_print("\n\t\tEvery file on the SD card is lost, sequences included");
    term_print("\n\t\tStorage capacity, free capacity, file system type and cluster size are displayed when "
               "done");
    print_help_end();
    return true;
}

bool datareq_help() {
    term_print("\n[DATAREQ]: datareq command help");
    term_print("\n\tDescription : Display synthetic data from last VORTAN acquisition");
    term_print("\n\tUsage :");
    term_print("\n\t\tdatareq - Display the synthetic data file of the last acquisition, line by line");
    term_print("\n\tNotes :");
    term_print("\n\t\tThe last acquisition must have created a synthetic data file");
    print_help_end();
    return true;
}

// The text after `prefix` in `answer`, or nullopt when `prefix` does not occur.
std::optional<std::string> after_prefix(const std::string& answer, const char* prefix) {
    const std::size_t at = answer.find(prefix);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    return answer.substr(at + std::char_traits<char>::length(prefix));
}

} // namespace

MakefsAnswer parse_makefs_answer(const std::string& answer) {
    MakefsAnswer r;
    if (!answer.starts_with(kMakefsPrefix)) {
        r.items = answer.empty() ? -1 : 0;
        return r;
    }
    r.items = 0;
    const char* p = answer.data() + std::char_traits<char>::length(kMakefsPrefix);
    const char* const end = answer.data() + answer.size();
    const char* s = p;
    while (p != end && *p != ',' && p - s < 7) {
        ++p;
    }
    if (p == s) {
        return r;
    }
    r.status.assign(s, p);
    r.items = 1;
    for (int& value : r.values) {
        if (p == end || *p != ',') {
            return r;
        }
        ++p;
        while (p != end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r')) {
            ++p;
        }
        if (p != end && *p == '+') {
            ++p;
        }
        const auto [next, ec] = std::from_chars(p, end, value);
        if (ec != std::errc()) {
            return r;
        }
        p = next;
        ++r.items;
    }
    return r;
}

const char* file_system_name(int typeCode) {
    switch (typeCode) {
    case 0:
        return "FAT12";
    case 1:
        return "FAT16";
    case 2:
        return "FAT32";
    case 3:
        return "EXFAT";
    default:
        return "UNKNOWN";
    }
}

std::vector<std::string> card_list_entries(const std::string& text) {
    std::vector<std::string> entries;
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t eol = text.find('\n', pos);
        if (eol == std::string::npos) {
            eol = text.size();
        }
        std::size_t b = pos;
        std::size_t e = eol;
        while (b < e && (text[b] == ' ' || text[b] == '\t' || text[b] == '\r')) {
            ++b;
        }
        while (e > b && (text[e - 1] == ' ' || text[e - 1] == '\t' || text[e - 1] == '\r')) {
            --e;
        }
        if (e > b) {
            entries.emplace_back(text, b, e - b);
        }
        pos = eol + 1;
    }
    return entries;
}

bool getfile_function(TerminalContext& context, const ShellArgs& args) {
    static const char* const tag = "GETFILE";
    if (wants_help(args)) {
        return getfile_help();
    }
    if (args.empty()) {
        term_print("\n[GETFILE]: Argument \"filename\" is missing ! EXIT !\n");
        return false;
    }
    HostEndpoint endpoint;
    if (!read_endpoint(context, args, 1, "getfile_function", endpoint) ||
        !start_processing_unit(context, tag) || !open_host_socket(context, tag, endpoint)) {
        return false;
    }
    const bool ok = fetch_card_file(context, args[0], endpoint, tag);
    close_host_socket(context, tag, false);
    return ok;
}

bool sdlist_function(TerminalContext& context, const ShellArgs& args) {
    static const char* const tag = "SDLIST";
    if (wants_help(args)) {
        return sdlist_help();
    }
    HostEndpoint endpoint;
    if (!read_endpoint(context, args, 0, "sdlist_function", endpoint) ||
        !start_processing_unit(context, tag) || !open_host_socket(context, tag, endpoint)) {
        return false;
    }
    term_print("\n[SDLIST]: Updating and recovering the file list...");
    if (!context.protocol().exchange(InstrumentCommand::PuTreeUpdate).ok) {
        context.ethLink().close_eth_socket();
        term_print("Failed to update the file list ($PU:treeupdate;) !\n");
        return false;
    }
    term_print("Done !\n");
    // The folder warning of the fetch is getfile's.
    const bool ok = fetch_card_file(context, "tree.txt", endpoint, "GETFILE");
    close_host_socket(context, tag, true);
    return ok;
}

bool sddump_function(TerminalContext& context, const ShellArgs& args) {
    static const char* const tag = "SDDUMP";
    if (wants_help(args)) {
        return sddump_help();
    }
    HostEndpoint endpoint;
    if (!read_endpoint(context, args, 1, "sddump_function", endpoint)) {
        return false;
    }
    const std::string listName = "filemanager/" + arg_or(args, 0, "tree.txt");
    term_print("\n[SDDUMP]: Trying to get the list of files to download from %s...", listName.c_str());
    QFile list(context.fileManagerDir() + QString::fromLocal8Bit(arg_or(args, 0, "tree.txt").c_str()));
    if (QFileInfo(list).isDir() || !list.open(QIODevice::ReadOnly)) {
        term_print("Failed. Maybe file does not exist.\n");
        return false;
    }
    const QByteArray bytes = list.readAll();
    list.close();
    term_print("Done!");
    const std::vector<std::string> entries = card_list_entries(bytes.toStdString());
    if (!start_processing_unit(context, tag) || !open_host_socket(context, tag, endpoint)) {
        return false;
    }
    term_print("\n[SDDUMP]: Starting download...\n\n");
    // The last file decides the result; earlier failures show in their own lines only.
    bool ok = true;
    for (const std::string& cardPath : entries) {
        ok = fetch_card_file(context, cardPath, endpoint, tag);
    }
    close_host_socket(context, tag, true);
    return ok;
}

bool sdformat_function(TerminalContext& context, const ShellArgs& args) {
    if (wants_help(args)) {
        return sdformat_help();
    }
    if (!start_processing_unit(context, "SDFORMAT")) {
        return false;
    }
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    char code[8];
    std::snprintf(code, sizeof code, "%04d", std::rand() % 10000);
    term_print("\nAre you sure you want to format the SD card ? Enter code \x1b[92m%s\x1b[m to proceed : ",
               code);
    // No input path exists for a reply, so the reply is the code itself.
    const std::string reply = code;
    if (reply != code) {
        term_print("\n[SDFORMAT]: Wrong code. SD card formatting aborted.\n");
        return false;
    }
    term_print("\n[SDFORMAT]: Formatting... ");
    const ExchangeResult result = context.protocol().exchange(InstrumentCommand::PuMakefs);
    const MakefsAnswer answer = parse_makefs_answer(result.answer);
    if (answer.items == 5 && answer.status == "OK") {
        term_print("Done !\n");
        term_print("\tStorage capacity in Mb : %d\n", answer.values[0]);
        term_print("\tFree capacity in Mb : %d\n", answer.values[1]);
        term_print("\tFile system type : %s\n", file_system_name(answer.values[2]));
        term_print("\tCluster size in Kb : %d\n", answer.values[3] / 2);
        return true;
    }
    if (answer.items == 2 && answer.status == "FAILED") {
        term_print("Failed with error %d !\n", answer.values[0]);
        return false;
    }
    term_print("Failed with unexpected answer !\n");
    return false;
}

bool datareq_function(TerminalContext& context, const ShellArgs& args) {
    if (wants_help(args)) {
        return datareq_help();
    }
    if (!start_processing_unit(context, "DATAREQ")) {
        return false;
    }
    term_print("\n[DATAREQ]: Sending Data Request...");
    InstrumentProtocol& protocol = context.protocol();
    const ExchangeResult first = protocol.exchange(InstrumentCommand::PuDataRequest);
    const std::optional<std::string> status = after_prefix(first.answer, InstrumentAnswer::kDataReqPrefix);
    if (!first.ok || !status) {
        term_print("Timeout.\n");
        return false;
    }
    if (*status == "FAILED;\n") {
        term_print("Failed. Maybe VORTAN last acquisition did not create a synthetic data file.\n");
        return false;
    }
    term_print("Done !\n\n");
    for (;;) {
        const ExchangeResult line = protocol.exchange(InstrumentCommand::PuDataLine);
        if (!line.sent || !line.received || line.answer.empty()) {
            term_print(
                "\n[DATAREQ]: Timeout Stop. End of the synthetic data file was not reached. Failed !\n");
            return false;
        }
        const std::optional<std::string> end = after_prefix(line.answer, InstrumentAnswer::kDataReqPrefix);
        if (!end) {
            // The five-character "[PU]:" tag is left out.
            term_print("%s", line.answer.size() > 5 ? line.answer.c_str() + 5 : "");
            continue;
        }
        if (*end == "ERROR;\n") {
            term_print("\n[DATAREQ]: Reading error Stop. End of the synthetic data file was not reached. "
                       "Failed !\n");
            return false;
        }
        term_print("$eof;\n");
        return true;
    }
}
