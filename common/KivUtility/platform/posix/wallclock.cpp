// The date through the C library's time calls.
#include "platform/wallclock.h"

#include <cstring>
#include <ctime>

namespace kiv::platform {

static_assert(sizeof(std::time_t) == 8);

std::uint32_t Now() noexcept { return static_cast<std::uint32_t>(std::time(nullptr)); }

std::string DateText(std::uint32_t seconds) {
    const std::time_t time     = seconds;
    char              text[26] = ""; // as POSIX asks for, with line feed and NUL
    ::tzset();                       // which ctime does and ctime_r need not
    ::ctime_r(&time, text);
    return std::string(text, std::strcspn(text, "\n"));
}

} // namespace kiv::platform
