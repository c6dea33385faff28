// Reading files through Win32 handles.
#include "platform/file.h"

#include "KivPlatform.h"

#include <new>

namespace kiv::platform {

namespace {

HANDLE HandleOf(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

} // namespace

std::unique_ptr<File> File::OpenForReading(const char* path) noexcept {
    const HANDLE handle =
        ::CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return nullptr;
    LARGE_INTEGER         size{};
    std::unique_ptr<File> file;
    if (::GetFileType(handle) == FILE_TYPE_DISK && ::GetFileSizeEx(handle, &size) != 0) {
        file.reset(new (std::nothrow) File(reinterpret_cast<std::intptr_t>(handle),
                                           static_cast<std::uint64_t>(size.QuadPart)));
    }
    if (!file) ::CloseHandle(handle);
    return file;
}

File::~File() { ::CloseHandle(HandleOf(m_handle)); }

std::size_t File::ReadAt(std::uint64_t offset, std::span<unsigned char> into) const noexcept {
    std::size_t done = 0;
    while (done < into.size()) {
        const std::uint64_t at = offset + done;
        OVERLAPPED          position{};
        position.Offset     = static_cast<DWORD>(at & 0xFFFFFFFF);
        position.OffsetHigh = static_cast<DWORD>(at >> 32);
        DWORD got           = 0;
        if (::ReadFile(HandleOf(m_handle), into.data() + done, static_cast<DWORD>(into.size() - done), &got,
                       &position)
                == 0
            || got == 0) {
            break;
        }
        done += got;
    }
    return done;
}

} // namespace kiv::platform
