// Texts for whoever debugs a program, to the debugger.
#include "platform/debugoutput.h"

#include "KivPlatform.h"

namespace kiv::platform {

void WriteDebugText(const char* text) noexcept { ::OutputDebugStringA(text); }

} // namespace kiv::platform
