// A console's window off Windows.
#include "console_window.h"

namespace {

struct QueueWindow : test::ConsoleWindow {
    HWND Handle() const override { return m_window.GetHandle(); }

    bool Next(unsigned int& id, WPARAM& wParam, int timeoutMs) override {
        KivWindowMessage message{};
        const bool       came = m_window.Get(message, timeoutMs);
        id                    = message.id;
        wParam                = message.wParam;
        return came;
    }

    KivMessageWindow m_window;
};

} // namespace

std::unique_ptr<test::ConsoleWindow> test::OpenConsoleWindow() { return std::make_unique<QueueWindow>(); }
