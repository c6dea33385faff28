// Writing a small file so that it is there complete or not at all.
#ifndef KIVUTILITY_PLATFORM_WHOLEFILE_H
#define KIVUTILITY_PLATFORM_WHOLEFILE_H

#include <span>
#include <string>

namespace kiv::platform {

// Writes `bytes` down to the disk under the name `temporary`, which must be free, and gives the file the name
// `path` then, in place of a file that may have it: whoever opens `path` finds the old file or the whole new
// one. Both are in one folder, and spelt as the system's narrow file calls take them. Everybody may read the
// file, as far as the process's own mask allows. False on any failure: `path` is then as it was, and
// `temporary` is gone.
bool WriteWholeFile(const std::string& path, const std::string& temporary,
                    std::span<const unsigned char> bytes) noexcept;

} // namespace kiv::platform

#endif
