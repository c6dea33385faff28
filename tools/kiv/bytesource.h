// A command's input: a file or standard input, byte for byte.
#ifndef KIVTOOL_BYTESOURCE_H
#define KIVTOOL_BYTESOURCE_H

#include <fstream>
#include <istream>
#include <span>
#include <string>

namespace tool {

// Every operation throws on failure, naming the input.
class ByteSource {
public:
    // name: of the file, as on the command line; "-" is standard input, which nobody else may read then.
    explicit ByteSource(const std::string& name);

    ByteSource(const ByteSource&)            = delete;
    ByteSource& operator=(const ByteSource&) = delete;

    // The input as a message names it.
    const std::string& Shown() const { return m_shown; }

    // Puts what has come by now at the front of `buffer`, which has room for a byte at least, and waits
    // where nothing has: what comes through a pipe is used while it is made. Returns how many bytes there
    // are, 0 at the end.
    std::size_t Read(std::span<unsigned char> buffer);

    // Fills `buffer`, in as few reads as the system allows. Returns how many bytes there are: fewer only
    // where the input ends.
    std::size_t Fill(std::span<unsigned char> buffer);

private:
    std::string   m_shown;
    std::ifstream m_file;
    std::istream* m_input; // m_file or standard input

    void Check(bool failed) const;
};

} // namespace tool

#endif
