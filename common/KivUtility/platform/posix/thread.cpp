// Threads of POSIX that count their suspensions.
#include "platform/thread.h"

#include "platform/kernelobject.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <linux/futex.h>
#include <mutex>
#include <new>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kiv::platform {

namespace {

// The state of a thread: these, and the suspensions that count.
constexpr std::uint32_t kStarted     = 1U << 28; // who began it has its number
constexpr std::uint32_t kSignalled   = 1U << 29; // a signal to halt is on its way
constexpr std::uint32_t kHalted      = 1U << 30; // stands still, and goes on only where no suspension counts
constexpr std::uint32_t kEnded       = 1U << 31; // its body has returned
constexpr std::uint32_t kSuspensions = kStarted - 1;

// One word, so that nobody sees part of a change, and a futex, so that a signal handler may wait for one.
class State {
public:
    std::uint32_t Get() const noexcept { return m_word.load(std::memory_order_acquire); }

    // Changes `seen` for `next`; false, and `seen` renewed, when the state is another one by now.
    bool Change(std::uint32_t& seen, std::uint32_t next) noexcept {
        if (!m_word.compare_exchange_strong(seen, next, std::memory_order_acq_rel, std::memory_order_acquire))
            return false;
        ::syscall(SYS_futex, &m_word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
        return true;
    }

    // Returns the state after it.
    std::uint32_t SetAndClear(std::uint32_t set, std::uint32_t clear) noexcept {
        std::uint32_t seen = Get();
        while (!Change(seen, (seen | set) & ~clear)) {
        }
        return (seen | set) & ~clear;
    }

    // Waits until the state is another one than `seen`, or for nothing at all.
    void Sleep(std::uint32_t seen) const noexcept {
        ::syscall(SYS_futex, &m_word, FUTEX_WAIT_PRIVATE, seen, nullptr, nullptr, 0);
    }

    // Waits until one of the flags is set, or one of the others is not.
    void Await(std::uint32_t set, std::uint32_t clear) const noexcept {
        for (std::uint32_t seen = Get(); (seen & set) == 0 && (~seen & clear) == 0; seen = Get()) Sleep(seen);
    }

private:
    std::atomic<std::uint32_t> m_word = 0;
};

// What the handles of a thread point to. It belongs to them and to the thread, and goes with the last of
// these.
struct ThreadObject {
    ~ThreadObject() { Close(hasEnded); }

    State            state;
    std::atomic<int> owners   = 2; // the first handle and the thread
    const ::pid_t    process  = ::getpid();
    const HANDLE     hasEnded = NewEvent(true, false);
    ::pthread_t      thread{};
    ::pid_t          id = 0;
    std::mutex       joining;
    bool             isJoined = false; // under `joining`
};

// Of the threads begun here. There is nothing to destroy, as that would keep the library from being unloaded.
constinit thread_local ThreadObject* t_self = nullptr;

ThreadObject& Object(HANDLE thread) noexcept { return *static_cast<ThreadObject*>(thread); }

// Whether the process was forked off the one that began the thread, and so has no such thread.
bool IsForked(const ThreadObject& object) noexcept { return object.process != ::getpid(); }

bool HasEnded(const ThreadObject& object) noexcept {
    return (object.state.Get() & kEnded) != 0 || IsForked(object);
}

// Counts a suspension; false where none counts any more.
bool AddSuspension(ThreadObject& object, std::uint32_t flags) noexcept {
    std::uint32_t state = object.state.Get();
    do {
        if ((state & kEnded) != 0 || (state & kSuspensions) == kMostSuspensions) return false;
    } while (!object.state.Change(state, (state + 1) | ((state & kHalted) == 0 ? flags : 0)));
    return true;
}

// Stands still until no suspension counts. Also called by the signal handler, which answers its signal.
void Halt(ThreadObject& self, std::uint32_t answered = 0) noexcept {
    std::uint32_t state = self.state.SetAndClear(kHalted, answered);
    for (;;) {
        if ((state & kSuspensions) != 0) {
            self.state.Sleep(state);
            state = self.state.Get();
        } else if (self.state.Change(state, state & ~kHalted)) {
            return;
        }
    }
}

extern "C" void KivOnSuspendSignal(int) {
    const int kept = errno;
    if (t_self != nullptr) Halt(*t_self, kSignalled);
    errno = kept;
}

// The signal that has a thread halt. None is on its way but while the lock is held, so that it can be given
// back at unload; nobody suspends another thread from then on.
class SuspendSignal {
public:
    constexpr SuspendSignal() = default;

    ~SuspendSignal() {
        const std::lock_guard held(m_lock);
        const int             number = m_number.exchange(0);
        if (number != 0) ::signal(number, SIG_DFL);
    }

    SuspendSignal(const SuspendSignal&)            = delete;
    SuspendSignal& operator=(const SuspendSignal&) = delete;

    // Takes the last real-time signal that the process has no use for, if none was taken yet.
    void Choose() noexcept {
        if (m_number != 0) return;
        const std::lock_guard held(m_lock);

        struct ::sigaction ours {};

        ours.sa_handler = KivOnSuspendSignal;
        ours.sa_flags   = SA_RESTART;
        ::sigfillset(&ours.sa_mask);
        for (int number = SIGRTMAX; number >= SIGRTMIN && m_number == 0; --number) {
            struct ::sigaction theirs {};

            const bool isFree = ::sigaction(number, nullptr, &theirs) == 0 && theirs.sa_handler == SIG_DFL;
            if (isFree && ::sigaction(number, &ours, nullptr) == 0) m_number = number;
        }
    }

    // SIG_UNBLOCK or SIG_BLOCK, for this thread.
    void SetMask(int how) const noexcept {
        ::sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, m_number);
        ::pthread_sigmask(how, &signals, nullptr);
    }

    // Has another thread halt and waits until it does. One at a time: two threads that suspend each other
    // would halt while they wait, with nobody left to tell.
    void Halt(ThreadObject& object) noexcept {
        const std::lock_guard held(m_lock);
        if (m_number == 0 || !AddSuspension(object, kSignalled)) return;
        // one that is halted already remains so
        if ((object.state.Get() & kSignalled) != 0 && !Send(object)) TakeBack(object);
        object.state.Await(kEnded, kSignalled);
    }

private:
    // The user's queue of signals may be full for a while. False when it is for too long, or the thread gone.
    bool Send(const ThreadObject& object) const noexcept {
        constexpr int          kMostTries = 1000;
        constexpr ::useconds_t kPause     = 1000; // microseconds
        for (int i = 0; i < kMostTries; ++i) {
            if (::syscall(SYS_tgkill, object.process, object.id, m_number.load()) == 0) return true;
            if (errno != EAGAIN) return false;
            ::usleep(kPause);
        }
        return false;
    }

    static void TakeBack(ThreadObject& object) noexcept {
        std::uint32_t state = object.state.Get();
        while (!object.state.Change(state, (state - ((state & kSuspensions) != 0 ? 1 : 0)) & ~kSignalled)) {
        }
    }

    std::mutex       m_lock;
    std::atomic<int> m_number = 0; // 0 is none
};

constinit SuspendSignal g_suspendSignal;

// Waits for what a thread does after its body, which is not long. Not for itself.
void AwaitExit(ThreadObject& object) noexcept {
    const std::lock_guard held(object.joining);
    if (object.isJoined || IsForked(object)) return;
    ::pthread_join(object.thread, nullptr);
    object.isJoined = true;
}

// For a handle that is closed, and for the thread at its end.
void Disown(ThreadObject& object, bool isThread) noexcept {
    if (object.owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (isThread)
        ::pthread_detach(object.thread); // nobody is left to join it
    else
        AwaitExit(object);
    delete &object;
}

struct Start {
    ThreadObject&  object;
    ThreadBody     body;
    void*          argument;
    HANDLE&        thread;
    std::uint32_t& id;
};

// The thread's share in its object, given back however the body is left: pthread_exit() unwinds it.
struct Running {
    explicit Running(ThreadObject& started) : object(started) {
        t_self = &object;
        g_suspendSignal.SetMask(SIG_UNBLOCK); // it was born with the mask of its parent
        object.thread = ::pthread_self();
        object.id     = ::gettid();
    }

    ~Running() {
        g_suspendSignal.SetMask(SIG_BLOCK); // a late one goes with the thread
        t_self = nullptr;
        object.state.SetAndClear(kEnded, 0);
        Set(object.hasEnded);
        Disown(object, true);
    }

    Running(const Running&)            = delete;
    Running& operator=(const Running&) = delete;

    ThreadObject& object;
};

extern "C" void* KivRunThread(void* argument) {
    const Start   start = *static_cast<const Start*>(argument); // which waits no longer than for kStarted
    const Running running(start.object);
    start.id     = static_cast<std::uint32_t>(start.object.id);
    start.thread = &start.object;
    start.object.state.SetAndClear(kStarted, 0);
    start.body(start.argument);
    return nullptr;
}

} // namespace

void StartThread(ThreadBody body, void* argument, HANDLE& thread, std::uint32_t& id) noexcept {
    g_suspendSignal.Choose();
    thread             = nullptr;
    auto* const object = new (std::nothrow) ThreadObject;
    if (object == nullptr) return;
    Start       start{*object, body, argument, thread, id};
    ::pthread_t unused{};
    if (object->hasEnded != nullptr && ::pthread_create(&unused, nullptr, KivRunThread, &start) == 0)
        object->state.Await(kStarted, 0);
    else
        delete object;
}

HANDLE ShareThread(HANDLE thread) noexcept {
    if (thread != nullptr) Object(thread).owners.fetch_add(1, std::memory_order_relaxed);
    return thread;
}

void CloseThread(HANDLE thread) noexcept {
    if (thread != nullptr) Disown(Object(thread), false);
}

bool IsAlive(HANDLE thread) noexcept { return thread != nullptr && !HasEnded(Object(thread)); }

bool JoinThread(HANDLE thread, std::uint32_t ms) noexcept {
    if (thread == nullptr) return false;
    ThreadObject& object = Object(thread);
    if (!IsForked(object) && WaitFor(object.hasEnded, ms) != Wait::Signalled) return false;
    AwaitExit(object);
    return true;
}

void Suspend(HANDLE thread) noexcept {
    if (!IsAlive(thread)) return;
    ThreadObject& object = Object(thread);
    if (&object != t_self)
        g_suspendSignal.Halt(object);
    else if (AddSuspension(object, 0))
        Halt(object);
}

void Resume(HANDLE thread) noexcept {
    if (!IsAlive(thread)) return;
    State&        state = Object(thread).state;
    std::uint32_t seen  = state.Get();
    while ((seen & kSuspensions) != 0 && !state.Change(seen, seen - 1)) {
    }
}

void SetLevel(HANDLE thread, int level) noexcept {
    constexpr int kNicePerLevel = -5;
    if (IsAlive(thread))
        ::setpriority(PRIO_PROCESS, static_cast<::id_t>(Object(thread).id), level * kNicePerLevel);
}

bool IsAloneAtUnload() noexcept { return false; }

} // namespace kiv::platform
