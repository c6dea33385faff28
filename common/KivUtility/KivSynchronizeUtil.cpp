// Locks, semaphores, events, the condition mutex and the control variable, on the system's objects.
#include "KivSynchronizeUtil.h"

#include "ConsistencyReport.h"
#include "platform/criticalsection.h"
#include "platform/kernelobject.h"
#include "platform/threadid.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>

using kiv::platform::kForever;
using kiv::platform::Wait;

namespace {

constexpr int  kPromotionRefused = 873; // return code
constexpr char kTooManyEntries[] = "m_count<ControlVariable_MAX_THREADS Failed";
constexpr char kWaitFailed[]     = "ControlVariable XLock WaitForRoomEmpty FAILED";

void Report(int line, const char* text, int kivRc = 0) {
    kiv::ReportFailedCheck("common/KivUtility/KivSynchronizeUtil", line, text, kivRc);
}

// The result of a lock that waits in vain.
int GiveUp(std::unique_lock<Mutex>& held, int line) {
    held.unlock();
    Report(line, kWaitFailed);
    return 0;
}

} // namespace

Mutex::Mutex() noexcept { kiv::platform::Initialize(m_section); }

Mutex::~Mutex() { kiv::platform::Delete(m_section); }

void Mutex::lock() { kiv::platform::Enter(m_section); }

void Mutex::unlock() { kiv::platform::Leave(m_section); }

Semaphore::Semaphore(int initial) noexcept : m_handle(kiv::platform::NewSemaphore(std::max(initial, 0))) {}

Semaphore::~Semaphore() { kiv::platform::Close(m_handle); }

void Semaphore::wait() { kiv::platform::WaitFor(m_handle, kForever); }

void Semaphore::post(int n) { kiv::platform::Post(m_handle, std::max(n, 1)); }

Event::Event(bool manualReset, bool signalled) noexcept
    : m_handle(kiv::platform::NewEvent(manualReset, signalled)) {}

Event::~Event() { kiv::platform::Close(m_handle); }

void Event::wait() { kiv::platform::WaitFor(m_handle, kForever); }

int Event::timedwait(int ms) {
    return kiv::platform::WaitFor(m_handle, static_cast<std::uint32_t>(ms)) == Wait::TimedOut ? 1 : 0;
}

void Event::signal() { kiv::platform::Set(m_handle); }

void Event::pulse() { kiv::platform::Pulse(m_handle); }

void Event::reset() { kiv::platform::Reset(m_handle); }

ConditionMutex::ConditionMutex() noexcept
    : m_mutex(kiv::platform::NewMutex()),
      m_wake(kiv::platform::NewSemaphore(0)),
      m_allAwake(kiv::platform::NewEvent(false, false)) {}

ConditionMutex::~ConditionMutex() {
    kiv::platform::Close(m_mutex);
    kiv::platform::Close(m_wake);
    kiv::platform::Close(m_allAwake);
}

void ConditionMutex::lock() { kiv::platform::WaitFor(m_mutex, kForever); }

void ConditionMutex::unlock() { kiv::platform::Release(m_mutex); }

void ConditionMutex::wait() { timedwait(kForever); }

int ConditionMutex::timedwait(unsigned int ms) {
    {
        const ScopeLock held(m_guard);
        if (m_waiters < std::numeric_limits<std::int32_t>::max()) ++m_waiters; // time-outs add up
    }
    unlock();
    const Wait result = kiv::platform::WaitFor(m_wake, ms);
    bool       last   = false;
    {
        // one that timed out is taken off by nobody but the next signal or broadcast, kept
        const ScopeLock held(m_guard);
        if (m_broadcasting && m_waiters > 0) --m_waiters;
        last = m_waiters == 0;
    }
    if (m_broadcasting && last) kiv::platform::Pulse(m_allAwake);
    lock();
    return result == Wait::TimedOut ? 1 : 0;
}

void ConditionMutex::signal() {
    const ScopeLock held(m_guard);
    if (m_waiters <= 0) return;
    --m_waiters;
    kiv::platform::Post(m_wake, 1);
}

void ConditionMutex::broadcast() {
    {
        const ScopeLock held(m_guard);
        if (m_waiters <= 0) return;
        m_broadcasting = true;
        kiv::platform::Post(m_wake, m_waiters);
    }
    kiv::platform::WaitFor(m_allAwake, kForever); // in vain when the last waiter was faster, kept
    m_broadcasting = false;
}

ControlVariable::ControlVariable() : m_threadIds(ControlVariable_MAX_THREADS) {
    m_roomEmpty = kiv::platform::NewEvent(true, m_roomEmptySignalled); // behind what may throw
}

ControlVariable::~ControlVariable() { kiv::platform::Close(m_roomEmpty); }

int ControlVariable::Lock(int exclusive) {
    const std::uint32_t     self = kiv::platform::CurrentThreadId();
    std::unique_lock<Mutex> held(*this);
    const auto              end = m_threadIds.begin() + m_count;
    if (std::find(m_threadIds.begin(), end, self) != end) return LockAgain(held, self, exclusive);
    return exclusive != 0 ? LockAlone(held, self) : LockShared(held, self);
}

// Each of the three gets the lock of the members held, and reports without it: a pop-up may take its time.
int ControlVariable::LockAgain(std::unique_lock<Mutex>& held, std::uint32_t threadId, int exclusive) {
    const bool tooMany = m_count >= ControlVariable_MAX_THREADS;
    if (!Add(threadId)) return 0;
    const int  count    = m_count;
    const auto begin    = m_threadIds.begin();
    const auto problems = exclusive != 0 ? count - std::count(begin, begin + count, threadId) : 0;
    held.unlock();

    if (tooMany) Report(261, kTooManyEntries);
    if (problems == 0) return 1;
    char text[128];
    std::snprintf(text, sizeof text,
                  "ControlVariable::Unexpected Lock Promotion : ThreadId 0x%x (%d) Problem %d/%d", threadId,
                  static_cast<int>(threadId), static_cast<int>(problems), count);
    Report(282, "!problemFound Failed");
    Report(286, text, kPromotionRefused);
    return 0; // and the entry stays, kept: the caller unlocks what he was refused, too
}

int ControlVariable::LockAlone(std::unique_lock<Mutex>& held, std::uint32_t threadId) {
    while (m_exclusive != 0)
        if (!WaitForRoomEmpty(held)) return GiveUp(held, 311);
    m_exclusive = 1; // before those who share have left: from here on nobody joins them
    while (m_count != 0) {
        if (WaitForRoomEmpty(held)) continue;
        m_exclusive = 0;
        return GiveUp(held, 335);
    }
    Add(threadId);
    return 1;
}

int ControlVariable::LockShared(std::unique_lock<Mutex>& held, std::uint32_t threadId) {
    while (m_exclusive != 0)
        if (!WaitForRoomEmpty(held)) return GiveUp(held, 358);
    const bool tooMany = m_count >= ControlVariable_MAX_THREADS;
    if (!Add(threadId)) return 0;
    held.unlock();
    if (tooMany) Report(349, kTooManyEntries);
    return 1;
}

void ControlVariable::Unlock(int exclusive) {
    const ScopeLock held(*this);
    if (m_count > 0) {
        const auto end = m_threadIds.begin() + m_count;
        const auto own = std::find(m_threadIds.begin(), end, kiv::platform::CurrentThreadId());
        if (own != end) std::copy(own + 1, end, own);
        --m_count; // also for one who holds nothing, kept
    }
    if (m_count != 0) return;
    if (exclusive != 0) m_exclusive = 0;
    UpdateRoomEmpty();
}

void ControlVariable::GetStatus(int& count, int& exclusive) {
    const ScopeLock held(*this);
    count     = m_count;
    exclusive = m_exclusive;
}

// False without memory, and there is no entry more.
bool ControlVariable::Add(std::uint32_t threadId) {
    const auto at = static_cast<std::size_t>(m_count);
    try {
        if (at == m_threadIds.size()) m_threadIds.resize(2 * at);
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_threadIds[at] = threadId;
    ++m_count;
    UpdateRoomEmpty();
    return true;
}

// Waits without the lock of the members; false when the wait failed.
bool ControlVariable::WaitForRoomEmpty(std::unique_lock<Mutex>& held) {
    ++m_waiting;
    UpdateRoomEmpty();
    held.unlock();
    const Wait result = kiv::platform::WaitFor(m_roomEmpty, kForever);
    held.lock();
    --m_waiting;
    return result == Wait::Signalled;
}

// The event says whether the room is empty. Most entries come and go while nobody waits for that, and then it
// is left as it is.
void ControlVariable::UpdateRoomEmpty() {
    const bool empty = m_count == 0;
    if (m_waiting == 0 || m_roomEmptySignalled == empty) return;
    empty ? kiv::platform::Set(m_roomEmpty) : kiv::platform::Reset(m_roomEmpty);
    m_roomEmptySignalled = empty;
}

CtrlVarScopeLock::CtrlVarScopeLock(ControlVariable* cv, int exclusive) : m_cv(cv), m_exclusive(exclusive) {
    if (cv == nullptr)
        Report(397, "pCV Failed");
    else
        cv->Lock(exclusive);
}

CtrlVarScopeLock::~CtrlVarScopeLock() {
    if (m_cv != nullptr) m_cv->Unlock(m_exclusive);
}
