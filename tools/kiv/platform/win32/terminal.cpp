// The console of Windows.
#include "platform/terminal.h"

#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace tool::platform {

namespace {

HANDLE HandleOf(std::FILE* stream) { return reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream))); }

UINT g_codePageBefore = 0;

} // namespace

void PrepareStandardStreams() {
    // the console keeps its code page beyond this program's end
    g_codePageBefore = ::GetConsoleOutputCP();
    if (g_codePageBefore == 0 || ::SetConsoleOutputCP(CP_UTF8) == 0) return;
    std::atexit([] { ::SetConsoleOutputCP(g_codePageBefore); });
}

// _isatty says yes to every device, the null device too.
bool IsTerminal(std::FILE* stream) {
    DWORD mode = 0;
    return ::GetConsoleMode(HandleOf(stream), &mode) != 0;
}

int TerminalColumns(std::FILE* stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (::GetConsoleScreenBufferInfo(HandleOf(stream), &info) == 0) return 0;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

void MakeBinary(std::FILE* stream) { ::_setmode(::_fileno(stream), _O_BINARY); }

} // namespace tool::platform
