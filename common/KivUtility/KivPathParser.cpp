// Splitting of paths.
#include "KivPathParser.h"

#include <string>
#include <string_view>

namespace {

constexpr std::string_view kDelimiters = "/\\";

bool IsDelimiter(char c) { return kDelimiters.find(c) != std::string_view::npos; }

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// The length of the component at `from` with the delimiters behind it.
std::size_t ComponentEnd(std::string_view path, std::size_t from) {
    const std::size_t end = path.find_first_of(kDelimiters, from);
    if (end == std::string_view::npos) return path.size();
    const std::size_t next = path.find_first_not_of(kDelimiters, end);
    return next == std::string_view::npos ? path.size() : next;
}

// `path` without the name of a file at its end.
std::string_view FolderOf(std::string_view path) {
    return path.substr(0, path.find_last_of(kDelimiters) + 1);
}

std::size_t DelimitersAt(std::string_view path, std::size_t from) {
    std::size_t end = from;
    while (end < path.size() && IsDelimiter(path[end])) ++end;
    return end - from;
}

// The length of the root that `folder` begins with.
std::size_t RootLength(std::string_view folder) {
    if (folder.size() >= 2 && IsLetter(folder[0]) && folder[1] == ':') return 2 + DelimitersAt(folder, 2);
    const std::size_t leading = DelimitersAt(folder, 0);
    if (leading != 2) return leading;
    return ComponentEnd(folder, ComponentEnd(folder, leading)); // UNC: server and share
}

CKivString ToKivString(std::string_view text) { return {text.data(), static_cast<int>(text.size())}; }

} // namespace

CPathParser::CPathParser(const char* path, int flag) {
    const std::string_view whole  = path == nullptr ? "" : path;
    std::string_view       folder = whole;
    if (flag == 0) {
        // a drive's colon ends the folder as a delimiter does: "C:clip.mpg" is a file
        const bool onDrive = whole.size() >= 2 && IsLetter(whole[0]) && whole[1] == ':';
        folder             = FolderOf(whole);
        if (folder.empty() && onDrive) folder = whole.substr(0, 2);
    }
    const std::string_view fileName = whole.substr(folder.size());
    const std::size_t      dot      = fileName.rfind('.');

    std::size_t at = RootLength(folder);
    m_root         = ToKivString(folder.substr(0, at));
    while (at < folder.size()) {
        const std::size_t next  = ComponentEnd(folder, at);
        std::string       level = std::string(folder.substr(at, next - at));
        level.resize(level.find_last_not_of(kDelimiters) + 1);
        m_levels.Add(level.c_str());
        at = next;
    }
    m_fileName = ToKivString(fileName);
    m_baseName = ToKivString(fileName.substr(0, dot));
    m_extName  = dot == std::string_view::npos ? CKivString() : ToKivString(fileName.substr(dot + 1));
}
