// A console's window, made and read as each system does it.
#ifndef KIVUTILITY_TESTS_CONSOLE_WINDOW_H
#define KIVUTILITY_TESTS_CONSOLE_WINDOW_H

#include "KivUtility.h"

#include <memory>

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

} // namespace test

#endif
