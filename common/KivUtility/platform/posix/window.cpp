// Windows of a system that has none: message queues, found by their handles.
#include "platform/window.h"

#include "Undying.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <new>

namespace kiv::platform {

namespace {

constexpr std::size_t kMaxMessages = 10000; // as the message queues of Windows

// One lock for all windows: a process has one console, seldom two, and one lock costs a post less than a lock
// for the table and another for the queue.
struct WindowTable {
    std::mutex                    lock; // guards all that follows, and the queues' messages
    std::uintptr_t                lastHandle = 0;
    std::map<HWND, MessageQueue*> queues; // which holds nothing once it is empty
};

// There may be posts until the process ends.
WindowTable& Table() { return Undying<WindowTable>(); }

} // namespace

// What was posted to one window and not fetched yet.
class MessageQueue {
public:
    MessageQueue() {
        const std::lock_guard held(Table().lock);
        m_handle = reinterpret_cast<HWND>(++Table().lastHandle);
        Table().queues.emplace(m_handle, this);
    }

    ~MessageQueue() {
        const std::lock_guard held(Table().lock);
        Table().queues.erase(m_handle);
    }

    MessageQueue(const MessageQueue&)            = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    HWND Handle() const { return m_handle; }

    // The table's lock is held by the caller.
    bool Put(const KivWindowMessage& message) {
        if (m_messages.size() >= kMaxMessages) return false;
        m_messages.push_back(message);
        m_posted.notify_one();
        return true;
    }

    bool Take(KivWindowMessage& out, int timeoutMs) {
        const auto       isPosted = [&] { return !m_messages.empty(); };
        std::unique_lock held(Table().lock);
        if (timeoutMs < 0)
            m_posted.wait(held, isPosted);
        else if (!m_posted.wait_for(held, std::chrono::milliseconds(timeoutMs), isPosted))
            return false;
        out = m_messages.front();
        m_messages.pop_front();
        return true;
    }

private:
    HWND                         m_handle = nullptr;
    std::deque<KivWindowMessage> m_messages;
    std::condition_variable      m_posted;
};

bool PostToWindow(HWND window, unsigned int id, WPARAM wParam, LPARAM lParam) noexcept {
    try {
        const std::lock_guard held(Table().lock);
        const auto            found = Table().queues.find(window);
        if (found == Table().queues.end()) return false;
        return found->second->Put({id, wParam, lParam});
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace kiv::platform

KivMessageWindow::KivMessageWindow() : m_queue(std::make_unique<kiv::platform::MessageQueue>()) {}

KivMessageWindow::~KivMessageWindow() = default;

HWND KivMessageWindow::GetHandle() const { return m_queue->Handle(); }

bool KivMessageWindow::Get(KivWindowMessage& out, int timeoutMs) { return m_queue->Take(out, timeoutMs); }
