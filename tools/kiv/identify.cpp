// kiv identify: what files are, and the figures of them.
#include "KivUtility.h"
#include "commands.h"
#include "console.h"
#include "formatname.h"
#include "identifytable.h"
#include "inputfile.h"
#include "names.h"
#include "orderedworkers.h"
#include "pathsource.h"
#include "platform/terminal.h"
#include "progress.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cmath>
#include <memory>
#include <thread>

namespace {

using namespace tool;

constexpr unsigned kMostThreads = 256;

constexpr char kFooter[] =
    R"(The table has a line for each file; a figure behind ~ is an estimate, and a + behind the bytes marks
a file that ends before what it tells of itself does. With --json each file is one object on a line of its own:
  path          the name as UTF-8; with path_bytes, in hexadecimal, where the name is no UTF-8
  size          bytes
  recognised    whether the format is known
  format        its number, with its abbreviation, its description and its media_type (a GUID)
  bit_rate      bits per second       } 0 when the file does not tell,
  duration      seconds               } left out with --quick
  frames        number of frames      }
  origin        how each of the three was had: declared by the file's headers, from its timestamps, counted,
                estimated by a rule, or none
  truncated     whether the file ends before what it tells of itself does
or path and error, for a file that cannot be read.

Exit status: 0 all files were recognised, 1 some were not, 2 some could not be read.

Examples:
  kiv identify clip.mpg
  kiv identify -r -j 0 --json /srv/media > media.jsonl
  find /srv/media -newer stamp -print0 | kiv identify --files-from -)";

struct Options {
    PathSource::Options source;
    bool                quick   = false;
    bool                json    = false;
    unsigned            threads = 1;
};

// Asks the library about one file after another; each thread has its own.
class Identifier {
public:
    explicit Identifier(bool quick) : m_quick(quick) {}

    Identity operator()(const FoundPath& found) {
        Identity identity{.problem = found.problem};
        if (!identity.problem.empty()) return identity;
        const InputFile file = Examine(found.path);
        identity.problem     = file.problem;
        identity.bytes       = file.bytes;
        if (!file.problem.empty() || file.bytes == 0) return identity;
        if (m_quick)
            identity.format = m_manager.checkFormat(file.name.c_str());
        else
            Measure(file, identity);
        return identity;
    }

private:
    CMObjParserMgr m_manager;
    bool           m_quick;

    void Measure(const InputFile& file, Identity& identity) {
        CMObjBaseParser* parser = m_manager.parse(file.name.c_str());
        if (parser == nullptr) {
            identity.problem = "not enough memory";
            return;
        }
        if (parser->GetFileSize() == 0) identity.problem = "vanished before it was read";
        identity.format         = parser->GetMediaType();
        identity.bitRate        = parser->GetBitRate();
        identity.duration       = parser->GetDuration();
        identity.frames         = parser->GetFrames();
        identity.bitRateOrigin  = parser->GetBitRateOrigin();
        identity.durationOrigin = parser->GetDurationOrigin();
        identity.framesOrigin   = parser->GetFramesOrigin();
        identity.truncated      = parser->IsTruncated();
    }
};

double RoundedToMilliseconds(double seconds) { return std::round(seconds * 1000) / 1000; }

std::string AsJson(const std::filesystem::path& path, const Identity& identity, bool measured) {
    Json object;
    PutName(object, "path", path);
    if (!identity.problem.empty()) {
        object["error"] = identity.problem;
        return JsonLine(object);
    }
    object["size"]         = identity.bytes;
    object["recognised"]   = identity.Recognised();
    object["format"]       = static_cast<int>(identity.format);
    object["abbreviation"] = static_cast<const char*>(Kiv_FormatTypeToAbbreviation(identity.format));
    object["description"]  = FormatName(identity.format);
    object["media_type"]   = GuidText(Kiv_FormatTypeToMediaType(identity.format));
    if (measured) {
        object["bit_rate"]  = identity.bitRate;
        object["duration"]  = RoundedToMilliseconds(identity.duration);
        object["frames"]    = identity.frames;
        object["origin"]    = {{"bit_rate", KivMeasureOriginName(identity.bitRateOrigin)},
                               {"duration", KivMeasureOriginName(identity.durationOrigin)},
                               {"frames", KivMeasureOriginName(identity.framesOrigin)}};
        object["truncated"] = identity.truncated;
    }
    return JsonLine(object);
}

ExitStatus Outcome(const Identity& identity) {
    if (!identity.problem.empty()) return kExitFailed;
    return identity.Recognised() ? kExitDone : kExitNotValid;
}

std::string ProgressLabel(std::size_t done, std::size_t total, const FoundPath* awaited) {
    std::string label = std::to_string(done);
    if (total != 0) label += " of " + std::to_string(total);
    label += " files  ";
    return awaited != nullptr ? label + Shown(awaited->path) : label;
}

// Prints in the order of the input, whatever the number of threads is.
int Identify(const Options& options) {
    // what folders and lists hold is not known before they were gone through
    const bool        counted = !options.source.recursive && !options.source.list;
    const std::size_t total   = counted ? options.source.names.size() : 0;
    const unsigned    threads = options.threads != 0 ? options.threads : std::thread::hardware_concurrency();

    const bool          onTerminal = platform::IsTerminal(stdout);
    const IdentifyTable table(platform::TerminalColumns(stdout), !options.quick);
    if (!options.json) Print(table.Heading());

    PathSource                          paths(options.source);
    auto                                source = [&] { return paths.Next(); };
    OrderedWorkers<FoundPath, Identity> workers(std::clamp(threads, 1u, kMostThreads), source,
                                                [&] { return Identifier(options.quick); });
    Progress                            progress;
    std::size_t                         done       = 0;
    int                                 exitStatus = kExitDone;
    const auto                          show       = [&](const FoundPath* awaited) {
        progress.Show(done, total, ProgressLabel(done, total, awaited));
    };
    while (const auto next = workers.Next(show)) {
        const auto& [found, identity] = *next;
        if (onTerminal || !identity.problem.empty()) progress.Clear();
        if (!identity.problem.empty()) ReportProblem(Shown(found.path), identity.problem);
        if (options.json)
            Print(AsJson(found.path, identity, !options.quick));
        else if (identity.problem.empty())
            Print(table.Row(found.path, identity));
        Worsen(exitStatus, Outcome(identity));
        ++done;
        show(nullptr);
    }
    return exitStatus;
}

} // namespace

void AddIdentifyCommand(CLI::App& app, int& exitStatus) {
    auto      options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("identify", "Tells format, size, bit rate, duration and frames of files");
    command->add_option("PATH", options->source.names, "Files, and folders with -r")->type_name("");
    command->add_flag("-r,--recursive", options->source.recursive,
                      "Goes through folders, sorted by name; links to folders inside them are not followed");
    command->add_flag("--quick", options->quick,
                      "Tells the format without measuring; reads only AVI, MPEG and MP3 files");
    command->add_flag("--json", options->json, "Prints one JSON object a line");
    command
        ->add_option("-j,--jobs", options->threads,
                     "Files read at the same time, 1 unless given; 0: one a processor")
        ->type_name("N")
        ->check(CLI::Range(0u, kMostThreads).description(""));
    CLI::Option* list =
        command
            ->add_option("--files-from", options->source.list,
                         "Further names, one a line, or NULs between them; - is standard input")
            ->type_name("LIST");
    command->add_flag("-0,--null", options->source.nul, "Newlines are part of the names of the list")
        ->needs(list);
    command->footer(kFooter);
    command->callback([options, &exitStatus] {
        if (options->source.names.empty() && !options->source.list)
            throw CLI::RequiredError("PATH or --files-from");
        exitStatus = Identify(*options);
    });
}
