#include "link/FileDump.h"

#include "link/CardPath.h"
#include "link/SerialLink.h"
#include "terminal/TermPrint.h"
#include "trace/ZelTraceMgr.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

constexpr const char* kDeviceModule = "InterfaceCamera";
constexpr const char* kTerminalModule = "Eth_interfaces";
constexpr const char* kGetfile = "getfile";
// A flood of stray datagrams must not hold a header wait forever.
constexpr int kMaxStrayDatagrams = 100000;

std::int32_t le32(const char* p) {
    const auto* u = reinterpret_cast<const unsigned char*>(p);
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(u[0]) | (static_cast<std::uint32_t>(u[1]) << 8) |
        (static_cast<std::uint32_t>(u[2]) << 16) | (static_cast<std::uint32_t>(u[3]) << 24));
}

// Waits for a datagram of exactly 16 bytes; datagrams of any other length are skipped. Gives up
// after two receives that time out.
bool wait_header(EthLink& link, DumpHeader& header, DumpReport& report) {
    char bytes[kDumpHeaderSize];
    int failures = 0;
    while (failures < 2 && report.strayDatagrams < kMaxStrayDatagrams) {
        const int n = link.receive(bytes, sizeof bytes);
        if (n < 0) {
            ++failures;
        } else if (n == kDumpHeaderSize) {
            header = parse_dump_header(bytes);
            return true;
        } else {
            ++report.strayDatagrams;
        }
    }
    return false;
}

// When not one header came, the instrument most likely sends elsewhere: the host address used
// is the first thing to check, and the user needs to know where it is set.
std::string no_header_text(const std::string& host, int port) {
    return fmt::format("no transmission header reached host address {} on UDP port {}; the host address "
                       "is set in Application settings, Local IP (kelvo: --localip)",
                       host, port);
}

} // namespace

DumpHeader parse_dump_header(const char* bytes) {
    return {le32(bytes), le32(bytes + 4), le32(bytes + 8)};
}

DumpRequest serial_dump_request() {
    return [](const std::string& line) {
        const bool sent = send_message("%s", line.c_str());
        purge_comm(false);
        return sent;
    };
}

std::span<const char> dump_file(EthLink& link, const std::string& cardPath, DumpReport* reportOut,
                                const DumpRequest& request) {
    DumpReport local;
    DumpReport& report = reportOut ? *reportOut : local;
    report = DumpReport();
    ZelTraceMgr* log = GetTraceMgr();
    link.purge_socket();
    const std::string line = fmt::format("$PU:filedump,{};", cardPath);
    int headers = 0;
    for (int attempt = 0; attempt < kDumpAttempts; ++attempt) {
        ++report.attempts;
        request(line);
        DumpHeader h;
        if (!wait_header(link, h, report)) {
            log->post(kDeviceModule, ZelLevelError, ": transmission header not received before timeout\n");
        } else {
            ++headers;
            bool complete = false;
            if (h.fileSize < 0) {
                link.releaseBuffer();
            } else if (!link.reserve(h.fileSize)) {
                log->logf(kDeviceModule, ZelLevelError,
                          "Allocation of {} bytes buffer failed. Flushing UDP reception buffer...",
                          h.fileSize);
                link.drain();
                log->logf(kDeviceModule, ZelLevelError, "{} transfer failed", cardPath);
                return {};
            } else {
                std::int64_t remaining = h.fileSize;
                std::int64_t pos = 0;
                int packets = 0;
                for (; packets < h.packetCount; ++packets) {
                    const std::int64_t want = std::min<std::int64_t>(remaining, std::max(h.packetSize, 0));
                    // Only the last datagram is worth polling for: the ones before it are paced by
                    // the link, but the file is done only once the last one is in. Polling for
                    // the header instead was measured to slow the next datagrams down on a
                    // two-processor host: the instrument's side then waits for a processor.
                    char* const at = link.buffer() + pos;
                    const auto capacity = static_cast<std::size_t>(want);
                    const int n = packets + 1 == h.packetCount ? link.receiveSoon(at, capacity)
                                                               : link.receive(at, capacity);
                    if (n < 0 || n > want) {
                        break; // silence, or a datagram longer than what is still expected
                    }
                    pos += n;
                    remaining -= n;
                }
                complete = packets == h.packetCount && remaining == 0;
                if (complete) {
                    report.ok = true;
                    report.bytes = pos;
                    return {link.buffer() ? link.buffer() : "", static_cast<std::size_t>(pos)};
                }
            }
            if (!complete) {
                log->post(kDeviceModule, ZelLevelError, " -> file transmission was incomplete\n");
            }
        }
        link.drain();
    }
    if (headers == 0) {
        log->logf(kDeviceModule, ZelLevelWarning, "{}", no_header_text(link.address(), link.port()));
    }
    log->logf(kDeviceModule, ZelLevelError, "{} transfer failed", cardPath);
    return {};
}

bool dump_file_to_folder(EthLink& link, const std::string& cardPath, const std::string& host, int port,
                         const std::string& mac, const QString& folder, DumpReport* reportOut,
                         const DumpRequest& request) {
    DumpReport local;
    DumpReport& report = reportOut ? *reportOut : local;
    report = DumpReport();
    QString refusal;
    const std::optional<QString> target = card_path_in_folder(folder, cardPath, &refusal);
    if (!target) {
        term_print("\n[ERROR]: (%s) %s\n", kGetfile, refusal.toUtf8().constData());
        return false;
    }
    ZelTraceMgr* log = GetTraceMgr();
    const std::string line = fmt::format("$PU:filedump,{},{},{},{};", cardPath, host, port & 0xFFFF, mac);
    auto scratch = std::make_unique<char[]>(kTerminalDatagramBuffer);
    term_print("\x1b[?25l");
    bool ok = false;
    int headers = 0;
    for (int attempt = 0; attempt < kDumpAttempts && !ok; ++attempt) {
        ++report.attempts;
        term_print("\r\x1b[2K\tDownloading file %s ", cardPath.c_str());
        request(line);
        DumpHeader h;
        if (!wait_header(link, h, report)) {
            log->post(kTerminalModule, ZelLevelError, ": transmission header not received before timeout\n");
            link.drain();
            continue;
        }
        ++headers;
        term_print("( %d bytes ) :    ", h.fileSize);
        if (h.fileSize >= 0 && !link.reserve(h.fileSize)) {
            term_print("\n[WARNING]: (%s) \nAllocation of %d bytes buffer failed. Flushing UDP reception "
                       "buffer... !\n",
                       kGetfile, h.fileSize);
            link.drain();
            term_print("\n[WARNING]: (%s) %s transfer failed !\n", kGetfile, cardPath.c_str());
            term_print("\x1b[?25h");
            return false;
        }
        std::int64_t remaining = h.fileSize;
        std::int64_t pos = 0;
        int packets = 0;
        if (h.fileSize >= 0) {
            if (h.packetCount == 0) {
                term_print("\b\b\b100%%");
            }
            for (; packets < h.packetCount; ++packets) {
                const std::int64_t want = std::min<std::int64_t>(remaining, std::max(h.packetSize, 0));
                const int n = link.receive(scratch.get(), kTerminalDatagramBuffer);
                if (n < 0 || n > want) {
                    break;
                }
                std::memcpy(link.buffer() + pos, scratch.get(), static_cast<std::size_t>(n));
                pos += n;
                remaining -= n;
                term_print("\b\b\b%02d%%", static_cast<int>(100LL * (packets + 1) / h.packetCount));
            }
        }
        if (h.fileSize >= 0 && packets == h.packetCount && remaining == 0) {
            QString error;
            if (!write_file_atomically(*target, link.buffer() ? link.buffer() : "",
                                       static_cast<std::size_t>(pos), &error)) {
                term_print("\n[ERROR]: (%s) %s\n", kGetfile, error.toUtf8().constData());
                term_print("\x1b[?25h");
                return false;
            }
            report.bytes = pos;
            ok = true;
            break;
        }
        log->post(kTerminalModule, ZelLevelError, " -> file transmission was incomplete\n");
        link.drain();
    }
    if (!ok && headers == 0) {
        const std::string text = no_header_text(host, port);
        log->logf(kTerminalModule, ZelLevelWarning, "{}", text);
        term_print("\n[WARNING]: (%s) %s !", kGetfile, text.c_str());
    }
    if (!ok) {
        term_print("\n[WARNING]: (%s) %s transfer failed !\n", kGetfile, cardPath.c_str());
    }
    term_print("\x1b[?25h");
    report.ok = ok;
    return ok;
}
