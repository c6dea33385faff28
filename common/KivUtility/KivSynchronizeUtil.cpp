// Locks, semaphores, events and the condition mutex, on the system's objects.
#include "KivSynchronizeUtil.h"

#include "platform/criticalsection.h"
#include "platform/kernelobject.h"

#include <algorithm>

using kiv::platform::kForever;
using kiv::platform::Wait;

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
        ++m_waiters;
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
