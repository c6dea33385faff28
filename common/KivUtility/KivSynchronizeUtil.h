// What threads take and wait for: the mutex, the semaphore, the event, a mutex with a condition, and the
// control variable, a lock that many may share or one have alone.
//
// None of the operations tells that the system refused it. An object that could not be made is one whose
// waits fail at once. None can be copied: the objects are made where they are used, and threads refer to them
// there. Which one for what, and where they differ from others of their kind, is in docs/concurrency.md.
#ifndef KIVUTILITY_KIVSYNCHRONIZEUTIL_H
#define KIVUTILITY_KIVSYNCHRONIZEUTIL_H

#include "KivExport.h"
#include "KivPlatform.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

// What a ScopeLock holds. Destroyed through its own type, never through this one.
class KIV_API Lock {
public:
    virtual void lock()   = 0;
    virtual void unlock() = 0;

    Lock(const Lock&)            = delete;
    Lock& operator=(const Lock&) = delete;

protected:
    Lock()  = default;
    ~Lock() = default;
};

// Holds a lock from here to the end of the block. The lock lives longer.
class ScopeLock {
public:
    explicit ScopeLock(Lock& lock) : m_lock(lock) { m_lock.lock(); }

    ~ScopeLock() { m_lock.unlock(); }

    ScopeLock(const ScopeLock&)            = delete;
    ScopeLock& operator=(const ScopeLock&) = delete;

private:
    Lock& m_lock;
};

// The cheap lock for short moments. Its owner may take it again, and gives it back as often as it took it.
class KIV_API Mutex : public Lock {
public:
    Mutex() noexcept;
    ~Mutex();

    void lock() override;
    void unlock() override; // by its owner

private:
    CRITICAL_SECTION m_section;
};

// A count that threads take from, one at a time. Any number of threads.
class KIV_API Semaphore {
public:
    // Negative is 0.
    explicit Semaphore(int initial = 0) noexcept;
    ~Semaphore();

    Semaphore(const Semaphore&)            = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Takes one off the count, for which it waits as long as it takes.
    void wait();

    // Adds `n`, but 1 where n is 0 or negative; it adds nothing where the count would exceed 0x7FFFFFFF.
    void post(int n);

private:
    HANDLE m_handle;
};

// Something that has happened, or has not yet. Any number of threads.
//
// The signal of a manual-reset event lasts until reset(): every wait under way and every later one ends. That
// of an auto-reset event ends one wait and is gone; two signals before a wait count as one.
class KIV_API Event {
public:
    Event(bool manualReset, bool signalled) noexcept;
    ~Event();

    Event(const Event&)            = delete;
    Event& operator=(const Event&) = delete;

    void wait();

    // Waits for at most `ms` milliseconds; 0 only looks, -1 is for ever. Returns 1 when the time ran out and
    // 0 otherwise: the time-out is reported, not the success, and a wait that failed gives 0 as well.
    int timedwait(int ms);

    void signal();

    // Ends the waits under way, or one of them when the event is an auto-reset one, and leaves the event
    // unsignalled: whoever is about to wait has missed it.
    void pulse();

    void reset();

private:
    HANDLE m_handle;
};

// A recursive lock with a condition to wait for. Whoever calls wait, timedwait, signal or broadcast holds it,
// once: a wait gives it back one time. The next thread gets it when its owner ends without giving it back.
//
// How the waiters are counted is relied on and kept, with what follows from it:
// - A wait may end without a signal, so whoever waits looks at what he waits for, again and again.
// - A wait that timed out still counts as a waiter. A signal that finds nobody else waiting is kept for it,
// and
//   a later wait then ends at once.
// - broadcast() is told by the last waiter that all have woken, by a pulse: one that comes before it listens
//   is lost, and broadcast() does not return, until some later wait ends that a signal took off the count.
class KIV_API ConditionMutex : public Lock {
public:
    ConditionMutex() noexcept;
    ~ConditionMutex();

    void lock() override;
    void unlock() override; // by anybody but its owner: nothing

    // Gives the lock back, waits to be woken, and takes the lock again.
    void wait();

    // The same for at most `ms` milliseconds, and for the lock after that; 0xFFFFFFFF is for ever. Returns 1
    // when the time ran out and 0 otherwise, also when the wait failed.
    int timedwait(unsigned int ms);

    // Wakes one waiter. Where there is none it does nothing, and nothing is kept for one to come.
    void signal();

    // Wakes all who wait and waits until they are awake. They need not have the lock for that.
    void broadcast();

private:
    HANDLE       m_mutex;
    Mutex        m_guard;       // of the next three, for short moments
    std::int32_t m_waiters = 0; // who have begun to wait and were not taken off by a signal or a broadcast
    HANDLE       m_wake;        // semaphore
    std::atomic<bool> m_broadcasting = false; // also read and cleared without the guard
    HANDLE            m_allAwake;             // auto-reset event
};

// How many entries a control variable holds without complaint.
inline constexpr int ControlVariable_MAX_THREADS = 4096;

// A lock that any number of threads hold shared, or one thread alone, and that knows who they are: whoever
// holds it may take it again. One who asks to have it alone keeps out everybody who comes after him, while he
// waits for the others to leave.
//
// Each Lock that was granted makes an entry, and so does a refused promotion; each Unlock takes one away.
// Entries beyond ControlVariable_MAX_THREADS are made too, and each is reported.
class KIV_API ControlVariable : public Mutex {
public:
    // Throws std::bad_alloc.
    ControlVariable();
    ~ControlVariable();

    // Takes the lock, alone when `exclusive` is other than 0, and waits for it as long as it takes. Returns 1
    // when the caller has it.
    //
    // A thread that holds it gets it at once. Who has it shared and now wants it alone beside others is
    // refused: that is reported, with 0 as the result and with an entry all the same, for which he calls
    // Unlock too. A sole holder gets it, but others may still join him as sharers: it stays shared.
    //
    // Returns 0 without an entry when the wait failed, which is reported, or without memory.
    int Lock(int exclusive);

    // Takes away the caller's oldest entry, or another thread's last one where he has none, kept: holders
    // count on their number to come down. `exclusive` is what was given to Lock; only the Unlock that empties
    // the room with it ends the time alone, so who took the lock in both ways gives back the exclusive one
    // last.
    void Unlock(int exclusive);

    // How many entries there are, and 1 where somebody has the lock alone or waits to.
    void GetStatus(int& count, int& exclusive);

private:
    bool Add(std::uint32_t threadId);
    int  LockAgain(std::unique_lock<Mutex>& held, std::uint32_t threadId, int exclusive);
    int  LockAlone(std::unique_lock<Mutex>& held, std::uint32_t threadId);
    int  LockShared(std::unique_lock<Mutex>& held, std::uint32_t threadId);
    bool WaitForRoomEmpty(std::unique_lock<Mutex>& held);
    void UpdateRoomEmpty();

    // All under the lock of the base.
    std::int32_t               m_count     = 0;
    std::int32_t               m_exclusive = 0;
    HANDLE                     m_roomEmpty;      // manual-reset event
    std::vector<std::uint32_t> m_threadIds;      // the first m_count are in use, the oldest entry in front
    std::int32_t               m_waiting = 0;    // who look at the event
    bool m_roomEmptySignalled            = true; // the event's state, up to date while somebody looks
};

// Holds a control variable from here to the end of the block, whether Lock gave it or not. Null is reported,
// and nothing is held. The control variable lives longer.
class KIV_API CtrlVarScopeLock {
public:
    CtrlVarScopeLock(ControlVariable* cv, int exclusive);
    ~CtrlVarScopeLock();

    CtrlVarScopeLock(const CtrlVarScopeLock&)            = delete;
    CtrlVarScopeLock& operator=(const CtrlVarScopeLock&) = delete;

private:
    ControlVariable* m_cv;
    int              m_exclusive;
};

#endif
