// Reading and writing files through POSIX descriptors.
#include "platform/file.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <new>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kiv::platform {

FileHandle::~FileHandle() {
    if (m_handle != kNone) ::close(static_cast<int>(m_handle));
}

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

std::unique_ptr<OutputFile> OutputFile::Open(const char* path, Existing existing, Readers readers) noexcept {
    const int                   onlyNew = existing == Existing::Refuse ? O_EXCL : 0;
    const mode_t                mode    = readers == Readers::Everybody ? 0644 : 0640;
    std::unique_ptr<OutputFile> file(new (std::nothrow) OutputFile);
    if (!file) return nullptr;
    file->m_handle = ::open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | onlyNew, mode);
    return file->m_handle == kNone ? nullptr : std::move(file);
}

bool OutputFile::Write(std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t written = ::write(static_cast<int>(m_handle), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool OutputFile::Commit() noexcept { return ::fsync(static_cast<int>(m_handle)) == 0; }

bool MoveIntoPlace(const char* from, const char* to) noexcept {
    if (std::rename(from, to) != 0) return false;
    try {
        // The name is an entry of the folder, which reaches the disk by itself.
        const std::string path   = to;
        const std::string folder = path.substr(0, path.rfind('/') + 1) + '.';
        const int         handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (handle >= 0) {
            ::fsync(handle);
            ::close(handle);
        }
    } catch (const std::exception&) { // the file is in its place all the same
    }
    return true;
}

} // namespace kiv::platform
