// Names of files, between the narrow text of the command line and of the library and the system's own.
#ifndef KIVTOOL_PLATFORM_PATHS_H
#define KIVTOOL_PLATFORM_PATHS_H

#include <filesystem>
#include <string>

namespace tool::platform {

// The path that a narrow name means: its bytes, or its text in the system's code page on Windows.
std::filesystem::path FromNarrow(const std::string& name);

// The narrow name of a path, as the library takes it; empty where the code page cannot spell the path.
std::string ToNarrow(const std::filesystem::path& path);

// The name as UTF-8. Where names are bytes it is those bytes, which need not be UTF-8.
std::string ToUtf8(const std::filesystem::path& path);

} // namespace tool::platform

#endif
