// The running program's folder, from its module's file name.
#include "platform/executable.h"

#include "KivPlatform.h"

#include <mbstring.h>

namespace kiv::platform {

std::string ExecutableFolder() {
    std::string path(32768, '\0'); // the longest that the system knows
    const DWORD length = ::GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length >= path.size()) return {};
    // in a Chinese code page the second byte of a character may look like a backslash
    const auto*                start = reinterpret_cast<const unsigned char*>(path.c_str());
    const unsigned char* const slash = ::_mbsrchr(start, '\\');
    return slash != nullptr ? path.substr(0, static_cast<std::size_t>(slash - start) + 1) : std::string();
}

} // namespace kiv::platform
