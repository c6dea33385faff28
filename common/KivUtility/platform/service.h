// The system's service manager.
#ifndef KIVUTILITY_PLATFORM_SERVICE_H
#define KIVUTILITY_PLATFORM_SERVICE_H

#include <cstdint>

namespace kiv::platform {

// Has the service started and waits until it runs, at most `timeoutMs` milliseconds. True when it runs then,
// also when it did before. False when there is none of that name, it does not start, it is not ours to start,
// or the time ran out: then it may still be starting.
// manager: the program that starts services on Linux, in place of systemctl and called as that; null for the
// system's own. Windows has no such program.
bool StartSystemService(const char* name, std::uint32_t timeoutMs, const char* manager = nullptr) noexcept;

// Where the streaming service keeps its media, without a separator at the end, and what it is called, unless
// the configuration says otherwise.
extern const char* const kDefaultMediaFolder;
extern const char* const kDefaultStreamingService;

} // namespace kiv::platform

#endif
