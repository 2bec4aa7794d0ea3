#pragma once

#include <QByteArray>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>

// Faults the processing unit's Ethernet side can show during one dump.
struct SimDumpFaults {
    bool lose = false;       // the second data datagram (the first when there is one) is not sent
    bool duplicate = false;  // the second data datagram (the first when there is one) is sent twice
    bool stray = false;      // a 20-byte datagram from another port arrives before the header
    bool noHeader = false;   // the data datagrams are sent without their header
    bool truncate = false;   // the header announces the whole file, the last datagram carries half its bytes
    bool disconnect = false; // the link drops after half of the data datagrams
};

// What one dump put on the wire.
struct SimDumpResult {
    bool sent = false; // false: refused or failed before the header (see error)
    int datagrams = 0; // header, data and stray datagrams sent
    qint64 bytes = 0;  // data bytes sent (header and stray datagrams left out)
    QString error;
};

// The processing unit's UDP sender: one dump is a 16-byte header (little-endian signed 32-bit
// packet count, file size, packet size, then 4 reserved zero bytes) followed by the data
// datagrams. Sending is paced at the link rate so that a burst looks like the real Ethernet
// link. Destinations outside 127.0.0.0/8 are refused unless the network is allowed.
class SimUdpLink {
public:
    static constexpr int kHeaderSize = 16;
    static constexpr int kMaxDatagram = 65507;
    static constexpr int kStrayDatagramSize = 20;

    // `linkRateMbps` 0: as fast as the host's stack takes it.
    SimUdpLink(bool allowNetwork, double linkRateMbps);
    ~SimUdpLink();
    SimUdpLink(const SimUdpLink&) = delete;
    SimUdpLink& operator=(const SimUdpLink&) = delete;

    static bool isLoopback(const QString& host);
    // True when a dump may go to host:port; otherwise `why` says what is wrong.
    bool checkDestination(const QString& host, int port, QString* why) const;

    // Sends a dump announcing `fileSize` bytes (negative: nothing to send, no data datagrams) in
    // datagrams of at most `packetSize` bytes. The data is read by `load` only once the header is
    // out, as the instrument streams a card file: the read overlaps the first datagram's time on
    // the wire. Data shorter than announced ends the dump early, as a failing card would. `stop`,
    // when set, ends a long transfer early.
    SimDumpResult sendDump(const QString& host, int port, const std::function<QByteArray()>& load,
                           int fileSize, int packetSize, const SimDumpFaults& faults,
                           const std::atomic<bool>* stop = nullptr);

    void setLinkRateMbps(double mbps) { m_rateMbps = mbps; }
    double linkRateMbps() const { return m_rateMbps; }

    static QByteArray header(std::int32_t packetCount, std::int32_t fileSize, std::int32_t packetSize);

private:
    bool open(QString* error);
    bool sendOne(int fd, const void* to, const char* bytes, int size);

    bool m_allowNetwork;
    std::atomic<double> m_rateMbps;
    int m_fd = -1;
    int m_strayFd = -1;
};
