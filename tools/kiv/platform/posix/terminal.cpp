// The terminal of a POSIX system.
#include "platform/terminal.h"

#include <csignal>
#include <initializer_list>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool::platform {

// What would end the program while it writes fails there instead, and is reported.
void PrepareStandardStreams() {
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
}

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) != 0; }

int TerminalColumns(std::FILE* stream) {
    winsize size{};
    return ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void MakeBinary(std::FILE* /*stream*/) {}

} // namespace tool::platform
