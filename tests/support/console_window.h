// A console's window, made and read as each system does it.
#ifndef KIVUTILITY_TESTS_CONSOLE_WINDOW_H
#define KIVUTILITY_TESTS_CONSOLE_WINDOW_H

#include "KivUtility.h"

#include <memory>
#include <optional>

namespace test {

struct WindowMessage {
    unsigned int id;
    WPARAM       wParam;
    LPARAM       lParam;
};

// Used by the thread that opened it; any thread may post to it. Goes with what was not fetched.
class ConsoleWindow {
public:
    virtual ~ConsoleWindow() = default;

    virtual HWND Handle() const = 0;

    // The oldest message, waited for at most `timeoutMs` milliseconds.
    virtual std::optional<WindowMessage> Next(int timeoutMs) = 0;
};

std::unique_ptr<ConsoleWindow> OpenConsoleWindow();

} // namespace test

#endif
