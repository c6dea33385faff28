// A console's window off Windows.
#include "console_window.h"

namespace {

struct QueueWindow : test::ConsoleWindow {
    HWND Handle() const override { return m_window.GetHandle(); }

    std::optional<test::WindowMessage> Next(int timeoutMs) override {
        KivWindowMessage message{};
        if (!m_window.Get(message, timeoutMs)) return std::nullopt;
        return test::WindowMessage{message.id, message.wParam, message.lParam};
    }

    KivMessageWindow m_window;
};

} // namespace

std::unique_ptr<test::ConsoleWindow> test::OpenConsoleWindow() { return std::make_unique<QueueWindow>(); }
