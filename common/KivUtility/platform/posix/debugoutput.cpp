// Texts for whoever debugs a program, to standard error.
#include "platform/debugoutput.h"

#include <cstdio>

namespace kiv::platform {

void WriteDebugText(const char* text) noexcept { std::fprintf(stderr, "%s\n", text); }

} // namespace kiv::platform
