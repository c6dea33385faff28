// Texts for whoever debugs a program.
#ifndef KIVUTILITY_PLATFORM_DEBUGOUTPUT_H
#define KIVUTILITY_PLATFORM_DEBUGOUTPUT_H

namespace kiv::platform {

// Hands the text to the debugger on Windows; writes it as a line to standard error elsewhere. Any thread.
void WriteDebugText(const char* text) noexcept;

} // namespace kiv::platform

#endif
