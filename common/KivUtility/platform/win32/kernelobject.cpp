// The system's kernel objects.
#include "platform/kernelobject.h"

namespace kiv::platform {

namespace {

constexpr LONG kMaxCount = 0x7FFFFFFF;

} // namespace

HANDLE NewMutex() noexcept { return ::CreateMutexA(nullptr, FALSE, nullptr); }

HANDLE NewSemaphore(std::int32_t initial) noexcept {
    return ::CreateSemaphoreA(nullptr, initial, kMaxCount, nullptr);
}

HANDLE NewEvent(bool manualReset, bool signalled) noexcept {
    return ::CreateEventA(nullptr, manualReset, signalled, nullptr);
}

void Close(HANDLE object) noexcept {
    if (object != nullptr) ::CloseHandle(object);
}

static_assert(kForever == INFINITE);

Wait WaitFor(HANDLE object, std::uint32_t ms) noexcept {
    switch (::WaitForSingleObject(object, ms)) {
    case WAIT_OBJECT_0:
    case WAIT_ABANDONED: return Wait::Signalled;
    case WAIT_TIMEOUT: return Wait::TimedOut;
    default: return Wait::Failed;
    }
}

void Release(HANDLE mutex) noexcept { ::ReleaseMutex(mutex); }

void Post(HANDLE semaphore, std::int32_t count) noexcept { ::ReleaseSemaphore(semaphore, count, nullptr); }

void Set(HANDLE event) noexcept { ::SetEvent(event); }

void Pulse(HANDLE event) noexcept { ::PulseEvent(event); }

void Reset(HANDLE event) noexcept { ::ResetEvent(event); }

} // namespace kiv::platform
