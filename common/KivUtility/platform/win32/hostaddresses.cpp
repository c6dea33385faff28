// The host's name and addresses through Windows Sockets.
#include "platform/hostaddresses.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include <winsock2.h>

namespace kiv::platform {

bool StartSockets() noexcept {
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 0), &data) == 0;
}

void StopSockets() noexcept { ::WSACleanup(); }

bool HostName(std::span<char> name) noexcept {
    char whole[256] = ""; // as long as any name is
    if (::gethostname(whole, sizeof whole) != 0) return false;
    const std::size_t length = std::strlen(whole);
    if (length >= name.size()) return false;
    std::memcpy(name.data(), whole, length + 1);
    return true;
}

std::optional<std::vector<std::string>> HostAddresses() noexcept {
    char name[32]; // names of hosts in the field are no longer, and the servers never took longer ones
    if (!HostName(name)) return std::nullopt;
    const hostent* host = ::gethostbyname(name);
    if (host == nullptr || host->h_addrtype != AF_INET) return std::nullopt;
    try {
        std::vector<std::string> texts;
        for (char** each = host->h_addr_list; *each != nullptr; ++each) {
            in_addr address;
            std::memcpy(&address, *each, sizeof address);
            const std::string text = ::inet_ntoa(address);
            if (std::ranges::find(texts, text) == texts.end()) texts.push_back(text);
        }
        return texts;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace kiv::platform
