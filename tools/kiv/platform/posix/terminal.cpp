// The terminal of a POSIX system.
#include "platform/terminal.h"

#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool::platform {

void PrepareStandardStreams() { std::signal(SIGPIPE, SIG_IGN); }

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) != 0; }

int TerminalColumns(std::FILE* stream) {
    winsize size{};
    return ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void MakeBinary(std::FILE* /*stream*/) {}

} // namespace tool::platform
