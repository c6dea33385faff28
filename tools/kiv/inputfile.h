// What can be told of a file before the library reads it.
#ifndef KIVTOOL_INPUTFILE_H
#define KIVTOOL_INPUTFILE_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace tool {

struct InputFile {
    std::string   problem;   // why it cannot be read; empty when it can
    std::string   name;      // as the library takes it
    std::uint64_t bytes = 0; // its size
};

// Looks at a file: the library says that a file cannot be opened, this says why. Opens nothing but regular
// files, so that it never waits for the other end of a FIFO.
InputFile Examine(const std::filesystem::path& path);

} // namespace tool

#endif
