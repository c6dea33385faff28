// Threads, on those of the system.
#include "KivThread.h"

#include "platform/thread.h"

#include <iterator>

namespace {

// By ThreadPriority; the numbers of Windows.
constexpr int kLevels[] = {kiv::platform::kHighestLevel, 0, kiv::platform::kLowestLevel};
static_assert(kLevels[KivThread::PRIORITY_HIGH] > kLevels[KivThread::PRIORITY_NORMAL]
              && kLevels[KivThread::PRIORITY_NORMAL] > kLevels[KivThread::PRIORITY_LOW]);

} // namespace

KivRunnable::~KivRunnable() = default;

void KivRunnable::stop() {}

KivThread::KivThread(KivRunnable* runnable) : m_runnable(runnable) {}

KivThread::KivThread(const KivThread& other)
    : KivRunnable(other),
      m_runnable(other.m_runnable),
      m_threadId(other.m_threadId),
      m_handle(kiv::platform::ShareThread(other.m_handle)) {}

KivThread& KivThread::operator=(const KivThread& other) {
    if (this == &other) return *this;
    const HANDLE before = m_handle;
    m_runnable          = other.m_runnable;
    m_threadId          = other.m_threadId;
    m_handle            = kiv::platform::ShareThread(other.m_handle);
    kiv::platform::CloseThread(before);
    return *this;
}

KivThread::~KivThread() {
    if (m_handle != nullptr) KivThread::stop();
    kiv::platform::CloseThread(m_handle);
}

bool KivThread::start() {
    const HANDLE before = m_handle;
    kiv::platform::StartThread([](void* self) { static_cast<KivThread*>(self)->run(); }, this, m_handle,
                               m_threadId);
    kiv::platform::CloseThread(before);
    return m_handle != nullptr;
}

void KivThread::run() {
    if (m_runnable != nullptr) m_runnable->run();
}

void KivThread::stop() {
    if (m_runnable != nullptr) m_runnable->stop();
}

bool KivThread::isAlive() const { return kiv::platform::IsAlive(m_handle); }

void KivThread::join() { join(-1); }

void KivThread::join(long ms) { kiv::platform::JoinThread(m_handle, static_cast<std::uint32_t>(ms)); }

void KivThread::suspend() { kiv::platform::Suspend(m_handle); }

void KivThread::resume() { kiv::platform::Resume(m_handle); }

void KivThread::setPriority(ThreadPriority priority) {
    const auto row = static_cast<unsigned int>(priority);
    if (row < std::size(kLevels)) kiv::platform::SetLevel(m_handle, kLevels[row]);
}
