// kiv explain: message numbers and return codes in words.
#include "KivUtility.h"
#include "commands.h"
#include "console.h"
#include "names.h"
#include "numbers.h"
#include "platform/paths.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace {

using namespace tool;

constexpr char kFooter[] =
    R"(Servers number their messages from 0; logs and message boxes also tell return codes of the network, the
stream manager and the relay. A number that is both is explained as both.

Exit status: 0 all is explained, 1 a code means nothing, 2 a CODE is no number.

Examples:
  kiv explain 7013 0x1F40
  kiv explain --all --json)";

struct Options {
    std::vector<std::string> codes;
    bool                     all  = false;
    bool                     json = false;
};

std::span<const KivReturnCodeRecord> ReturnCodes() {
    return {KivReturnCodeTable, static_cast<std::size_t>(KivReturnCodeRows)};
}

std::uint32_t MessageCount() { return static_cast<std::uint32_t>(TABLEROWS); }

std::set<std::uint32_t> AllCodes() {
    std::set<std::uint32_t> codes;
    for (std::uint32_t number = 0; number < MessageCount(); ++number) codes.insert(number);
    for (const KivReturnCodeRecord& row : ReturnCodes()) codes.insert(row.code);
    return codes;
}

// What a number means, null as what it is not.
struct Meaning {
    Json message, returnCode;

    explicit Meaning(std::uint32_t code) {
        if (code < MessageCount())
            message = static_cast<const char*>(KivGetStrResUtf8(static_cast<int>(code)));
        if (std::ranges::count(ReturnCodes(), code, &KivReturnCodeRecord::code) != 0)
            returnCode = static_cast<const char*>(KivFindNetErrorMsg(code));
    }

    bool IsNothing() const { return message.is_null() && returnCode.is_null(); }
};

// One line, or several of which all but the first are moved in.
std::string Line(std::uint32_t code, const char* kind, const std::string& text) {
    char head[64];
    std::snprintf(head, sizeof head, "%5u  0x%04X  %-11s  ", static_cast<unsigned>(code),
                  static_cast<unsigned>(code), kind);
    std::string line = head;
    for (const char c : text) line += c == '\n' ? c + std::string(std::strlen(head), ' ') : std::string(1, c);
    return line + '\n';
}

std::string Lines(std::uint32_t code, const Meaning& meaning) {
    if (meaning.IsNothing()) return Line(code, "unknown", "neither a message nor a return code");
    std::string lines;
    if (!meaning.message.is_null()) lines += Line(code, "message", meaning.message);
    if (!meaning.returnCode.is_null()) lines += Line(code, "return code", meaning.returnCode);
    return lines;
}

ExitStatus Explain(std::uint32_t code, bool json) {
    const Meaning meaning(code);
    Print(json ? JsonLine({{"code", code}, {"message", meaning.message}, {"return_code", meaning.returnCode}})
               : Lines(code, meaning));
    return meaning.IsNothing() ? kExitNotValid : kExitDone;
}

int ExplainAll(const Options& options) {
    for (const std::uint32_t code : AllCodes()) Explain(code, options.json);
    return kExitDone;
}

int ExplainCodes(const Options& options) {
    int exitStatus = kExitDone;
    for (const std::string& text : options.codes) {
        if (const auto code = ParseDword(text)) {
            Worsen(exitStatus, Explain(*code, options.json));
        } else {
            ReportProblem(Shown(platform::FromNarrow(text)),
                          "is no number of 32 bits, decimal or 0x and hexadecimal");
            Worsen(exitStatus, kExitFailed);
        }
    }
    return exitStatus;
}

} // namespace

void AddExplainCommand(CLI::App& app, int& exitStatus) {
    auto         options = std::make_shared<Options>();
    CLI::App*    command = app.add_subcommand("explain", "Tells what message numbers and return codes mean");
    CLI::Option* codes =
        command->add_option("CODE", options->codes, "A number, decimal, or 0x and hexadecimal")
            ->type_name("");
    command->add_flag("--all", options->all, "Tells all there are")->excludes(codes);
    command->add_flag("--json", options->json,
                      "Prints one JSON object a code and line: code, message, return_code");
    command->footer(kFooter);
    command->callback([options, &exitStatus] {
        if (!options->all && options->codes.empty()) throw CLI::RequiredError("CODE or --all");
        exitStatus = options->all ? ExplainAll(*options) : ExplainCodes(*options);
    });
}
