// The command line tool.
#include "commands.h"
#include "console.h"
#include "platform/terminal.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <new>
#include <sstream>

namespace {

// Help and version go to standard output and are no failure; what is wrong with the command line goes to
// standard error.
int ExitFor(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream out, problems;
    const int          status = app.exit(error, out, problems);
    tool::Print(out.str());
    if (status == 0) return kExitDone;
    std::fprintf(stderr, "kiv: %s", problems.str().c_str());
    return kExitFailed;
}

int Run(int argc, char** argv) {
    CLI::App app(
        "Identifies and joins media files, and looks after the configuration and the management records "
        "of media-streaming servers.",
        "kiv");
    int exitStatus = kExitDone;
    app.set_version_flag("--version", "kiv " KIV_VERSION);
    app.footer("kiv COMMAND --help tells more about a command.");
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.require_subcommand(0, 1);
    app.allow_windows_style_options(false); // there, too, a word that begins with a slash is a path
    AddIdentifyCommand(app, exitStatus);
    AddHeaderCommand(app, exitStatus);
    AddSpliceCommand(app, exitStatus);
    AddRegistryCommand(app, exitStatus);
    AddNicCommand(app, exitStatus);
    AddExplainCommand(app, exitStatus);
    AddRecordCommand(app, exitStatus);
    for (CLI::App* command : app.get_subcommands({})) command->group("Commands");
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) throw CLI::RequiredError("COMMAND");
    } catch (const CLI::ParseError& error) {
        return ExitFor(app, error);
    }
    return exitStatus;
}

} // namespace

int main(int argc, char** argv) {
    tool::platform::PrepareStandardStreams();
    try {
        return Run(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("kiv: not enough memory\n", stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kiv: %s\n", error.what());
    }
    return kExitFailed;
}
