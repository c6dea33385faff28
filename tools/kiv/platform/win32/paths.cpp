// On Windows a name is UTF-16, and narrow text is in the system's code page.
#include "platform/paths.h"

#include <windows.h>

namespace tool::platform {

namespace {

// Empty where `lost` is asked for and the code page lacks a character.
std::string Narrow(const std::wstring& wide, UINT codePage, DWORD flags, BOOL* lost) {
    const int   units = static_cast<int>(wide.size());
    const int   size  = ::WideCharToMultiByte(codePage, flags, wide.data(), units, nullptr, 0, nullptr, lost);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(codePage, flags, wide.data(), units, narrow.data(), size, nullptr, lost);
    return narrow;
}

} // namespace

std::filesystem::path FromNarrow(const std::string& name) {
    const int    bytes = static_cast<int>(name.size());
    const int    size  = ::MultiByteToWideChar(CP_ACP, 0, name.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, name.data(), bytes, wide.data(), size);
    return wide;
}

std::string ToNarrow(const std::filesystem::path& path) {
    BOOL lost = FALSE;
    // no best fit: a character that merely looks alike would name another file
    std::string narrow = Narrow(path.native(), CP_ACP, WC_NO_BEST_FIT_CHARS, &lost);
    return lost != FALSE ? std::string() : narrow;
}

std::string ToUtf8(const std::filesystem::path& path) { return Narrow(path.native(), CP_UTF8, 0, nullptr); }

} // namespace tool::platform
