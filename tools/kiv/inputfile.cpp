// The state of a file that is to be read.
#include "inputfile.h"

#include "platform/paths.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace tool {

namespace {

namespace fs = std::filesystem;

const char* NotAFile(fs::file_type type) {
    switch (type) {
    case fs::file_type::directory: return "is a folder, not a file";
    case fs::file_type::fifo: return "is a FIFO, not a file";
    case fs::file_type::socket: return "is a socket, not a file";
    case fs::file_type::block:
    case fs::file_type::character: return "is a device, not a file";
    default: return "is not a file";
    }
}

std::string WhyNotOpened(const fs::path& path) {
    errno = 0;
    if (std::ifstream(path, std::ios::binary).is_open()) return {};
    return errno != 0 ? std::generic_category().message(errno) : "cannot be opened";
}

} // namespace

InputFile Examine(const fs::path& path) {
    InputFile             file;
    std::error_code       error;
    const fs::file_status status = fs::status(path, error);
    if (error)
        file.problem = error.message();
    else if (!fs::is_regular_file(status))
        file.problem = NotAFile(status.type());
    else
        file.problem = WhyNotOpened(path);
    if (!file.problem.empty()) return file;

    file.bytes = fs::file_size(path, error);
    file.name  = platform::ToNarrow(path);
    if (error)
        file.problem = error.message();
    else if (file.name.empty())
        file.problem = "the system's code page cannot spell this name";
    return file;
}

} // namespace tool
