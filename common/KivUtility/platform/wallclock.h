// The date: as a number, and as the calendar has it.
#ifndef KIVUTILITY_PLATFORM_WALLCLOCK_H
#define KIVUTILITY_PLATFORM_WALLCLOCK_H

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>
#include <sys/time.h> // struct timeval, on both systems

namespace kiv::platform {

// Milliseconds since 1970-01-01 UTC, now.
inline std::uint64_t NowMs() noexcept {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::floor<std::chrono::milliseconds>(now).count());
}

// The same in the seconds that records keep. Good until 2106, also where time_t has 32 bits.
inline std::uint32_t Now() noexcept { return static_cast<std::uint32_t>(NowMs() / 1000); }

// The calendar's date and the time of day that `seconds` are where the machine stands. Any thread.
std::tm LocalTime(std::uint32_t seconds) noexcept;

// LocalTime as the system's ctime writes it but without the line feed: "Sat Nov 21 20:04:48 2026". Any
// thread.
std::string DateText(std::uint32_t seconds);

} // namespace kiv::platform

#endif
