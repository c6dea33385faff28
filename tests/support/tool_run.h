// Running the command line tool as a process.
#ifndef KIVUTILITY_TESTS_TOOL_RUN_H
#define KIVUTILITY_TESTS_TOOL_RUN_H

#include "temp_folder.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace test {

struct ToolResult {
    int         status;
    std::string out;
    std::string problems; // from standard error
    Bytes       outBytes;

    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        std::istringstream       text(out);
        for (std::string line; std::getline(text, line);) lines.push_back(line);
        return lines;
    }

    // The objects of --json. A line that is no JSON throws.
    std::vector<nlohmann::json> Objects() const {
        std::vector<nlohmann::json> objects;
        for (const std::string& line : Lines()) objects.push_back(nlohmann::json::parse(line));
        return objects;
    }
};

// Where standard input comes from and standard output goes to, when it is not collected.
struct Redirection {
    std::string input, output;
};

inline ToolResult RunTool(const std::vector<std::string>& arguments, const Redirection& redirection = {}) {
    constexpr bool kIsWindows = std::filesystem::path::preferred_separator == '\\';
    const auto     quoted     = [](const std::string& word) {
        std::string text(1, kIsWindows ? '"' : '\'');
        for (const char c : word) text += c == '\'' && !kIsWindows ? "'\\''" : std::string(1, c);
        if (kIsWindows && text.back() == '\\') text += '\\'; // one alone would take the quote's meaning away
        return text += text.front();
    };
    const TempFolder  folder;
    const std::string out      = redirection.output.empty() ? folder.Path("out") : redirection.output;
    const std::string problems = folder.Path("problems");

    std::ostringstream command;
    if (kIsWindows) command << '"'; // the shell there takes the outermost quotes away
    command << quoted(std::filesystem::path(KIV_TOOL).make_preferred().string());
    for (const std::string& argument : arguments) command << ' ' << quoted(argument);
    if (!redirection.input.empty()) command << " < " << quoted(redirection.input);
    command << " > " << quoted(out) << " 2> " << quoted(problems);
    if (kIsWindows) command << '"';

    const auto text = [](const std::string& path) {
        std::ostringstream all;
        all << std::ifstream(path).rdbuf(); // as text: without the system's line ends
        return all.str();
    };
    const int  status    = std::system(command.str().c_str());
    const bool collected = redirection.output.empty();
    // POSIX shells leave the exit status in the high byte
    return {kIsWindows ? status : status >> 8, collected ? text(out) : "", text(problems),
            collected ? ReadWholeFile(out) : Bytes()};
}

// The names in a folder, sorted.
inline std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace test

#endif
