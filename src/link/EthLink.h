#pragma once

#include "link/DatagramSocket.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

// One UDP socket on which the instrument's processing unit sends files and frames, with the
// buffers that receive them. The device interface and the terminal each own one; only one is
// bound to a given port at a time (binding one closes the others on that port, see onReleased).
//
// Not thread-safe: one instrument operation at a time uses a link.
class EthLink {
public:
    using SocketFactory = std::function<std::unique_ptr<DatagramSocket>()>;

    static constexpr int kDefaultReceiveBuffer = 8 * 1024 * 1024;
    static constexpr int kDefaultTimeoutMs = 2000;
    static constexpr int kDrainBufferSize = 65536;
    static constexpr int kMaxPurgedDatagrams = 1000000;

    EthLink();
    ~EthLink();
    EthLink(const EthLink&) = delete;
    EthLink& operator=(const EthLink&) = delete;

    // Opens the socket, sets its receive buffer and time-out, chooses the host address when
    // `localIp` is "auto" (written back), looks up the MAC of that address (written into `mac`
    // when known, left as it was otherwise) and binds. Returns 0, the system's error code, or 1
    // when the only address found is 127.0.0.1. When the kernel grants a smaller buffer than
    // asked, the size granted and the system setting that raises it are logged.
    int init_eth_socket(std::string& localIp, int port, std::string& mac, int receiveBufferBytes,
                        int timeoutMs);

    // Closes the socket; 0 or the system's error code.
    int close_eth_socket();

    // Discards every datagram already waiting; returns the bytes discarded.
    long long purge_socket();

    // Receives datagrams (16 bytes copied of each) until one does not come within the time-out:
    // the end of a transfer that went wrong.
    int drain();

    // One datagram into `buffer`: its real length (more than `capacity` when cut) or -1.
    int receive(char* buffer, std::size_t capacity);
    // The same for a datagram due within microseconds (the last datagram of a file): polled for
    // briefly before the thread sleeps.
    int receiveSoon(char* buffer, std::size_t capacity);

    bool isOpen() const;
    const std::string& address() const { return m_address; }
    int port() const { return m_port; }
    int timeoutMs() const { return m_timeoutMs; }
    // The receive buffer the kernel granted at the last set-up (-1 before).
    int grantedReceiveBuffer() const { return m_granted; }

    // The reusable file buffer: grown to `bytes` when smaller (never shrunk). False when the
    // memory cannot be had or `bytes` exceeds maxBufferBytes().
    bool reserve(std::int64_t bytes);
    // Drops the file buffer (capacity 0).
    void releaseBuffer();
    char* buffer() { return m_buffer.get(); }
    std::int64_t capacity() const { return m_capacity; }
    void setMaxBufferBytes(std::int64_t bytes) { m_maxBuffer = bytes; }
    std::int64_t maxBufferBytes() const { return m_maxBuffer; }

    // Called when another link of this process binds the same port and this one is closed.
    void setOnReleased(std::function<void()> callback) { m_onReleased = std::move(callback); }

    // Replaces the system socket for the links opened afterwards; empty restores it.
    static void setSocketFactory(SocketFactory factory);

private:
    void releaseOthersOnPort(int port);

    std::unique_ptr<DatagramSocket> m_socket;
    std::unique_ptr<char[]> m_buffer;
    std::int64_t m_capacity = 0;
    std::int64_t m_maxBuffer = INT32_MAX;
    std::unique_ptr<char[]> m_drain;
    std::string m_address;
    int m_port = -1;
    int m_timeoutMs = 0;
    int m_granted = -1;
    std::function<void()> m_onReleased;
};
