// A console's window, made and read as each system does it.
#ifndef KIVUTILITY_TESTS_CONSOLE_WINDOW_H
#define KIVUTILITY_TESTS_CONSOLE_WINDOW_H

#include "KivUtility.h"

#include <memory>
#include <string>

namespace test {

// Belongs to the thread that opened it; any thread may post to it.
class ConsoleWindow {
public:
    virtual ~ConsoleWindow()    = default;
    virtual HWND Handle() const = 0;

    // The id and the first parameter of the oldest message, waited for at most `timeoutMs` milliseconds.
    // False when there is none.
    virtual bool Next(unsigned int& id, WPARAM& wParam, int timeoutMs) = 0;
};

std::unique_ptr<ConsoleWindow> OpenConsoleWindow();

// What a message held, copied before the message was disposed of; id 0 when none came.
struct Received {
    unsigned int      id    = 0;
    std::string       text  = {};
    Kiv_EVENTLOG_INFO event = {};
};

// The oldest message, waited for at most `timeoutMs` milliseconds.
inline Received Receive(ConsoleWindow& window, int timeoutMs = 0) {
    Received received;
    WPARAM   wParam = 0;
    if (!window.Next(received.id, wParam, timeoutMs)) return {};
    const auto& envelope = *reinterpret_cast<const Kiv_SPMSG_ENVELOPE*>(wParam);
    const auto* block    = reinterpret_cast<const char*>(envelope.payload);
    switch (envelope.type) {
    case Kiv_SPMSG_INT: received.text = std::to_string(static_cast<int>(envelope.payload)); break;
    case Kiv_SPMSG_STRING: received.text = block; break;
    case Kiv_SPMSG_SESSION:
        received.text = reinterpret_cast<const Kiv_STM_SESSION_INFO*>(block)->clientName;
        break;
    case Kiv_SPMSG_EVENTLOG:
        received.event = *reinterpret_cast<const Kiv_EVENTLOG_INFO*>(block);
        received.text  = received.event.text;
    }
    CSvrPostMsg::DisposeMsg(wParam);
    return received;
}

} // namespace test

#endif
