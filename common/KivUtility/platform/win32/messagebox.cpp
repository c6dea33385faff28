// The system's message box.
#include "platform/messagebox.h"

#include "KivPlatform.h"

namespace kiv::platform {

void ShowMessageBox(const char* title, const char* text) noexcept {
    ::MessageBoxA(nullptr, text, title, MB_OK);
}

} // namespace kiv::platform
