// The host's name from the kernel, its addresses from the interfaces: a name service may know the host by
// none of them, or by 127.0.1.1.
#include "platform/hostaddresses.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>

#include <arpa/inet.h>
#include <climits>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

namespace kiv::platform {

namespace {

struct Address {
    bool         isLoopback; // first: the others come before them
    unsigned int interface;  // the kernel's number, which rises with each one that is added
    std::string  text;
};

// Of an interface that is switched on. Whether its cable is plugged in is not asked: who pulls it does not
// want the card's configuration to go.
std::optional<Address> AddressOf(const ifaddrs& entry) {
    if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != AF_INET) return std::nullopt;
    if ((entry.ifa_flags & IFF_UP) == 0) return std::nullopt;
    sockaddr_in address{};
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    char text[INET_ADDRSTRLEN] = "";
    if (::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr) return std::nullopt;
    // by the address: a cluster's shared one may be the loopback interface's
    const bool isLoopback = ntohl(address.sin_addr.s_addr) >> IN_CLASSA_NSHIFT == IN_LOOPBACKNET;
    return Address{isLoopback, ::if_nametoindex(entry.ifa_name), text};
}

} // namespace

bool StartSockets() noexcept { return true; }

void StopSockets() noexcept {}

bool HostName(std::span<char> name) noexcept {
    char whole[HOST_NAME_MAX + 1] = "";
    if (::gethostname(whole, sizeof whole) != 0) return false;
    const std::size_t length = ::strnlen(whole, sizeof whole);
    if (length == sizeof whole || length >= name.size()) return false;
    std::memcpy(name.data(), whole, length + 1);
    return true;
}

std::optional<std::vector<std::string>> HostAddresses() noexcept {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> freed(list, ::freeifaddrs);
    try {
        std::vector<Address> found;
        for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
            if (auto address = AddressOf(*entry)) found.push_back(std::move(*address));
        }
        // the addresses of one interface stay in the kernel's order, the primary one first
        std::ranges::stable_sort(found, {}, [](const Address& address) {
            return std::pair(address.isLoopback, address.interface);
        });
        std::vector<std::string> texts;
        for (const Address& address : found) {
            if (address.isLoopback && !found.front().isLoopback) break;
            if (std::ranges::find(texts, address.text) == texts.end()) texts.push_back(address.text);
        }
        return texts;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace kiv::platform
