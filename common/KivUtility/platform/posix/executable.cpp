// The running program's folder, as the kernel's process table names it.
#include "platform/executable.h"

#include <filesystem>

namespace kiv::platform {

std::string ExecutableFolder() {
    std::error_code   failed;
    const std::string path = std::filesystem::read_symlink("/proc/self/exe", failed).string();
    return path.substr(0, path.rfind('/') + 1);
}

} // namespace kiv::platform
