// Posting to the system's windows.
#include "platform/window.h"

namespace kiv::platform {

bool PostToWindow(HWND window, unsigned int id, WPARAM wParam, LPARAM lParam) noexcept {
    return ::PostMessageA(window, id, wParam, lParam) != 0;
}

} // namespace kiv::platform
