// Writing a whole file through POSIX descriptors.
#include "platform/wholefile.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

namespace kiv::platform {

namespace {

bool WriteAll(int descriptor, std::span<const unsigned char> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

// The name is an entry of the folder, which reaches the disk by itself.
void FlushFolder(const std::string& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

bool WriteWholeFile(const std::string& path, const std::string& temporary,
                    std::span<const unsigned char> bytes) noexcept {
    const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor < 0) return false;
    const bool written = WriteAll(descriptor, bytes) && ::fsync(descriptor) == 0;
    const bool closed  = ::close(descriptor) == 0;
    if (written && closed && ::rename(temporary.c_str(), path.c_str()) == 0) {
        try {
            FlushFolder(path.substr(0, path.rfind('/') + 1) + '.');
        } catch (const std::exception&) { // the file is in its place all the same
        }
        return true;
    }
    ::unlink(temporary.c_str());
    return false;
}

} // namespace kiv::platform
