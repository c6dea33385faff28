// A file that a command makes: complete, or not at all.
#ifndef KIVTOOL_OUTPUTFILE_H
#define KIVTOOL_OUTPUTFILE_H

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace tool {

// Whether a command's output was named "-", which is standard output.
bool IsStandardOutput(const std::string& name);

// Whether a command's output of that name, be it standard output, is the file that it reads.
bool IsSameFile(const std::filesystem::path& input, const std::string& output);

// Collects the bytes in a temporary file beside the file that is asked for, and gives it that file's name
// and permissions when everything is written. Until then, and after any failure, what had the name before
// is as it was, and nothing else is left behind.
// Standard output, a device and a FIFO take the bytes at once: there nothing can be taken back.
// Every operation throws on failure, naming the file. One at a time in the process.
class OutputFile {
public:
    // name: of the file, as on the command line; "-" is standard output, which must not be a terminal.
    explicit OutputFile(const std::string& name);

    OutputFile(const OutputFile&)            = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    void Write(const void* data, std::size_t bytes);

    // Ends the writing: everything is on the disk and has its name.
    void Commit();

    // Bytes written.
    std::uint64_t Size() const { return m_bytes; }

    // The output as a message names it.
    const std::string& Shown() const { return m_shown; }

private:
    struct Close {
        void operator()(std::FILE* file) const;
    };

    std::string                       m_shown;
    std::filesystem::path             m_target;    // empty for standard output
    std::filesystem::path             m_temporary; // empty where the bytes go straight to their place
    std::unique_ptr<std::FILE, Close> m_file;
    std::uint64_t                     m_bytes = 0;

    void CreateTemporary(bool isPrivate);
    void OpenInPlace();
    void GiveRoom();
    void Check(const std::error_code& error) const;
};

} // namespace tool

#endif
