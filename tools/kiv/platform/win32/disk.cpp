// Writing files on Windows.
#include "platform/disk.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace tool::platform {

namespace {

std::error_code LastError() { return {static_cast<int>(::GetLastError()), std::system_category()}; }

std::FILE* Open(const std::filesystem::path& path, DWORD disposition, std::error_code& error) {
    // shared for deletion: an interrupt removes the file while it is open
    const HANDLE handle = ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                        nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    error               = handle == INVALID_HANDLE_VALUE ? LastError() : std::error_code();
    if (error) return nullptr;
    return ::_fdopen(::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_BINARY), "wb");
}

std::atomic<const std::filesystem::path*> g_unfinished = nullptr;

BOOL WINAPI OnInterrupt(DWORD /*event*/) {
    static constexpr char kSaid[] = "kiv: interrupted; the output is as it was before\n";
    if (const std::filesystem::path* path = g_unfinished) {
        DWORD written = 0;
        ::DeleteFileW(path->c_str());
        ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), kSaid, sizeof kSaid - 1, &written, nullptr);
    }
    return FALSE; // the next handler, the system's, ends the program
}

} // namespace

std::FILE* CreateNew(const std::filesystem::path& path, bool /*isPrivate*/, std::error_code& error) {
    return Open(path, CREATE_NEW, error);
}

std::FILE* OpenInPlace(const std::filesystem::path& path, std::error_code& error) {
    return Open(path, OPEN_EXISTING, error);
}

bool IsOpenOn(std::FILE* stream, const std::filesystem::path& path) {
    // a handle without any right opens whoever has the file open
    const DWORD  shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE named =
        ::CreateFileW(path.c_str(), 0, shared, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (named == INVALID_HANDLE_VALUE) return false;
    const HANDLE               opened = reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
    BY_HANDLE_FILE_INFORMATION a{}, b{};
    const bool                 known =
        ::GetFileInformationByHandle(opened, &a) != 0 && ::GetFileInformationByHandle(named, &b) != 0;
    ::CloseHandle(named);
    return known && a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh
           && a.nFileIndexLow == b.nFileIndexLow;
}

void RemoveWhenInterrupted(const std::filesystem::path* path) {
    g_unfinished = path;
    ::SetConsoleCtrlHandler(OnInterrupt, path != nullptr ? TRUE : FALSE);
}

std::error_code FlushToDisk(std::FILE* file) {
    const HANDLE handle = reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(file)));
    if (::GetFileType(handle) != FILE_TYPE_DISK || ::FlushFileBuffers(handle) != 0) return {};
    return LastError();
}

std::error_code Replace(const std::filesystem::path& from, const std::filesystem::path& to) {
    const DWORD flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    return ::MoveFileExW(from.c_str(), to.c_str(), flags) != 0 ? std::error_code() : LastError();
}

} // namespace tool::platform
