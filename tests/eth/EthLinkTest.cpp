// Socket set-up of the Ethernet link: host-address choice over made-up interface lists, MAC
// text, bind errors, the receive-buffer warning, purge and port take-over.
#include "link/EthLink.h"
#include "eth/UdpTestSender.h"
#include "link/NetInterfaces.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <thread>

using kelvotest::LogCapture;
using kelvotest::UdpTestSender;

namespace {

using Mac = std::array<unsigned char, 6>;

NetInterfaceAddress iface(const char* name, const char* ip, bool up = true, bool loopback = false) {
    NetInterfaceAddress a;
    a.interface = name;
    a.ipv4 = ip;
    a.up = up;
    a.loopback = loopback;
    return a;
}

// Binds `link` on 127.0.0.2 as the device does; 0 or the error code.
int bind_link(EthLink& link, int port, int timeoutMs = 2000) {
    std::string ip = "127.0.0.2";
    std::string mac = kUnknownMacText;
    return link.init_eth_socket(ip, port, mac, 8388608, timeoutMs);
}

struct ProviderGuard {
    explicit ProviderGuard(std::vector<NetInterfaceAddress> list) {
        set_interface_list_provider([list] { return list; });
    }
    ~ProviderGuard() { set_interface_list_provider({}); }
};

} // namespace

TEST(HostAddress, ChoiceRules) {
    std::vector<NetInterfaceAddress> many;
    for (int i = 1; i <= 20; ++i) {
        many.push_back(iface("eth", ("10.0.0." + std::to_string(i)).c_str()));
    }
    many.push_back(iface("eth", "192.168.0.50")); // 21st: beyond the addresses looked at
    struct Case {
        const char* what;
        std::vector<NetInterfaceAddress> list;
        const char* expected;
    } cases[] = {
        {"instrument subnet preferred",
         {iface("eth0", "10.0.0.5"), iface("eth1", "192.168.0.12")},
         "192.168.0.12"},
        {"else the first", {iface("eth0", "10.0.0.5"), iface("wlan0", "172.16.1.2")}, "10.0.0.5"},
        {"other 192.168 subnets are not preferred",
         {iface("eth0", "192.168.1.5"), iface("eth1", "192.168.0.200")},
         "192.168.0.200"},
        {"loopback left out", {iface("lo", "127.0.0.1", true, true), iface("eth0", "10.2.3.4")}, "10.2.3.4"},
        {"only loopback", {iface("lo", "127.0.0.1", true, true)}, "127.0.0.1"},
        {"nothing at all", {}, "127.0.0.1"},
        {"interfaces that are down left out",
         {iface("eth0", "192.168.0.7", false), iface("eth1", "10.1.1.1")},
         "10.1.1.1"},
        {"twenty addresses at most", many, "10.0.0.1"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(choose_host_address(c.list), c.expected) << c.what;
    }
}

TEST(HostAddress, MacText) {
    EXPECT_EQ(mac_text(Mac{0x00, 0x1a, 0x2b, 0xc3, 0xd4, 0xef}), "00.1A.2B.C3.D4.EF");
    EXPECT_EQ(mac_text(Mac{0xff, 0xff, 0xff, 0xff, 0xff, 0xff}), std::string(kUnknownMacText));

    auto eth = iface("eth0", "10.0.0.9");
    eth.mac = Mac{0x02, 0x42, 0xac, 0x11, 0x00, 0x02};
    auto lo = iface("lo", "127.0.0.1", true, true);
    lo.mac = Mac{0, 0, 0, 0, 0, 0};
    const std::vector<NetInterfaceAddress> list{lo, eth, iface("tun0", "10.8.0.1")};
    EXPECT_EQ(mac_text_for_address(list, "10.0.0.9"), std::optional<std::string>("02.42.AC.11.00.02"));
    EXPECT_EQ(mac_text_for_address(list, "127.0.0.1"), std::nullopt); // loopback has no real MAC
    EXPECT_EQ(mac_text_for_address(list, "10.8.0.1"), std::nullopt);  // no hardware address
    EXPECT_EQ(mac_text_for_address(list, "10.9.9.9"), std::nullopt);  // nobody holds it
}

TEST(HostAddress, SystemListHasLoopback) {
    bool sawLoopback = false;
    for (const auto& a : system_interface_list()) {
        sawLoopback = sawLoopback || (a.loopback && a.ipv4 == "127.0.0.1");
    }
    EXPECT_TRUE(sawLoopback);
}

TEST(EthSocket, OnlyLoopbackGivesOneAndNoSocket) {
    ProviderGuard guard({iface("lo", "127.0.0.1", true, true)});
    LogCapture log;
    EthLink link;
    std::string ip = "auto";
    std::string mac = kUnknownMacText;
    EXPECT_EQ(link.init_eth_socket(ip, kelvotest::free_udp_port(), mac, 8388608, 2000), 1);
    EXPECT_EQ(ip, "127.0.0.1");
    EXPECT_FALSE(link.isOpen());
    EXPECT_TRUE(log.saw("Eth_interfaces|0|init_eth_socket:localIP=127.0.0.1 "));
}

TEST(EthSocket, ExplicitAddressStillLooksUpTheMacAndAnUnknownOneIsLeftAsGiven) {
    auto made = iface("eth9", "127.0.0.2");
    made.mac = Mac{0xaa, 0xbb, 0xcc, 0x01, 0x02, 0x03};
    const std::pair<std::vector<NetInterfaceAddress>, const char*> cases[] = {
        {{iface("lo", "127.0.0.1", true, true), made}, "AA.BB.CC.01.02.03"},
        {{iface("lo", "127.0.0.1", true, true)}, "FF.FF.FF.FF.FF.FF"},
    };
    for (const auto& [list, expected] : cases) {
        ProviderGuard guard(list);
        EthLink link;
        std::string ip = "127.0.0.2";
        std::string mac = kUnknownMacText;
        ASSERT_EQ(link.init_eth_socket(ip, kelvotest::free_udp_port(), mac, 8388608, 2000), 0);
        EXPECT_EQ(ip, "127.0.0.2");
        EXPECT_EQ(mac, expected);
        EXPECT_TRUE(link.isOpen());
        EXPECT_EQ(link.close_eth_socket(), 0);
        EXPECT_FALSE(link.isOpen());
    }
}

TEST(EthSocket, BindErrorIsLoggedAndReturned) {
    // A socket of another program holds the port.
    UdpTestSender other("127.0.0.2");
    sockaddr_in a{};
    socklen_t len = sizeof a;
    ::getsockname(other.fd(), reinterpret_cast<sockaddr*>(&a), &len);
    const int port = ntohs(a.sin_port);

    LogCapture log;
    EthLink link;
    EXPECT_EQ(bind_link(link, port), EADDRINUSE);
    EXPECT_FALSE(link.isOpen());
    char hex[16];
    std::snprintf(hex, sizeof hex, "%#04x", port);
    EXPECT_TRUE(log.saw("Eth_interfaces|0|init_eth_socket:bind on port " + std::to_string(port) + "/" + hex +
                        ", error 98:Address already in use"));
}

namespace {

// A socket whose kernel cuts the receive buffer to the stock ceiling.
class SmallBufferSocket final : public DatagramSocket {
public:
    bool open() override { return true; }
    bool setReceiveBuffer(int) override { return true; }
    int receiveBufferSize() const override { return 212992; }
    bool setReceiveTimeout(int) override { return true; }
    bool bind(const std::string&, std::uint16_t) override { return true; }
    int receive(char*, std::size_t) override { return -1; }
    bool hasPending() override { return false; }
    bool close() override { return true; }
    bool isOpen() const override { return true; }
    int errorCode() const override { return 0; }
    std::string errorText() const override { return {}; }
};

} // namespace

TEST(EthSocket, SmallerBufferThanAskedIsLoggedWithTheSetting) {
    EthLink::setSocketFactory([] { return std::make_unique<SmallBufferSocket>(); });
    LogCapture log;
    EthLink link;
    EXPECT_EQ(bind_link(link, 49152), 0);
    EthLink::setSocketFactory({});
    EXPECT_EQ(link.grantedReceiveBuffer(), 212992);
    EXPECT_TRUE(log.saw("Eth_interfaces|1|init_eth_socket: receive buffer of 212992 bytes granted instead of "
                        "8388608; raise it with: sysctl -w net.core.rmem_max=8388608"));
}

TEST(EthSocket, PurgeCountsAndLogsDiscardedBytes) {
    EthLink link;
    const int port = kelvotest::free_udp_port();
    ASSERT_EQ(bind_link(link, port, 300), 0);
    LogCapture log;
    EXPECT_EQ(link.purge_socket(), 0);
    UdpTestSender pu;
    pu.target("127.0.0.2", port);
    pu.send(QByteArray(10, 'a'));
    pu.send(QByteArray());
    pu.send(QByteArray(20, 'b'));
    // Loopback delivers before sendto returns: everything is already waiting.
    EXPECT_EQ(link.purge_socket(), 30);
    EXPECT_TRUE(log.saw("Eth_interfaces|2|purge_socket of 30"));
    char b[4];
    EXPECT_EQ(link.receive(b, sizeof b), -1); // nothing left, and the empty datagram went too
}

// A datagram due soon is polled for, then waited for as usual: whether it is already there,
// comes after the polling, comes cut, or never comes.
TEST(EthSocket, DatagramDueSoonIsTakenWhenEverItComes) {
    EthLink link;
    const int port = kelvotest::free_udp_port();
    ASSERT_EQ(bind_link(link, port, 300), 0);
    UdpTestSender pu;
    pu.target("127.0.0.2", port);
    char b[16] = {};

    pu.send("header-bytes");
    EXPECT_EQ(link.receiveSoon(b, sizeof b), 12);
    EXPECT_EQ(QByteArray(b, 12), "header-bytes");

    pu.send(QByteArray(100, 'x'));
    EXPECT_EQ(link.receiveSoon(b, sizeof b), 100); // the real length, as receive() tells it

    std::thread late([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pu.send("late");
    });
    EXPECT_EQ(link.receiveSoon(b, sizeof b), 4);
    late.join();
    EXPECT_EQ(QByteArray(b, 4), "late");

    EXPECT_EQ(link.receiveSoon(b, sizeof b), -1); // silence: the link's time-out still applies
}
