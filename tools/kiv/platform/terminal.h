// The standard streams and the terminal that they may lead to.
#ifndef KIVTOOL_PLATFORM_TERMINAL_H
#define KIVTOOL_PLATFORM_TERMINAL_H

#include <cstdio>

namespace tool::platform {

// Called once, before anything is written: from then on writing to a pipe that nobody reads fails instead
// of ending the program, as does writing more than a file may hold, and a terminal takes our text as UTF-8.
void PrepareStandardStreams();

bool IsTerminal(std::FILE* stream);

// Characters in a line of the terminal behind `stream`; 0 where there is none or it does not tell.
int TerminalColumns(std::FILE* stream);

// From now on the bytes of `stream` go out or come in as they are, line ends too.
void MakeBinary(std::FILE* stream);

} // namespace tool::platform

#endif
