// kiv header: the stream header of an MPEG file, which a server sends to viewers who come late.
#include "KivUtility.h"
#include "commands.h"
#include "console.h"
#include "inputfile.h"
#include "names.h"
#include "outputfile.h"
#include "platform/paths.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>

namespace {

using namespace tool;

constexpr char kFooter[] =
    R"(OUT is complete or not there at all: when something fails, what had the name before is as it was.

Exit status: 0 the header was written, 1 the file has none, 2 it could not be read or written.

Examples:
  kiv header clip.mpg -o clip.header
  kiv header clip.mpg -o - | od -A d -t x1)";

struct Options {
    std::string input;
    std::string output;
    bool        json = false;
};

// False when the stream has no header.
bool ReadHeader(const InputFile& file, CKivDynaBuffer& header) {
    CKivBitStream        stream;
    CMObjMpgSystemParser parser;
    return stream.SourceFromFile(file.name.c_str()) != 0 && parser.getHeader(&stream, &header) != 0;
}

void PrintSummary(const Options& options, const std::filesystem::path& input, const OutputFile& output) {
    std::string summary = Shown(input) + ": stream header of " + std::to_string(output.Size()) + " bytes in "
                          + output.Shown() + "\n";
    if (options.json) {
        Json object;
        PutName(object, "path", input);
        PutName(object, "output", platform::FromNarrow(options.output));
        object["size"] = output.Size();
        summary        = JsonLine(object);
    }
    if (IsStandardOutput(options.output))
        std::fputs(summary.c_str(), stderr);
    else
        Print(summary);
}

int ExtractHeader(const Options& options) {
    const std::filesystem::path input  = platform::FromNarrow(options.input);
    const auto                  refuse = [&](const char* reason, ExitStatus status) {
        ReportProblem(Shown(input), reason);
        return status;
    };
    const InputFile file = Examine(input);
    if (!file.problem.empty()) return refuse(file.problem.c_str(), kExitFailed);
    if (IsSameFile(input, options.output)) return refuse("is the output as well", kExitFailed);

    CKivDynaBuffer header;
    if (!ReadHeader(file, header)) return refuse("has no stream header", kExitNotValid);
    OutputFile output(options.output);
    output.Write(header.GetBufferPtr(), static_cast<std::size_t>(header.GetSize()));
    output.Commit();
    PrintSummary(options, input, output);
    return kExitDone;
}

} // namespace

void AddHeaderCommand(CLI::App& app, int& exitStatus) {
    auto      options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("header", "Extracts the stream header of an MPEG file");
    command->add_option("FILE", options->input, "An MPEG program, transport, video or audio stream")
        ->type_name("")
        ->required();
    command->add_option("-o,--output", options->output, "The file to write; - is standard output")
        ->type_name("OUT")
        ->required();
    command->add_flag("--json", options->json,
                      "Tells what was written as a JSON object: path, output, size in bytes");
    command->footer(kFooter);
    command->callback([options, &exitStatus] { exitStatus = ExtractHeader(*options); });
}
