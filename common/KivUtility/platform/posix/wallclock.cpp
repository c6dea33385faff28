// The date through the C library's time calls.
#include "platform/wallclock.h"

#include <cstring>

namespace kiv::platform {

static_assert(sizeof(std::time_t) == 8);

std::tm LocalTime(std::uint32_t seconds) noexcept {
    const std::time_t time = seconds;
    std::tm           local{};
    ::tzset(); // which localtime does and localtime_r need not
    ::localtime_r(&time, &local);
    return local;
}

std::string DateText(std::uint32_t seconds) {
    const std::tm local    = LocalTime(seconds);
    char          text[26] = ""; // as POSIX asks for, with line feed and NUL
    ::asctime_r(&local, text);
    return std::string(text, std::strcspn(text, "\n"));
}

} // namespace kiv::platform
