#pragma once

#include "link/EthLink.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <span>
#include <string>

// A file dump: over the serial line the processing unit is asked for a file; it answers on UDP
// with one 16-byte header datagram (little-endian signed 32-bit packet count, file size and
// packet size, then 4 reserved bytes) followed by the data datagrams, whose payloads
// concatenated are the file. Each dump makes at most three attempts; after a failed one the
// socket is drained until it stays silent for its time-out and the file is asked for again.

struct DumpHeader {
    std::int32_t packetCount = 0;
    std::int32_t fileSize = 0;
    std::int32_t packetSize = 0;
};

inline constexpr int kDumpHeaderSize = 16;
inline constexpr int kDumpAttempts = 3;
// The terminal receives each datagram into a buffer of this size.
inline constexpr int kTerminalDatagramBuffer = 65536;

DumpHeader parse_dump_header(const char* bytes);

// Sends a request line to the instrument. The default sends it over the serial link and purges
// the serial receive buffer, so that stale answers do not confuse later exchanges.
using DumpRequest = std::function<bool(const std::string& line)>;
DumpRequest serial_dump_request();

// What the last dump did, for callers that report or measure it.
struct DumpReport {
    bool ok = false;
    int attempts = 0;       // requests sent
    int strayDatagrams = 0; // datagrams skipped while waiting for a header
    std::int64_t bytes = 0;
};

// Device-interface form: "$PU:filedump,<path>;". Returns the file's bytes inside the link's
// reusable buffer (valid until the next dump on that link), or an empty span with report.ok
// false. Logs under "InterfaceCamera".
std::span<const char> dump_file(EthLink& link, const std::string& cardPath, DumpReport* report = nullptr,
                                const DumpRequest& request = serial_dump_request());

// Terminal form: "$PU:filedump,<path>,<host>,<port>,<mac>;", progress printed to the terminal,
// the file written (only once complete, atomically) to `folder` followed by the card path. A
// card path that is absolute, holds ".." or leaves `folder` is refused before anything is sent.
bool dump_file_to_folder(EthLink& link, const std::string& cardPath, const std::string& host, int port,
                         const std::string& mac, const QString& folder, DumpReport* report = nullptr,
                         const DumpRequest& request = serial_dump_request());
