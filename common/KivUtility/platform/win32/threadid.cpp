// The system's number of a thread.
#include "platform/threadid.h"

#include <windows.h>

namespace kiv::platform {

std::uint32_t CurrentThreadId() noexcept { return ::GetCurrentThreadId(); }

} // namespace kiv::platform
