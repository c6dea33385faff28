// Signals between the threads of a server: a number and a few bytes, raised by anybody, queued for the
// process and put by one dispatcher thread into the mailboxes of those who listen.
//
// Nobody tells a raiser what became of his signal. It is lost where it meets a mailbox that is still full, a
// free slot, or a listener that does not want it; and a signal that is raised while the dispatcher is busy
// may stay in the queue until a later one wakes the dispatcher for it. docs/concurrency.md shows how to live
// with that, and lists what else is particular.
#ifndef KIVUTILITY_KIVSIGNAL_H
#define KIVUTILITY_KIVSIGNAL_H

#include "KivExport.h"
#include "KivSynchronizeUtil.h"
#include "KivThread.h"

#include <array>
#include <atomic>
#include <cstdint>

// The number of a signal, 1 to 31, by which it is also a bit in a mask of signals; 0 is no signal. The values
// are the servers'.
enum Kiv_SIGNALS : int {};

// The slot of a listener, 0 to 5, by which it is also a bit in a mask of listeners. What each is for is the
// servers' business.
enum Kiv_LISTENERS : int {};

// A signal as it was raised.
class KIV_API CKivSignalDesc {
public:
    static constexpr int kMaxPayload = 256;

    // Keeps a copy of `length` bytes, or of none where `data` is null. Returns 1; 0, and the payload as it
    // was, for more than 256 bytes, also of no data, and for less than 0 bytes of some.
    int setPayload(const void* data, int length);

    // Where the payload lies in this object, and its length in bytes. Neither pointer is null.
    void getPayload(void** data, int* length);

    Kiv_SIGNALS GetSignal() const { return m_signal; }

    // As the raiser gave it; no signal goes by it.
    Kiv_LISTENERS GetListener() const { return m_listener; }

    // Bit i is set where slot i is to have it; 32 bits.
    unsigned long GetListenerMask() const { return m_listenerMask; }

private:
    friend class CKivSignalRegistrar;
    friend class CKivSignalHandlerDesc;

    Kiv_SIGNALS                            m_signal{};
    Kiv_LISTENERS                          m_listener{};
    std::uint32_t                          m_listenerMask = 0;
    std::array<unsigned char, kMaxPayload> m_payload{};
    int                                    m_payloadLength = 0;
};

// The queue of the signals that were raised and not taken yet. Any thread may raise; whoever takes them is
// woken through the condition mutex, which nobody else has a use for.
class KIV_API CKivSignalRegistrar : public ConditionMutex {
public:
    // Queues a signal for the listeners in the 32 bits of `listenerMask`, with a copy of `length` bytes, or
    // of none where `payload` is null. Returns 1; 0 when 127 signals wait already, and where setPayload()
    // gives 0. Wakes who waits in getNextSignal() at this moment; nobody else is told of the signal.
    int raiseSignal(Kiv_SIGNALS signal, Kiv_LISTENERS listener, unsigned long listenerMask,
                    const void* payload, int length);

    // Waits to be woken, at most `ms` milliseconds, -1 is for ever, and then takes the signal raised first.
    // One wake takes one signal: without a wake a signal that is queued stays there. Returns 1, and `*out` in
    // the queue itself, where it remains until the next signal is taken; 0, and `*out` as it was, when the
    // time ran out or the queue was empty.
    int getNextSignal(CKivSignalDesc** out, int ms);

private:
    static constexpr int kSlots = 128; // one stays free, that of the signal taken last

    Mutex                              m_lock; // guards what follows; never held while waiting
    std::array<CKivSignalDesc, kSlots> m_ring;
    int                                m_head = 0; // the next to take; none where it is the next to write
    int                                m_tail = 0; // the next to write
};

// The mailbox of a slot. It holds one signal, from its delivery until its listener fetches it. Any thread may
// deliver; one thread, the listener, waits and fetches.
class KIV_API CKivSignalHandlerDesc : public Mutex {
public:
    // Gives a free mailbox to `thread`, which stays the caller's. A signal that waits in it remains. Returns
    // 1, or 0 where it has a listener.
    int addListener(KivThread* thread);

    // Sets the mailbox free.
    void removeListener();

    // Which signals are taken from now on: bit n for signal n, 32 bits. None at first.
    void setSignalMask(unsigned long mask);

    // Puts a signal into the mailbox, with a payload as CKivSignalDesc::setPayload() takes it, and wakes the
    // listener. Returns 1; 0 when nobody listens, when the listener does not take this signal, when the
    // mailbox is full, or the payload refused. While the listener is in wait() this waits for it to return.
    int deliverSignal(Kiv_SIGNALS signal, const void* payload, int length);

    // Whether there is a signal to fetch, 1 or 0. Waits for one at most `ms` milliseconds, 0 only looks, -1
    // is for ever - but keeps the mailbox to itself all that time, so that a signal that comes meanwhile is
    // delivered when the time is over, and found by the next call. So look often and wait little. It may give
    // 1 although there is none: a wake that was meant for a wait before.
    int wait(int ms);

    // Takes the signal out of the mailbox and copies what fits into the `size` bytes of `buffer`; the rest of
    // the payload is gone. Returns 1, and the payload was shorter than `size`; otherwise 0, also where it
    // fitted exactly. Without a signal `*signal` is 0 and the result 1. Without a listener the result is 0,
    // and nothing is touched.
    int fetchSigcontext(Kiv_SIGNALS* signal, void* buffer, unsigned int size);

protected:
    // Waits to be woken; 1 when the time ran out, otherwise 0.
    int timedwait(int ms);

private:
    friend class CKivSignalDispatcher;

    // both also read without the lock, which is held as long as the listener waits
    std::atomic<std::uint32_t> m_signalMask = 0;
    std::atomic<KivThread*>    m_listener   = nullptr;
    std::atomic<int>           m_deliverers = 0; // who are about to take the lock

    CKivSignalDesc m_pending; // under this lock; none where its number is 0
    ConditionMutex m_delivered;
};

// The thread that takes the signals off g_theSignalRegistrar and puts them into six mailboxes. Any thread may
// call, unless it says otherwise.
class KIV_API CKivSignalDispatcher : public KivThread {
public:
    CKivSignalDispatcher() = default;

    // Ends the thread and waits for that; not if the caller is this thread. No listener uses its mailbox any
    // more.
    ~CKivSignalDispatcher() override;

    // Gives slot `slot` to `thread`, for the signals in the 32 bits of `signalMask`. The mailbox stays this
    // object's, and the caller's to wait at until removeListener(). Null where there is no such slot, no
    // thread, or a listener already.
    CKivSignalHandlerDesc* addListener(Kiv_LISTENERS slot, long signalMask, KivThread* thread);

    // Sets a slot free; nothing is delivered to it any more. A slot that there is not is ignored.
    void removeListener(Kiv_LISTENERS slot);

    // Dispatches until it is stopped; the body of the thread.
    void run() override;

    // Asks the thread to end, takes 20 milliseconds for that and does not wait for it: it ends after its
    // wait, in a second at most. A thread that was just started and has not come to run() yet does not hear
    // it.
    void stop() override;

    // Starts the thread, after the end of the one that was started before. Returns 0 when it was started and
    // 1 when it could not be - not the other way round. One thread at a time.
    virtual int StartUp();

    // Waits until a delivery under way is done. What it is given makes no difference.
    void ack(int);

protected:
    // Delivers a signal to the slots in its mask; null is none. Bits above the sixth count for nothing.
    void handleOneBatch(CKivSignalDesc* desc);

private:
    // Null where there is none.
    CKivSignalHandlerDesc* Mailbox(Kiv_LISTENERS slot);

    // Ends the thread, if one was started, and waits for that. Does nothing in this thread itself.
    void EndThread();

    std::atomic<bool>                    m_isToStop   = false;
    int                                  m_waitTimeMs = 0; // the thread's
    Mutex                                m_lock;           // held for a whole delivery
    std::array<CKivSignalHandlerDesc, 6> m_mailboxes;
};

// The process's one queue and its dispatcher, there as long as the library is loaded. Whoever serves signals
// calls g_theSignalDispatcher.StartUp(); nothing here starts by itself. The dispatcher need not be stopped
// before the process ends or unloads the library. On Windows the library stays loaded while it runs.
extern KIV_API CKivSignalRegistrar  g_theSignalRegistrar;
extern KIV_API CKivSignalDispatcher g_theSignalDispatcher;

#endif
