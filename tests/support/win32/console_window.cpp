// A console's window: one that only takes messages, of a class that every system has.
#include "console_window.h"

namespace {

struct MessageOnlyWindow : test::ConsoleWindow {
    ~MessageOnlyWindow() override { ::DestroyWindow(m_window); }

    HWND Handle() const override { return m_window; }

    bool Next(unsigned int& id, WPARAM& wParam, int timeoutMs) override {
        const auto timeout = static_cast<DWORD>(timeoutMs);
        MSG        message{};
        while (::PeekMessageA(&message, m_window, WM_APP, 0xFFFF, PM_REMOVE) == 0) {
            if (::MsgWaitForMultipleObjects(0, nullptr, FALSE, timeout, QS_ALLPOSTMESSAGE) != WAIT_OBJECT_0)
                return false;
        }
        id     = message.message;
        wParam = message.wParam;
        return true;
    }

    HWND m_window = ::CreateWindowA("STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
};

} // namespace

std::unique_ptr<test::ConsoleWindow> test::OpenConsoleWindow() {
    return std::make_unique<MessageOnlyWindow>();
}
