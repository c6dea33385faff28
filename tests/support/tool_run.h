// Running the command line tool as a process.
#ifndef KIVUTILITY_TESTS_TOOL_RUN_H
#define KIVUTILITY_TESTS_TOOL_RUN_H

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

namespace test {

namespace fs    = std::filesystem;
using Arguments = std::vector<std::string>;

inline Arguments Joined(Arguments words, const Arguments& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

inline const std::string kFilm = KIV_SAMPLES_DIR "/mpeg1-system.mpg";

struct ToolResult {
    int         status;
    std::string out, problems; // standard output and standard error

    // The objects of --json. A line that is no JSON throws.
    std::vector<nlohmann::json> Objects() const {
        std::vector<nlohmann::json> objects;
        std::istringstream          lines(out);
        for (std::string line; std::getline(lines, line);) objects.push_back(nlohmann::json::parse(line));
        return objects;
    }
};

// Runs the tool with these arguments, none of which holds a quote. Standard output goes to a file instead of
// the result, and standard input comes from one, where these are named.
inline ToolResult RunTool(const Arguments& words, const std::string& to = {}, const std::string& from = {}) {
    constexpr bool kIsWindows = fs::path::preferred_separator == '\\';
    const auto     quoted     = [](std::string word) {
        if (kIsWindows && word.ends_with('\\')) word += '\\'; // one alone would take the quote's meaning away
        return kIsWindows ? '"' + word + '"' : '\'' + word + '\'';
    };
    const TempFolder  folder;
    const std::string out = folder.Path("out"), problems = folder.Path("problems");
    std::string       command = quoted(fs::path(KIV_TOOL).make_preferred().string());
    for (const std::string& word : words) command += ' ' + quoted(word);
    if (!from.empty()) command += " < " + quoted(from);
    command += " > " + quoted(to.empty() ? out : to) + " 2> " + quoted(problems);
    if (kIsWindows) command = '"' + command + '"'; // the shell there takes the outermost quotes away
    // the shell of Wine fails now and then to start a program, and then says that there is none
    constexpr int kNoSuchCommand = 9009;
    int           status         = std::system(command.c_str());
    for (int again = 0; kIsWindows && status == kNoSuchCommand && again < 3; ++again) {
        status = std::system(command.c_str());
    }
    return {kIsWindows ? status : status >> 8, ReadWholeText(out),
            ReadWholeText(problems)}; // POSIX: in the high byte
}

// Expects that the tool ended with this status, and what its complaint holds.
inline void ExpectComplaint(const ToolResult& result, int status, const std::string& reason) {
    EXPECT_EQ(result.status, status) << reason << result.problems;
    EXPECT_FALSE(result.problems.empty()) << reason;
    EXPECT_NE(result.problems.find(reason), std::string::npos) << reason << result.problems;
}

} // namespace test

#endif
