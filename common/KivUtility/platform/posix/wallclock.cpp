// The date through the C library's time calls.
#include "platform/wallclock.h"

namespace kiv::platform {

static_assert(sizeof(std::time_t) == 8);

std::uint32_t Now() noexcept { return static_cast<std::uint32_t>(std::time(nullptr)); }

std::tm LocalTime(std::uint32_t seconds) noexcept {
    const std::time_t time = seconds;
    std::tm           local{};
    ::localtime_r(&time, &local);
    return local;
}

} // namespace kiv::platform
