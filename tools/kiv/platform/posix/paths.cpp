// On POSIX systems a name is bytes, everywhere.
#include "platform/paths.h"

namespace tool::platform {

std::filesystem::path FromNarrow(const std::string& name) { return name; }

std::string ToNarrow(const std::filesystem::path& path) { return path.native(); }

std::string ToUtf8(const std::filesystem::path& path) { return path.native(); }

} // namespace tool::platform
