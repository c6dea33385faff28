// kiv splice: joins files of one format into one stream.
#include "KivUtility.h"
#include "commands.h"
#include "console.h"
#include "formatname.h"
#include "inputfile.h"
#include "names.h"
#include "outputfile.h"
#include "platform/paths.h"
#include "splicer.h"
#include "splicereport.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {

using namespace tool;

constexpr char kFooter[] =
    R"(Joins MPEG-1 system, MPEG-2 system, program and transport streams, Video CD, MPEG audio, and ASF. The files must
be of one format and one ASF packet size; of one picture size, frame rate, kind of audio and sampling rate, unless
--force is given. OUT is complete or not there at all: when something fails, what had the name before is as it was.

With --report=json each file is one object on a line of its own: path, format, size, seam (where its part of OUT
begins), header and rebuilt_audio (bytes sent ahead of it), header_rewritten (bytes of the header that were written
over), taken, rewritten, dropped_early, dropped_audio, dropped_video and withheld (together the size), filled and end
(bytes put in, and sent behind it), clock and time_stamp (written into the header, or null), failed_checks and
first_failed_check (its text, or null).
The report goes to standard output, or to standard error where OUT is standard output.

Exit status: 0 the files were joined; 1 they were, but one holds what it should not, or the report could not be
printed; 2 they were not.

Examples:
  kiv splice -o evening.mpg part1.mpg part2.mpg part3.mpg
  kiv splice --report -o all.mp3 track*.mp3
  kiv splice --report=json -o - a.ts b.ts 2> report.jsonl | player -)";

struct Options {
    std::vector<std::string> inputs;
    std::string              output;
    std::string              report;
    long                     chunkBytes = 1316; // what a server sends in a datagram
    bool                     force      = false;
};

[[noreturn]] void Refuse(const std::filesystem::path& path, const std::string& reason) {
    throw std::runtime_error(Shown(path) + ": " + reason);
}

// The quick check measures nothing; what takes part by extension it does not know.
Kiv_MEDIA_FORMAT_TYPE FormatOf(const std::string& name) {
    CMObjParserMgr              manager;
    const Kiv_MEDIA_FORMAT_TYPE format = manager.checkFormat(name.c_str());
    if (format != kKivFmt_Unknown) return format;
    CMObjBaseParser* parser = manager.parse(name.c_str());
    return parser != nullptr ? parser->GetMediaType() : kKivFmt_Unknown;
}

SpliceInput Look(const std::string& name, const std::string& output) {
    SpliceInput input;
    input.path = platform::FromNarrow(name);
    if (name == "-") throw std::runtime_error("standard input: cannot be joined, for it is read once only");
    const InputFile file = Examine(input.path);
    if (!file.problem.empty()) Refuse(input.path, file.problem);
    if (IsSameFile(input.path, output)) Refuse(input.path, "is the output as well");
    input.name   = file.name;
    input.bytes  = file.bytes;
    input.format = FormatOf(file.name);
    if (FindSpliceWay(input.format) == nullptr)
        Refuse(input.path, std::string("cannot be joined to others: ") + FormatName(input.format));
    CKivBitStream stream;
    if (stream.SourceFromFile(file.name.c_str()) != 0) input.facts = KivReadStreamFacts(&stream);
    return input;
}

std::vector<SpliceInput> LookAtAll(const Options& options) {
    std::vector<SpliceInput> inputs;
    for (const std::string& name : options.inputs) inputs.push_back(Look(name, options.output));
    const std::string differences = DifferenceTable(inputs, Differences::kAll);
    const bool        forbidden   = !DifferenceTable(inputs, Differences::kThatForbidJoining).empty();
    if (!forbidden && (options.force || differences.empty())) return inputs;
    std::fputs(differences.c_str(), stderr);
    throw std::runtime_error(forbidden ? "the files differ too much, even for --force"
                                       : "the files differ; --force joins them all the same");
}

std::string Summary(const Options& options, const std::vector<SpliceInput>& inputs,
                    const std::vector<SpliceAccount>& accounts, const OutputFile& output) {
    std::string text;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (options.report == "json") text += AccountJson(inputs[i], accounts[i]);
        if (options.report == "text") text += AccountText(inputs[i], accounts[i]);
    }
    if (options.report == "json") return text;
    const char* files = inputs.size() == 1 ? " file, " : " files joined, ";
    return text + output.Shown() + ": " + std::to_string(inputs.size()) + files
           + std::to_string(output.Size()) + " bytes\n";
}

// Tells of what was made. The account as JSON tells of failed checks as well, and stays alone.
void Tell(const Options& options, const std::vector<SpliceInput>& inputs,
          const std::vector<SpliceAccount>& accounts, const OutputFile& output) {
    for (std::size_t i = 0; i < inputs.size() && options.report != "json"; ++i) {
        if (accounts[i].failedChecks == 0) continue;
        ReportProblem(Shown(inputs[i].path), std::to_string(accounts[i].failedChecks)
                                                 + " checks failed: " + accounts[i].firstFailedCheck);
    }
    const std::string summary = Summary(options, inputs, accounts, output);
    if (IsStandardOutput(options.output))
        std::fputs(summary.c_str(), stderr);
    else
        Print(summary);
}

int SpliceFiles(const Options& options) {
    const std::vector<SpliceInput> inputs = LookAtAll(options);
    OutputFile                     output(options.output);
    std::vector<SpliceAccount>     accounts;
    {
        Progress progress;
        accounts =
            Splice(inputs, *FindSpliceWay(inputs.front().format), options.chunkBytes, output, progress);
    }
    output.Commit();
    try {
        Tell(options, inputs, accounts, output);
    } catch (const std::runtime_error& error) { // the output is there all the same
        std::fprintf(stderr, "kiv: %s\n", error.what());
        return kExitNotValid;
    }
    const bool valid = std::ranges::all_of(accounts, [](const auto& file) { return file.failedChecks == 0; });
    return valid ? kExitDone : kExitNotValid;
}

} // namespace

void AddSpliceCommand(CLI::App& app, int& exitStatus) {
    auto      options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("splice", "Joins files of one format into one stream");
    command->add_option("FILE", options->inputs, "The files, in the order in which they shall play")
        ->type_name("")
        ->required();
    command->add_option("-o,--output", options->output, "The file to write; - is standard output")
        ->type_name("OUT")
        ->required();
    command
        ->add_option("--chunk", options->chunkBytes,
                     "Bytes taken from the splicer at a time, 1316 unless given")
        ->type_name("BYTES")
        ->check(CLI::Range(1L, kMostSpliceChunk).description(""));
    command
        ->add_flag("--report{text}", options->report,
                   "Tells of each file what was taken and dropped, as text or, with --report=json, as JSON")
        ->check(CLI::IsMember({"text", "json"}).description(""));
    command->add_flag("--force", options->force, "Joins files whose pictures or sound differ");
    command->footer(kFooter);
    command->callback([options, &exitStatus] { exitStatus = SpliceFiles(*options); });
}
