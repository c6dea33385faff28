// Writing a whole file through Win32 handles.
#include "platform/wholefile.h"

#include "KivPlatform.h"

namespace kiv::platform {

bool WriteWholeFile(const std::string& path, const std::string& temporary,
                    std::span<const unsigned char> bytes) noexcept {
    const HANDLE file = ::CreateFileA(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD      done = 0;
    const bool written =
        ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr) != 0
        && done == bytes.size() && ::FlushFileBuffers(file) != 0;
    const bool closed = ::CloseHandle(file) != 0;
    if (written && closed
        && ::MoveFileExA(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
               != 0) {
        return true;
    }
    ::DeleteFileA(temporary.c_str());
    return false;
}

} // namespace kiv::platform
