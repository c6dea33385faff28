// Where the running program lies.
#ifndef KIVUTILITY_PLATFORM_EXECUTABLE_H
#define KIVUTILITY_PLATFORM_EXECUTABLE_H

#include <string>

namespace kiv::platform {

// The folder of the running executable with the separator behind it, spelt as the system's narrow file calls
// take it; empty when the system does not tell. Throws std::bad_alloc.
std::string ExecutableFolder();

} // namespace kiv::platform

#endif
