// Threads: work with a body, and the thread of the system that runs it.
#ifndef KIVUTILITY_KIVTHREAD_H
#define KIVUTILITY_KIVTHREAD_H

#include "KivExport.h"
#include "KivPlatform.h"

#include <cstdint>

// Work that a thread can do.
class KIV_API KivRunnable {
public:
    virtual ~KivRunnable();

    // The work. An exception that leaves it ends the process.
    virtual void run() = 0;

    // Asks the work to end, and does not wait for that. Does nothing unless it is overridden.
    virtual void stop();

protected:
    KivRunnable()                              = default;
    KivRunnable(const KivRunnable&)            = default;
    KivRunnable& operator=(const KivRunnable&) = default;
};

// A thread that runs a KivRunnable, or the run() of a derived class.
//
// The object and its runnable live until the thread has ended, which only isAlive() and join() tell. Nothing
// here has a lock: any number of threads ask, join, suspend and resume, but nobody else uses the object while
// one starts, assigns or destroys it. Operations on a thread that was never started do nothing. Failures are
// not told, but by start().
class KIV_API KivThread : public KivRunnable {
public:
    // HIGH runs before others and LOW behind them, as far as the system lets this process choose.
    enum ThreadPriority : int { PRIORITY_HIGH = 0, PRIORITY_NORMAL = 1, PRIORITY_LOW = 2 };

    KivThread() = default;

    // Runs `runnable`, which stays the caller's; null is none.
    explicit KivThread(KivRunnable* runnable);

    // The same runnable and the same thread, which is then known to both objects. Its body still is the run()
    // of the one that started it.
    KivThread(const KivThread& other);
    KivThread& operator=(const KivThread& other);

    // Asks the runnable of a started thread to stop. Waits for nothing: a thread that still runs goes on.
    ~KivThread() override;

    // Begins a thread that calls run() and ends when that returns. False when the system has no thread to
    // give; the object then knows of none. A thread that was started before goes on, and the object forgets
    // it.
    bool start();

    // The runnable's.
    void run() override;
    void stop() override;

    // Whether the thread was started and has not ended.
    bool isAlive() const;

    // Waits until the thread has ended, at most `ms` milliseconds; 0 only looks, -1 is for ever. Any number
    // of threads may join one. A thread that joins itself waits out the time.
    void join();
    void join(long ms);

    // suspend() stops the thread wherever it is, with every lock that it holds, and has stopped it when it
    // returns; resume() lets it go on once it was called as often. At most 127 suspensions count. A thread
    // may suspend itself. A resume too many is not kept, and a thread that has ended stays ended.
    //
    // Off Windows a signal does it: the last real-time signal that the process had no use for when its first
    // thread was started; where there is none, suspend() stops only its own caller. A thread that blocks this
    // signal stops when it no longer does, and suspend() waits for it. A system call that the signal finds
    // may end with EINTR.
    void suspend();
    void resume();

    // Any other value changes nothing. Who may not raise a priority cannot take back a lower one either.
    void setPriority(ThreadPriority priority);

protected:
    KivRunnable*  m_runnable = nullptr;
    std::uint32_t m_threadId = 0xFFFFFFFF; // the system's, once started; set before run() is called
    HANDLE        m_handle   = nullptr;    // one of the thread's handles, this object's own
};

#endif
