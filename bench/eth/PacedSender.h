#pragma once

#include <QByteArray>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Plays the processing unit's UDP side for the benchmarks: on each request it sends the dump
// header and the file in datagrams of `packetSize`, paced like a link of `bitsPerSecond`
// (0: as fast as the host can), from its own thread so that the receiver works concurrently.
class PacedSender {
public:
    PacedSender(const char* from, const char* toHost, int toPort, double bitsPerSecond, int packetSize);
    ~PacedSender();
    PacedSender(const PacedSender&) = delete;
    PacedSender& operator=(const PacedSender&) = delete;

    // The file sent for the next request.
    void setFile(const QByteArray* file);
    // Starts sending the current file (returns at once).
    void request();

    // Datagrams the socket refused (the benchmark reports them; none is expected).
    int sendFailures() const { return m_sendFailures.load(); }

private:
    void run();
    void sendOne(const char* data, std::size_t size);

    int m_fd = -1;
    std::vector<unsigned char> m_to;
    double m_bps;
    int m_packetSize;
    const QByteArray* m_file = nullptr;
    std::atomic<int> m_pending{0};
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_sendFailures{0};
    std::thread m_thread;
};
