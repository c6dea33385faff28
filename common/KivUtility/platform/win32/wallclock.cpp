// The date through the runtime's 64-bit time calls.
#include "platform/wallclock.h"

#include <cstring>
#include <time.h>

namespace kiv::platform {

std::uint32_t Now() noexcept { return static_cast<std::uint32_t>(::_time64(nullptr)); }

std::string DateText(std::uint32_t seconds) {
    const __time64_t time     = seconds;
    char             text[26] = ""; // as the runtime asks for, with line feed and NUL
    ::_ctime64_s(text, sizeof text, &time);
    return std::string(text, std::strcspn(text, "\n"));
}

} // namespace kiv::platform
