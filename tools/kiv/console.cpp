// Printing to the standard streams.
#include "console.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>

namespace tool {

void Fail(const std::string& subject, const std::error_code& reason) {
    throw std::runtime_error(subject + ": " + reason.message());
}

void Print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        Fail("standard output", {errno, std::generic_category()});
    }
}

void ReportProblem(std::string_view subject, std::string_view reason) {
    std::string line = "kiv: ";
    line.append(subject).append(": ").append(reason).append("\n");
    std::fwrite(line.data(), 1, line.size(), stderr); // one write: the lines of several programs stay whole
}

} // namespace tool
