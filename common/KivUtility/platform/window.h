// Posting messages to windows.
#ifndef KIVUTILITY_PLATFORM_WINDOW_H
#define KIVUTILITY_PLATFORM_WINDOW_H

#include "KivPlatform.h"

namespace kiv::platform {

// Puts a message at the end of the window's queue and does not wait for anybody to fetch it. False, and
// nothing is queued, when the window no longer exists, when its queue is full (10,000 messages unless the
// system was configured otherwise), or without memory. Any thread.
bool PostToWindow(HWND window, unsigned int id, WPARAM wParam, LPARAM lParam) noexcept;

} // namespace kiv::platform

#endif
