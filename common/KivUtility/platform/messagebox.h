// Telling whoever sits at the machine something that nobody asked for.
#ifndef KIVUTILITY_PLATFORM_MESSAGEBOX_H
#define KIVUTILITY_PLATFORM_MESSAGEBOX_H

namespace kiv::platform {

// Shows a message box without owner and with an OK button and waits for that button; on a system without
// windows writes one line to standard error. Neither text is null. Any thread.
void ShowMessageBox(const char* title, const char* text) noexcept;

} // namespace kiv::platform

#endif
