#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The host's network interfaces as the Ethernet link sees them: one entry per IPv4 address.
struct NetInterfaceAddress {
    std::string interface;                           // "eth0", "lo", ...
    std::string ipv4;                                // dotted text
    std::optional<std::array<unsigned char, 6>> mac; // hardware address of the interface, if any
    bool up = true;
    bool loopback = false;
};

using InterfaceListProvider = std::function<std::vector<NetInterfaceAddress>()>;

// The interfaces of this host (getifaddrs): every IPv4 address with the up and loopback flags
// and the hardware address of its interface.
std::vector<NetInterfaceAddress> system_interface_list();

// Replaces the provider used by interface_list() (tests give made-up lists); an empty function
// restores the system's list.
void set_interface_list_provider(InterfaceListProvider provider);
std::vector<NetInterfaceAddress> interface_list();

// The host address the instrument should send to when the setting says "auto": among the
// addresses of interfaces that are up, loopback left out, the first beginning "192.168.0" (the
// instrument's own subnet), else the first (at most 20 addresses looked at). With no such
// address the choice is "127.0.0.1", which the link refuses.
std::string choose_host_address(const std::vector<NetInterfaceAddress>& interfaces);

// "%.2X.%.2X.%.2X.%.2X.%.2X.%.2X", the form the instrument expects.
std::string mac_text(const std::array<unsigned char, 6>& mac);

// Placeholder of an unknown hardware address.
inline constexpr const char* kUnknownMacText = "FF.FF.FF.FF.FF.FF";

// MAC text of the interface that holds `ipv4`; nullopt when no interface holds it or the
// interface has no hardware address (loopback).
std::optional<std::string> mac_text_for_address(const std::vector<NetInterfaceAddress>& interfaces,
                                                const std::string& ipv4);
