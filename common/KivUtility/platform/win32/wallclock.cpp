// The date through the runtime's 64-bit time calls.
#include "platform/wallclock.h"

#include <time.h>

namespace kiv::platform {

std::uint32_t Now() noexcept { return static_cast<std::uint32_t>(::_time64(nullptr)); }

std::tm LocalTime(std::uint32_t seconds) noexcept {
    const __time64_t time = seconds;
    std::tm          local{};
    ::_localtime64_s(&local, &time);
    return local;
}

} // namespace kiv::platform
