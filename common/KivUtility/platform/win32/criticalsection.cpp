// The system's critical sections.
#include "platform/criticalsection.h"

namespace kiv::platform {

void Initialize(CRITICAL_SECTION& section) noexcept { ::InitializeCriticalSection(&section); }

void Delete(CRITICAL_SECTION& section) noexcept { ::DeleteCriticalSection(&section); }

void Enter(CRITICAL_SECTION& section) noexcept { ::EnterCriticalSection(&section); }

void Leave(CRITICAL_SECTION& section) noexcept { ::LeaveCriticalSection(&section); }

} // namespace kiv::platform
