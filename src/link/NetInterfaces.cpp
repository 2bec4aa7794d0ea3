#include "link/NetInterfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <fmt/format.h>

#include <map>
#include <mutex>

namespace {

std::mutex g_providerMutex;
InterfaceListProvider g_provider;

constexpr int kMaxAddressesLookedAt = 20;

} // namespace

std::vector<NetInterfaceAddress> system_interface_list() {
    std::vector<NetInterfaceAddress> list;
    ifaddrs* head = nullptr;
    if (::getifaddrs(&head) != 0) {
        return list;
    }
    std::map<std::string, std::array<unsigned char, 6>> macs;
    for (ifaddrs* a = head; a; a = a->ifa_next) {
        if (a->ifa_addr && a->ifa_addr->sa_family == AF_PACKET && a->ifa_name) {
            const auto* ll = reinterpret_cast<const sockaddr_ll*>(a->ifa_addr);
            if (ll->sll_halen == 6) {
                std::array<unsigned char, 6> mac{};
                std::copy(ll->sll_addr, ll->sll_addr + 6, mac.begin());
                macs[a->ifa_name] = mac;
            }
        }
    }
    for (ifaddrs* a = head; a; a = a->ifa_next) {
        if (!a->ifa_addr || a->ifa_addr->sa_family != AF_INET || !a->ifa_name) {
            continue;
        }
        char text[INET_ADDRSTRLEN] = {};
        const auto* in = reinterpret_cast<const sockaddr_in*>(a->ifa_addr);
        if (!::inet_ntop(AF_INET, &in->sin_addr, text, sizeof text)) {
            continue;
        }
        NetInterfaceAddress entry;
        entry.interface = a->ifa_name;
        entry.ipv4 = text;
        entry.up = (a->ifa_flags & IFF_UP) != 0;
        entry.loopback = (a->ifa_flags & IFF_LOOPBACK) != 0;
        if (auto it = macs.find(entry.interface); it != macs.end() && !entry.loopback) {
            entry.mac = it->second;
        }
        list.push_back(std::move(entry));
    }
    ::freeifaddrs(head);
    return list;
}

void set_interface_list_provider(InterfaceListProvider provider) {
    std::lock_guard lock(g_providerMutex);
    g_provider = std::move(provider);
}

std::vector<NetInterfaceAddress> interface_list() {
    InterfaceListProvider provider;
    {
        std::lock_guard lock(g_providerMutex);
        provider = g_provider;
    }
    return provider ? provider() : system_interface_list();
}

std::string choose_host_address(const std::vector<NetInterfaceAddress>& interfaces) {
    std::string first;
    int looked = 0;
    for (const NetInterfaceAddress& a : interfaces) {
        if (!a.up || a.loopback || a.ipv4.empty()) {
            continue;
        }
        if (looked++ >= kMaxAddressesLookedAt) {
            break;
        }
        if (a.ipv4.starts_with("192.168.0")) {
            return a.ipv4;
        }
        if (first.empty()) {
            first = a.ipv4;
        }
    }
    return first.empty() ? std::string("127.0.0.1") : first;
}

std::string mac_text(const std::array<unsigned char, 6>& m) {
    return fmt::format("{:02X}.{:02X}.{:02X}.{:02X}.{:02X}.{:02X}", m[0], m[1], m[2], m[3], m[4], m[5]);
}

std::optional<std::string> mac_text_for_address(const std::vector<NetInterfaceAddress>& interfaces,
                                                const std::string& ipv4) {
    for (const NetInterfaceAddress& a : interfaces) {
        if (a.ipv4 == ipv4) {
            if (a.mac && !a.loopback) {
                return mac_text(*a.mac);
            }
            return std::nullopt;
        }
    }
    return std::nullopt;
}
