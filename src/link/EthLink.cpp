#include "link/EthLink.h"

#include "link/NetInterfaces.h"
#include "trace/ZelTraceMgr.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <new>
#include <set>
#include <vector>

namespace {

constexpr const char* kModule = "Eth_interfaces";
constexpr std::int64_t kPrefaultBytes = 64 * 1024 * 1024;
// Two datagrams' time on a 1 Gbit/s link; on a slower link the poll gives up and the thread
// sleeps, having cost a sixth of a millisecond of processor per file.
constexpr int kBusyWaitUs = 150;

std::mutex g_mutex;
EthLink::SocketFactory g_factory;
std::set<EthLink*> g_links;

std::unique_ptr<DatagramSocket> new_socket() {
    EthLink::SocketFactory factory;
    {
        std::lock_guard lock(g_mutex);
        factory = g_factory;
    }
    return factory ? factory() : make_system_datagram_socket();
}

int error_code(const DatagramSocket& s) {
    return s.errorCode() != 0 ? s.errorCode() : -1;
}

} // namespace

EthLink::EthLink() {
    std::lock_guard lock(g_mutex);
    g_links.insert(this);
}

EthLink::~EthLink() {
    {
        std::lock_guard lock(g_mutex);
        g_links.erase(this);
    }
    close_eth_socket();
}

void EthLink::setSocketFactory(SocketFactory factory) {
    std::lock_guard lock(g_mutex);
    g_factory = std::move(factory);
}

void EthLink::releaseOthersOnPort(int port) {
    std::vector<EthLink*> holders;
    {
        std::lock_guard lock(g_mutex);
        for (EthLink* l : g_links) {
            if (l != this && l->isOpen() && l->m_port == port) {
                holders.push_back(l);
            }
        }
    }
    for (EthLink* l : holders) {
        GetTraceMgr()->logf(kModule, ZelLevelDebug, "port {} taken over: the previous socket is closed",
                            port);
        l->close_eth_socket();
        if (l->m_onReleased) {
            l->m_onReleased();
        }
    }
}

int EthLink::init_eth_socket(std::string& localIp, int port, std::string& mac, int receiveBufferBytes,
                             int timeoutMs) {
    close_eth_socket();
    m_socket = new_socket();
    DatagramSocket& s = *m_socket;
    if (!s.open()) {
        const int code = error_code(s);
        GetTraceMgr()->logf(kModule, ZelLevelError, "init_eth_socket:socket error {}:{}", code,
                            s.errorText());
        m_socket.reset();
        return code;
    }
    if (!s.setReceiveBuffer(receiveBufferBytes) || !s.setReceiveTimeout(timeoutMs)) {
        const int code = error_code(s);
        GetTraceMgr()->logf(kModule, ZelLevelError, "init_eth_socket:setsockopt error {}:{}", code,
                            s.errorText());
        s.close();
        m_socket.reset();
        return code;
    }
    m_timeoutMs = timeoutMs;
    m_granted = s.receiveBufferSize();
    if (m_granted >= 0 && m_granted < receiveBufferBytes) {
        // A burst larger than the granted buffer is lost unless the reader keeps pace.
        GetTraceMgr()->logf(kModule, ZelLevelWarning,
                            "init_eth_socket: receive buffer of {} bytes granted instead of {}; raise it "
                            "with: sysctl -w net.core.rmem_max={}",
                            m_granted, receiveBufferBytes, receiveBufferBytes);
    }

    const std::vector<NetInterfaceAddress> interfaces = interface_list();
    if (localIp == "auto") {
        localIp = choose_host_address(interfaces);
    }
    if (localIp == "127.0.0.1") {
        GetTraceMgr()->post(kModule, ZelLevelError, "init_eth_socket:localIP=127.0.0.1 ");
        s.close();
        m_socket.reset();
        return 1;
    }
    if (auto text = mac_text_for_address(interfaces, localIp)) {
        mac = *text;
    }

    releaseOthersOnPort(port);
    const auto port16 = static_cast<std::uint16_t>(port & 0xFFFF);
    if (port < 0 || port > 0xFFFF || !s.bind(localIp, port16)) {
        const int code = port < 0 || port > 0xFFFF ? EINVAL : error_code(s);
        const std::string text = port < 0 || port > 0xFFFF ? std::string("invalid port") : s.errorText();
        GetTraceMgr()->logf(kModule, ZelLevelError, "init_eth_socket:bind on port {}/{:#04x}, error {}:{}",
                            port, port, code, text);
        s.close();
        m_socket.reset();
        return code;
    }
    m_address = localIp;
    m_port = port;
    return 0;
}

int EthLink::close_eth_socket() {
    int code = 0;
    if (m_socket) {
        if (!m_socket->close()) {
            code = error_code(*m_socket);
        }
        m_socket.reset();
    }
    m_port = -1;
    return code;
}

bool EthLink::isOpen() const {
    return m_socket && m_socket->isOpen();
}

int EthLink::receive(char* buffer, std::size_t capacity) {
    return m_socket ? m_socket->receive(buffer, capacity) : -1;
}

int EthLink::receiveSoon(char* buffer, std::size_t capacity) {
    return m_socket ? m_socket->receiveSoon(buffer, capacity, kBusyWaitUs) : -1;
}

long long EthLink::purge_socket() {
    if (!isOpen()) {
        return 0;
    }
    if (!m_drain) {
        m_drain = std::make_unique<char[]>(kDrainBufferSize);
    }
    long long bytes = 0;
    for (int i = 0; i < kMaxPurgedDatagrams && m_socket->hasPending(); ++i) {
        const int n = m_socket->receive(m_drain.get(), kDrainBufferSize);
        if (n < 0) {
            break;
        }
        bytes += n;
    }
    if (bytes > 0) {
        GetTraceMgr()->logf(kModule, ZelLevelInformation, "purge_socket of {}", bytes);
    }
    return bytes;
}

int EthLink::drain() {
    int count = 0;
    char scratch[16];
    while (count < kMaxPurgedDatagrams && receive(scratch, sizeof scratch) >= 0) {
        ++count;
    }
    return count;
}

bool EthLink::reserve(std::int64_t bytes) {
    if (bytes <= m_capacity) {
        return true;
    }
    if (bytes > m_maxBuffer) {
        return false;
    }
    try {
        std::unique_ptr<char[]> grown(new char[static_cast<std::size_t>(bytes)]);
        // Touching the pages now keeps page faults out of the receive loop: with a kernel buffer
        // of a few hundred KiB, a stall of a few milliseconds at 1 Gbit/s loses datagrams. An
        // absurd announced size is only touched up to a bound.
        std::memset(grown.get(), 0, static_cast<std::size_t>(std::min<std::int64_t>(bytes, kPrefaultBytes)));
        m_buffer = std::move(grown);
        m_capacity = bytes;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void EthLink::releaseBuffer() {
    m_buffer.reset();
    m_capacity = 0;
}
