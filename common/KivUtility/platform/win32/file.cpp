// Reading and writing files through Win32 handles.
#include "platform/file.h"

#include "KivPlatform.h"

#include <new>
#include <utility>

namespace kiv::platform {

namespace {

HANDLE HandleOf(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

} // namespace

FileHandle::~FileHandle() {
    if (m_handle != kNone) ::CloseHandle(HandleOf(m_handle));
}

std::unique_ptr<File> File::OpenForReading(const char* path) noexcept {
    const HANDLE handle = ::CreateFileA(path, GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
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

std::unique_ptr<OutputFile> OutputFile::Open(const char* path, Existing existing, Readers) noexcept {
    const DWORD                 disposition = existing == Existing::Refuse ? CREATE_NEW : OPEN_ALWAYS;
    std::unique_ptr<OutputFile> file(new (std::nothrow) OutputFile);
    if (!file) return nullptr;
    file->m_handle = reinterpret_cast<std::intptr_t>(
        ::CreateFileA(path, GENERIC_WRITE, kShareAll, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    return HandleOf(file->m_handle) == INVALID_HANDLE_VALUE ? nullptr : std::move(file);
}

bool OutputFile::Write(std::string_view bytes) noexcept {
    DWORD written = 0;
    return ::WriteFile(HandleOf(m_handle), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)
               != 0
           && written == bytes.size();
}

bool OutputFile::Commit() noexcept { return ::FlushFileBuffers(HandleOf(m_handle)) != 0; }

bool MoveIntoPlace(const char* from, const char* to) noexcept {
    return ::MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

} // namespace kiv::platform
