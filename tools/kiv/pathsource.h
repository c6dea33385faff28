// The files that a command line asks for, one after another.
#ifndef KIVTOOL_PATHSOURCE_H
#define KIVTOOL_PATHSOURCE_H

#include <filesystem>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tool {

// A list of names that is read as it is needed, from a file or from standard input: each name ends with a
// line, or with a NUL where the list holds a NUL. Empty names are passed over.
class NameList {
public:
    // name: the list's; "-" is standard input. nul: NULs end names even where none is in the first block
    // read.
    NameList(std::string name, bool nul);

    const std::string& Name() const { return m_name; }

    // The next name, or nothing at the end and after a failure.
    std::optional<std::string> Next();

    // Why the list cannot be read, or read on; empty when it can.
    const std::string& Problem() const { return m_problem; }

private:
    std::string                   m_name;
    std::unique_ptr<std::istream> m_file; // null for standard input
    std::istream*                 m_input;
    std::string                   m_block;
    std::size_t                   m_at      = 0; // in the block
    bool                          m_nul     = false;
    bool                          m_started = false;
    std::string                   m_problem;

    bool Fill();
};

struct FoundPath {
    std::filesystem::path path;
    std::string           problem; // why there is nothing to read at this path; empty when there may be
};

// Gives the names of the command line, then those of the list, and in the place of a folder the files in
// it, sorted by name, folders in their place. Symbolic links to folders are not followed inside a folder.
// Memory is bounded by the names of the folders that are open at once, not by the number of files.
// One thread at a time.
class PathSource {
public:
    struct Options {
        std::vector<std::string>   names;
        std::optional<std::string> list; // the name of a list of names
        bool                       nul       = false;
        bool                       recursive = false;
    };

    explicit PathSource(const Options& options);

    std::optional<FoundPath> Next();

private:
    struct Entry {
        std::filesystem::path::string_type name;
        bool                               isFolder;
    };

    struct Folder {
        std::filesystem::path path;
        std::vector<Entry>    entries;
        std::size_t           next = 0;
    };

    std::vector<std::string> m_names;
    std::size_t              m_nextName = 0;
    std::optional<NameList>  m_list;
    bool                     m_recursive;
    std::vector<Folder>      m_folders; // from the outermost to the one being gone through

    std::optional<FoundPath> NextInFolders();
    std::optional<FoundPath> NextNamed();
    std::string              Enter(const std::filesystem::path& path);
};

} // namespace tool

#endif
