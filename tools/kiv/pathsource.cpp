// Going through names, lists and folders.
#include "pathsource.h"

#include "platform/paths.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <system_error>
#include <utility>

namespace tool {

namespace {

namespace fs = std::filesystem;

std::string LastProblem() { return errno != 0 ? std::generic_category().message(errno) : "cannot be read"; }

// Whether an entry of a folder is a folder to go into, a file to give, or a link to a folder.
enum class Kind { File, Folder, LinkToFolder };

Kind KindOf(const fs::directory_entry& entry) {
    std::error_code ignored; // what cannot be looked at is given as a file, whose reading says why
    const bool      isLink = entry.is_symlink(ignored);
    if (!entry.is_directory(ignored)) return Kind::File;
    return isLink ? Kind::LinkToFolder : Kind::Folder;
}

} // namespace

NameList::NameList(std::string name, bool nul) : m_name(std::move(name)), m_input(&std::cin), m_nul(nul) {
    if (m_name == "-") {
        m_name = "standard input";
        std::ios::sync_with_stdio(false); // gives standard input a buffer of its own, which Fill() empties
        return;
    }
    errno   = 0;
    m_file  = std::make_unique<std::ifstream>(platform::FromNarrow(m_name));
    m_input = m_file.get();
    if (m_file->fail()) m_problem = LastProblem();
}

std::optional<std::string> NameList::Next() {
    std::string name;
    while (m_at < m_block.size() || Fill()) {
        // a NUL is never part of a name, wherever it turns up
        const std::string_view ends = m_nul ? std::string_view("\0", 1) : std::string_view("\n\0", 2);
        const std::size_t      end  = m_block.find_first_of(ends, m_at);
        name.append(m_block, m_at, end == std::string::npos ? end : end - m_at);
        m_at = end == std::string::npos ? m_block.size() : end + 1;
        if (end != std::string::npos && !name.empty()) return name;
    }
    return name.empty() ? std::nullopt : std::optional(std::move(name));
}

// Takes what one read of the list brings: a list that comes through a pipe is used while it is made.
bool NameList::Fill() {
    if (!m_problem.empty()) return false;
    errno = 0;
    m_input->peek();
    if (m_input->bad()) m_problem = LastProblem();
    if (!m_input->good()) return false;
    m_block.resize(static_cast<std::size_t>(std::max<std::streamsize>(m_input->rdbuf()->in_avail(), 1)));
    m_input->read(m_block.data(), static_cast<std::streamsize>(m_block.size()));
    m_at = 0;
    if (!std::exchange(m_started, true) && m_block.find('\0') != std::string::npos) m_nul = true;
    return true;
}

PathSource::PathSource(const Options& options) : m_names(options.names), m_recursive(options.recursive) {
    if (options.list) m_list.emplace(*options.list, options.nul);
}

std::optional<FoundPath> PathSource::Next() {
    if (std::optional<FoundPath> found = NextInFolders()) return found;
    while (std::optional<FoundPath> named = NextNamed()) {
        std::error_code ignored;
        if (!named->problem.empty() || !fs::is_directory(named->path, ignored)) return named;
        named->problem = m_recursive ? Enter(named->path) : "is a folder; -r goes through it";
        if (!named->problem.empty()) return named;
        if (std::optional<FoundPath> found = NextInFolders()) return found;
    }
    return {};
}

std::optional<FoundPath> PathSource::NextInFolders() {
    while (!m_folders.empty()) {
        Folder& folder = m_folders.back();
        if (folder.next == folder.entries.size()) {
            m_folders.pop_back();
            continue;
        }
        const Entry entry = std::move(folder.entries[folder.next++]);
        FoundPath   found{folder.path / entry.name, {}};
        if (!entry.isFolder) return found;
        found.problem = Enter(found.path);
        if (!found.problem.empty()) return found;
    }
    return {};
}

std::optional<FoundPath> PathSource::NextNamed() {
    if (m_nextName < m_names.size()) return FoundPath{platform::FromNarrow(m_names[m_nextName++]), {}};
    if (!m_list) return {};
    if (const std::optional<std::string> name = m_list->Next())
        return FoundPath{platform::FromNarrow(*name), {}};
    FoundPath end{platform::FromNarrow(m_list->Name()), m_list->Problem()};
    m_list.reset();
    return end.problem.empty() ? std::nullopt : std::optional(std::move(end));
}

// Reads the names in a folder. What could be read is gone through; the problem that ended it comes back.
std::string PathSource::Enter(const fs::path& path) {
    Folder                 folder{path, {}};
    std::error_code        error;
    fs::directory_iterator entry(path, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const Kind kind = KindOf(*entry);
        if (kind == Kind::LinkToFolder) continue;
        folder.entries.push_back({entry->path().filename().native(), kind == Kind::Folder});
    }
    std::ranges::sort(folder.entries, {}, &Entry::name);
    m_folders.push_back(std::move(folder));
    return error ? error.message() : std::string();
}

} // namespace tool
