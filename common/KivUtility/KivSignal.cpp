// The signal service: the ring, the mailboxes, and the thread between them.
//
// Locks are taken in this order: the dispatcher's, then one mailbox's. The ring's is held with neither. The
// condition mutexes are waited on with nothing but their mailbox's lock held.
#include "KivSignal.h"

#include "platform/thread.h"
#include "platform/threadid.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

constexpr int  kWaitTimeMs = 1000;
constexpr auto kStopTime   = std::chrono::milliseconds(20);
constexpr int  kEndTurnMs  = 1; // between two wakes of a thread that is to end

// How often a listener that is about to lock its mailbox steps aside for who is to deliver into it.
constexpr int kMostYields = 1000;

bool IsIn(std::uint32_t mask, Kiv_SIGNALS signal) {
    return static_cast<unsigned int>(signal) < 32 && (mask >> signal & 1) != 0;
}

} // namespace

// In this order: the dispatcher's thread uses the registrar until the dispatcher is destroyed.
CKivSignalRegistrar  g_theSignalRegistrar;
CKivSignalDispatcher g_theSignalDispatcher;

int CKivSignalDesc::setPayload(const void* data, int length) {
    if (length > kMaxPayload) return 0;
    if (data == nullptr) length = 0;
    if (length < 0) return 0;
    std::copy_n(static_cast<const unsigned char*>(data), length, m_payload.data());
    m_payloadLength = length;
    return 1;
}

void CKivSignalDesc::getPayload(void** data, int* length) {
    *data   = m_payload.data();
    *length = m_payloadLength;
}

int CKivSignalRegistrar::raiseSignal(Kiv_SIGNALS signal, Kiv_LISTENERS listener, unsigned long listenerMask,
                                     const void* payload, int length) {
    const ScopeLock held(m_lock);
    const int       next = (m_tail + 1) % kSlots;
    CKivSignalDesc& slot = m_ring[static_cast<std::size_t>(m_tail)];
    if (next == m_head || slot.setPayload(payload, length) == 0) return 0;
    slot.m_signal       = signal;
    slot.m_listener     = listener;
    slot.m_listenerMask = static_cast<std::uint32_t>(listenerMask);
    m_tail              = next;
    this->signal();
    return 1;
}

int CKivSignalRegistrar::getNextSignal(CKivSignalDesc** out, int ms) {
    {
        const ScopeLock held(*this);
        // what is queued without a wake stays queued, kept
        if (timedwait(static_cast<unsigned int>(ms)) != 0) return 0;
    }
    const ScopeLock held(m_lock);
    if (m_head == m_tail) return 0;
    *out   = &m_ring[static_cast<std::size_t>(m_head)];
    m_head = (m_head + 1) % kSlots;
    return 1;
}

int CKivSignalHandlerDesc::addListener(KivThread* thread) {
    KivThread* nobody = nullptr;
    return m_listener.compare_exchange_strong(nobody, thread) ? 1 : 0;
}

void CKivSignalHandlerDesc::removeListener() { m_listener = nullptr; }

void CKivSignalHandlerDesc::setSignalMask(unsigned long mask) {
    m_signalMask = static_cast<std::uint32_t>(mask);
}

int CKivSignalHandlerDesc::deliverSignal(Kiv_SIGNALS signal, const void* payload, int length) {
    ++m_deliverers;
    const ScopeLock held(*this);
    --m_deliverers;
    if (m_listener == nullptr || !IsIn(m_signalMask, signal) || m_pending.m_signal != 0) return 0;
    if (m_pending.setPayload(payload, length) == 0) return 0;
    m_pending.m_signal = signal;
    m_delivered.signal();
    return 1;
}

int CKivSignalHandlerDesc::wait(int ms) {
    // A listener waits again at once, and who waited for the lock meanwhile is slower than that: without a
    // chance to come in between it might never have it.
    for (int i = 0; i < kMostYields && m_deliverers != 0; ++i) std::this_thread::yield();
    const ScopeLock held(*this); // over the wait, kept: nothing can be delivered before it returns
    return m_pending.m_signal != 0 || timedwait(ms) == 0 ? 1 : 0;
}

int CKivSignalHandlerDesc::timedwait(int ms) {
    const ScopeLock held(m_delivered);
    return m_delivered.timedwait(static_cast<unsigned int>(ms));
}

int CKivSignalHandlerDesc::fetchSigcontext(Kiv_SIGNALS* signal, void* buffer, unsigned int size) {
    const ScopeLock held(*this);
    if (m_listener == nullptr) return 0;
    *signal = m_pending.m_signal;
    if (m_pending.m_signal == 0) return 1;
    m_pending.m_signal = {};
    const auto length  = static_cast<unsigned int>(m_pending.m_payloadLength);
    std::copy_n(m_pending.m_payload.data(), std::min(size, length), static_cast<unsigned char*>(buffer));
    return length < size ? 1 : 0; // 0 also for an exact fit, kept
}

CKivSignalDispatcher::~CKivSignalDispatcher() {
    if (!kiv::platform::IsAloneAtUnload()) EndThread();
}

CKivSignalHandlerDesc* CKivSignalDispatcher::Mailbox(Kiv_LISTENERS slot) {
    const auto at = static_cast<unsigned int>(slot);
    return at < m_mailboxes.size() ? &m_mailboxes[at] : nullptr;
}

CKivSignalHandlerDesc* CKivSignalDispatcher::addListener(Kiv_LISTENERS slot, long signalMask,
                                                         KivThread* thread) {
    const ScopeLock              held(m_lock);
    CKivSignalHandlerDesc* const mailbox = Mailbox(slot);
    if (mailbox == nullptr || thread == nullptr || mailbox->addListener(thread) == 0) return nullptr;
    mailbox->setSignalMask(static_cast<unsigned long>(signalMask));
    return mailbox;
}

void CKivSignalDispatcher::removeListener(Kiv_LISTENERS slot) {
    const ScopeLock              held(m_lock);
    CKivSignalHandlerDesc* const mailbox = Mailbox(slot);
    if (mailbox != nullptr) mailbox->removeListener();
}

int CKivSignalDispatcher::StartUp() {
    EndThread();
    return start() ? 0 : 1; // the sense is the other way round, kept
}

void CKivSignalDispatcher::run() {
    {
        const ScopeLock held(m_lock);
        m_isToStop   = false;
        m_waitTimeMs = kWaitTimeMs;
    }
    CKivSignalDesc* next = nullptr;
    while (!m_isToStop) {
        if (g_theSignalRegistrar.getNextSignal(&next, m_waitTimeMs) != 0) handleOneBatch(next);
    }
}

void CKivSignalDispatcher::stop() {
    const ScopeLock held(m_lock);
    m_isToStop = true;
    std::this_thread::sleep_for(kStopTime);
}

void CKivSignalDispatcher::ack(int) { const ScopeLock held(m_lock); }

void CKivSignalDispatcher::handleOneBatch(CKivSignalDesc* desc) {
    const ScopeLock held(m_lock);
    if (desc == nullptr) return;
    void* payload = nullptr;
    int   length  = 0;
    desc->getPayload(&payload, &length);
    unsigned long rest = desc->GetListenerMask();
    for (CKivSignalHandlerDesc& mailbox : m_mailboxes) {
        if ((rest & 1) != 0) mailbox.deliverSignal(desc->GetSignal(), payload, length);
        rest >>= 1;
    }
}

void CKivSignalDispatcher::EndThread() {
    if (m_handle == nullptr || m_threadId == kiv::platform::CurrentThreadId()) return;
    do {
        // Not by stop(): the lock that it takes may be held by a delivery to a listener that waits. Again and
        // again: a thread that has not come to its loop yet does not hear the flag, one that does not wait
        // does not hear the wake, and somebody may have suspended it.
        m_isToStop = true;
        for (int i = 0; i <= kiv::platform::kMostSuspensions; ++i)
            resume(); // first: it may hold what signal() takes
        g_theSignalRegistrar.signal();
        for (CKivSignalHandlerDesc& mailbox : m_mailboxes) mailbox.m_delivered.signal();
    } while (!kiv::platform::JoinThread(m_handle, kEndTurnMs));
}
