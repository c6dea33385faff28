// The date through the runtime's 64-bit time calls.
#include "platform/wallclock.h"

#include <cstring>
#include <time.h>

namespace kiv::platform {

std::tm LocalTime(std::uint32_t seconds) noexcept {
    const __time64_t time = seconds;
    std::tm          local{};
    ::_localtime64_s(&local, &time);
    return local;
}

std::string DateText(std::uint32_t seconds) {
    const std::tm local    = LocalTime(seconds);
    char          text[26] = ""; // as the runtime asks for, with line feed and NUL
    ::asctime_s(text, sizeof text, &local);
    return std::string(text, std::strcspn(text, "\n"));
}

} // namespace kiv::platform
