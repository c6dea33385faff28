// What the commands print: facts on standard output, problems on standard error.
#ifndef KIVTOOL_CONSOLE_H
#define KIVTOOL_CONSOLE_H

#include <string>
#include <string_view>
#include <system_error>

namespace tool {

// What stops a command: "SUBJECT: REASON".
[[noreturn]] void Fail(const std::string& subject, const std::error_code& reason);

// Writes text to standard output, at once. Throws when that is no longer possible.
void Print(std::string_view text);

// Writes the line "kiv: SUBJECT: REASON" to standard error. The subject is shown as it is: see Shown().
void ReportProblem(std::string_view subject, std::string_view reason);

} // namespace tool

#endif
