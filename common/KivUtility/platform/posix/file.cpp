// Reading files through POSIX descriptors.
#include "platform/file.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace kiv::platform {

std::unique_ptr<File> File::OpenForReading(const char* path) noexcept {
    // O_NONBLOCK: a FIFO without a writer would hold the opening up; it means nothing for a regular file
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) return nullptr;

    struct stat status {};

    std::unique_ptr<File> file;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        file.reset(new (std::nothrow) File(descriptor, static_cast<std::uint64_t>(status.st_size)));
    }
    if (!file) ::close(descriptor);
    return file;
}

File::~File() { ::close(static_cast<int>(m_handle)); }

std::size_t File::ReadAt(std::uint64_t offset, std::span<unsigned char> into) const noexcept {
    std::size_t done = 0;
    while (done < into.size()) {
        const ssize_t got = ::pread(static_cast<int>(m_handle), into.data() + done, into.size() - done,
                                    static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
        // the end as it was at the opening: asking again would only cost a call
        if (offset + done >= m_size) break;
    }
    return done;
}

} // namespace kiv::platform
