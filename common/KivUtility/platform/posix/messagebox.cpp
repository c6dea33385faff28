// A line on standard error instead of a message box.
#include "platform/messagebox.h"

#include <cstdio>

namespace kiv::platform {

void ShowMessageBox(const char* title, const char* text) noexcept {
    std::fprintf(stderr, "%s: %s\n", title, text);
}

} // namespace kiv::platform
