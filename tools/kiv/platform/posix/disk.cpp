// Writing files on POSIX systems.
#include "platform/disk.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tool::platform {

namespace {

std::error_code LastError() { return {errno, std::generic_category()}; }

std::FILE* Open(const std::filesystem::path& path, int flags, mode_t mode, std::error_code& error) {
    const int descriptor = ::open(path.c_str(), flags | O_WRONLY | O_CLOEXEC | O_NOCTTY, mode);
    error                = descriptor < 0 ? LastError() : std::error_code();
    return descriptor < 0 ? nullptr : ::fdopen(descriptor, "wb");
}

std::atomic<const char*> g_unfinished = nullptr;
static_assert(std::atomic<const char*>::is_always_lock_free, "read by a signal's handler");

void OnInterrupt(int signal) {
    static constexpr char kSaid[] = "kiv: interrupted; the output is as it was before\n";
    if (const char* path = g_unfinished) {
        ::unlink(path);
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, kSaid, sizeof kSaid - 1);
    }
    std::signal(signal, SIG_DFL);
    ::raise(signal);
}

} // namespace

std::FILE* CreateNew(const std::filesystem::path& path, bool isPrivate, std::error_code& error) {
    return Open(path, O_CREAT | O_EXCL, isPrivate ? 0600 : 0666, error);
}

std::FILE* OpenInPlace(const std::filesystem::path& path, std::error_code& error) {
    return Open(path, 0, 0, error);
}

bool IsOpenOn(std::FILE* stream, const std::filesystem::path& path) {
    struct stat opened {
    }, named{};

    return ::fstat(::fileno(stream), &opened) == 0 && ::stat(path.c_str(), &named) == 0
           && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

void RemoveWhenInterrupted(const std::filesystem::path* path) {
    g_unfinished = path != nullptr ? path->c_str() : nullptr;
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU}) {
        // who started us may want the signal ignored, as nohup does
        if (std::signal(signal, OnInterrupt) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
}

std::error_code FlushToDisk(std::FILE* file) {
    // a pipe or a terminal answers that it cannot be synchronised
    if (::fsync(::fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS) return {};
    return LastError();
}

std::error_code Replace(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (::rename(from.c_str(), to.c_str()) != 0) return LastError();
    // the new name is an entry of the folder, which reaches the disk by itself
    const std::filesystem::path folder     = to.has_parent_path() ? to.parent_path() : ".";
    const int                   descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
    return {};
}

} // namespace tool::platform
