// The date, in the seconds that records keep and as the calendar has it.
#ifndef KIVUTILITY_PLATFORM_WALLCLOCK_H
#define KIVUTILITY_PLATFORM_WALLCLOCK_H

#include <cstdint>
#include <string>

namespace kiv::platform {

// Seconds since 1970-01-01 UTC, now. Good until 2106, also where time_t has 32 bits.
std::uint32_t Now() noexcept;

// The date and time of day that `seconds` are where the machine stands, as the system's ctime writes them but
// without the line feed: "Sat Nov 21 20:04:48 2026". Any thread.
std::string DateText(std::uint32_t seconds);

} // namespace kiv::platform

#endif
