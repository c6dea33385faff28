// Kernel objects on futexes: tokens that threads wait for in the order in which they came, and robust
// mutexes.
#include "platform/kernelobject.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <limits>
#include <linux/futex.h>
#include <mutex>
#include <new>
#include <optional>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kiv::platform {

namespace {

// A moment of the clock that nobody sets; none is never.
using Deadline = std::optional<std::timespec>;

Deadline After(std::uint32_t ms) {
    if (ms == kForever) return std::nullopt;
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    std::timespec  at{};
    ::clock_gettime(CLOCK_MONOTONIC, &at);
    at.tv_sec += ms / 1000;
    at.tv_nsec += static_cast<long>(ms % 1000) * 1'000'000;
    if (at.tv_nsec >= kNanosecondsPerSecond) {
        at.tv_nsec -= kNanosecondsPerSecond;
        ++at.tv_sec;
    }
    return at;
}

// Sleeps while `word` is 0; false when the deadline passed. The kernel may look at the word no longer than
// the sleeper does, so it can stand on the sleeper's stack.
bool SleepWhileZero(const std::atomic<std::uint32_t>& word, const Deadline& deadline) {
    while (word.load(std::memory_order_acquire) == 0) {
        const long result = ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, 0,
                                      deadline ? &*deadline : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
        if (result == -1 && errno == ETIMEDOUT) return false;
    }
    return true;
}

class KernelObject {
public:
    KernelObject()                               = default;
    KernelObject(const KernelObject&)            = delete;
    KernelObject& operator=(const KernelObject&) = delete;

    virtual Wait WaitFor(std::uint32_t ms) = 0;
    virtual void Close()                   = 0; // deletes it, where that can be done

protected:
    virtual ~KernelObject() = default;
};

// A semaphore, or an event, which is one of at most one token. Each wait under way has a word of its own, so
// that it is this wait that a token ends, and no later one that happens to look first.
class Tokens : public KernelObject {
public:
    explicit Tokens(std::int32_t count, bool manualReset = false)
        : m_count(count), m_manualReset(manualReset) {}

    Wait WaitFor(std::uint32_t ms) override {
        Waiter self;
        {
            const std::lock_guard held(m_lock);
            if (m_count > 0) {
                if (!m_manualReset) --m_count;
                return Wait::Signalled;
            }
            if (ms == 0) return Wait::TimedOut;
            Append(self);
        }
        if (SleepWhileZero(self.woken, After(ms)) || !Withdraw(self)) return Wait::Signalled;
        return Wait::TimedOut;
    }

    void Close() override { delete this; }

    void Post(std::int32_t count) {
        std::unique_lock held(m_lock);
        if (count > std::numeric_limits<std::int32_t>::max() - m_count) return;
        Waiter* const chain = Take(count);
        m_count += count;
        held.unlock();
        Wake(chain);
    }

    // Ends the waits under way that one signal is for, and leaves the event as it is told.
    void Signal(bool leaveSignalled) {
        std::unique_lock held(m_lock);
        std::int32_t     tokens = m_manualReset ? std::numeric_limits<std::int32_t>::max() : 1;
        Waiter* const    chain  = Take(tokens);
        m_count                 = leaveSignalled && tokens > 0 ? 1 : 0;
        held.unlock();
        Wake(chain);
    }

    void Reset() {
        const std::lock_guard held(m_lock);
        m_count = 0;
    }

private:
    // On its thread's stack. Gone as soon as it is woken, or has withdrawn.
    struct Waiter {
        std::atomic<std::uint32_t> woken  = 0;
        Waiter*                    before = nullptr;
        Waiter*                    behind = nullptr;
        bool                       queued = false; // under the lock; one that was taken will be woken
    };

    void Append(Waiter& waiter) {
        waiter.queued                                  = true;
        waiter.before                                  = m_last;
        (m_last != nullptr ? m_last->behind : m_first) = &waiter;
        m_last                                         = &waiter;
    }

    void Remove(Waiter& waiter) {
        waiter.queued                                                = false;
        (waiter.before != nullptr ? waiter.before->behind : m_first) = waiter.behind;
        (waiter.behind != nullptr ? waiter.behind->before : m_last)  = waiter.before;
    }

    // For a wait whose time ran out. False when a token was its already: then it has ended as any other.
    bool Withdraw(Waiter& waiter) {
        {
            const std::lock_guard held(m_lock);
            if (waiter.queued) {
                Remove(waiter);
                return true;
            }
        }
        return !SleepWhileZero(waiter.woken, std::nullopt);
    }

    // Takes those who have waited longest off the queue, one a token, and takes as many off `tokens`.
    Waiter* Take(std::int32_t& tokens) {
        Waiter* const chain = m_first;
        Waiter*       last  = nullptr;
        for (; tokens > 0 && m_first != nullptr; --tokens) {
            last = m_first;
            Remove(*last);
        }
        if (last == nullptr) return nullptr;
        last->behind = nullptr;
        return chain;
    }

    // Without the lock, which those who are woken may want next.
    static void Wake(Waiter* chain) {
        while (chain != nullptr) {
            std::atomic<std::uint32_t>& word = chain->woken;
            chain                            = chain->behind;
            word.store(1, std::memory_order_release);
            // The thread may have gone on, and its word with it: a wake for nobody, at worst one too many for
            // somebody else, and those look again.
            ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
        }
    }

    std::mutex   m_lock; // guards all that follows
    Waiter*      m_first = nullptr;
    Waiter*      m_last  = nullptr;
    std::int32_t m_count; // above 0 only where nobody waits
    const bool   m_manualReset;
};

// Of this thread, never that of another one, also after it ended.
std::uint64_t ThreadSerial() noexcept {
    static std::atomic<std::uint64_t> last   = 0;
    thread_local std::uint64_t        serial = 0;
    if (serial == 0) serial = ++last;
    return serial;
}

// A robust mutex, which the kernel hands on when its owner ends. The recursion is counted here, because who
// owns it has to be known here: others may release it, and that must not reach the mutex.
class OwnedMutex : public KernelObject {
public:
    OwnedMutex() {
        ::pthread_mutexattr_t attributes;
        ::pthread_mutexattr_init(&attributes);
        ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        ::pthread_mutex_init(&m_mutex, &attributes);
        ::pthread_mutexattr_destroy(&attributes);
    }

    Wait WaitFor(std::uint32_t ms) override {
        if (!IsMine()) {
            const int result = Acquire(ms);
            if (result == EBUSY || result == ETIMEDOUT) return Wait::TimedOut;
            if (result == EOWNERDEAD)
                ::pthread_mutex_consistent(&m_mutex);
            else if (result != 0)
                return Wait::Failed;
            m_owner.store(ThreadSerial(), std::memory_order_relaxed);
            m_depth = 0;
        }
        ++m_depth;
        return Wait::Signalled;
    }

    void Release() {
        if (!IsMine() || --m_depth > 0) return;
        m_owner.store(0, std::memory_order_relaxed);
        ::pthread_mutex_unlock(&m_mutex);
    }

    void Close() override {
        if (!IsMine() && WaitFor(0) != Wait::Signalled) return; // the owner's end will have it looked at
        m_depth = 1;
        Release();
        delete this;
    }

protected:
    ~OwnedMutex() override { ::pthread_mutex_destroy(&m_mutex); }

private:
    // Any thread may ask: nobody else writes the asker's number.
    bool IsMine() const { return m_owner.load(std::memory_order_relaxed) == ThreadSerial(); }

    int Acquire(std::uint32_t ms) {
        if (ms == 0) return ::pthread_mutex_trylock(&m_mutex);
        const Deadline deadline = After(ms);
        if (!deadline) return ::pthread_mutex_lock(&m_mutex);
        return ::pthread_mutex_clocklock(&m_mutex, CLOCK_MONOTONIC, &*deadline);
    }

    ::pthread_mutex_t          m_mutex{};
    std::atomic<std::uint64_t> m_owner = 0;
    std::atomic<std::uint32_t> m_depth =
        0; // the owner's; atomic as no release stands between a thread that ended and the next owner
};

HANDLE AsHandle(KernelObject* object) { return object; }

// `action` on what the handle names, unless it is null.
template <class Object, class Action> void With(HANDLE handle, Action action) {
    if (handle != nullptr) action(*static_cast<Object*>(static_cast<KernelObject*>(handle)));
}

} // namespace

HANDLE NewMutex() noexcept { return AsHandle(new (std::nothrow) OwnedMutex); }

HANDLE NewSemaphore(std::int32_t initial) noexcept { return AsHandle(new (std::nothrow) Tokens(initial)); }

HANDLE NewEvent(bool manualReset, bool signalled) noexcept {
    return AsHandle(new (std::nothrow) Tokens(signalled ? 1 : 0, manualReset));
}

void Close(HANDLE object) noexcept {
    With<KernelObject>(object, [](KernelObject& closed) { closed.Close(); });
}

Wait WaitFor(HANDLE object, std::uint32_t ms) noexcept {
    return object != nullptr ? static_cast<KernelObject*>(object)->WaitFor(ms) : Wait::Failed;
}

void Release(HANDLE mutex) noexcept {
    With<OwnedMutex>(mutex, [](OwnedMutex& owned) { owned.Release(); });
}

void Post(HANDLE semaphore, std::int32_t count) noexcept {
    With<Tokens>(semaphore, [&](Tokens& tokens) { tokens.Post(count); });
}

void Set(HANDLE event) noexcept {
    With<Tokens>(event, [](Tokens& tokens) { tokens.Signal(true); });
}

void Pulse(HANDLE event) noexcept {
    With<Tokens>(event, [](Tokens& tokens) { tokens.Signal(false); });
}

void Reset(HANDLE event) noexcept {
    With<Tokens>(event, [](Tokens& tokens) { tokens.Reset(); });
}

} // namespace kiv::platform
