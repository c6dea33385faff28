// Who is calling.
#ifndef KIVUTILITY_PLATFORM_THREADID_H
#define KIVUTILITY_PLATFORM_THREADID_H

#include <cstdint>

namespace kiv::platform {

// The number under which the system lists the calling thread; never 0. No two threads that live at one time
// have the same; that of a thread which ended may come again.
std::uint32_t CurrentThreadId() noexcept;

} // namespace kiv::platform

#endif
