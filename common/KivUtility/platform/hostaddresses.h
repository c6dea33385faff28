// The host's own name and its IPv4 addresses.
#ifndef KIVUTILITY_PLATFORM_HOSTADDRESSES_H
#define KIVUTILITY_PLATFORM_HOSTADDRESSES_H

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kiv::platform {

// What is needed before the socket library is used, as often as it is stopped again. True where it is ready,
// and always where there is no such library to start.
bool StartSockets() noexcept;
void StopSockets() noexcept;

// Writes the host's name, NUL-terminated. False, and `name` as it was, when it cannot be had or does not fit.
// The sockets are started.
bool HostName(std::span<char> name) noexcept;

// The IPv4 addresses of the host in dotted decimal, none of them twice, in an order that stays the same as
// long as the interfaces do; a loopback address only where there is no other. Nothing when they cannot be
// had. The sockets are started.
std::optional<std::vector<std::string>> HostAddresses() noexcept;

} // namespace kiv::platform

#endif
