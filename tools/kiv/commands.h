// The commands of the tool, one file each.
#ifndef KIVTOOL_COMMANDS_H
#define KIVTOOL_COMMANDS_H

#include <algorithm>

namespace CLI {
class App;
}

// What the tool ends with: the worst that happened.
enum ExitStatus : int {
    kExitDone     = 0,
    kExitNotValid = 1, // done, but something was not recognised or is not valid
    kExitFailed   = 2, // something could not be done
};

inline void Worsen(int& exitStatus, ExitStatus by) { exitStatus = std::max<int>(exitStatus, by); }

// Each adds a command to the tool. The command runs while the command line is parsed, and leaves how it
// ended in `exitStatus`, which it finds at 0. A command that cannot go on throws; the tool prints what the
// exception says and ends with kExitFailed.
void AddIdentifyCommand(CLI::App& app, int& exitStatus);
void AddHeaderCommand(CLI::App& app, int& exitStatus);
void AddSpliceCommand(CLI::App& app, int& exitStatus);
void AddRegistryCommand(CLI::App& app, int& exitStatus);
void AddExplainCommand(CLI::App& app, int& exitStatus);
void AddRecordCommand(CLI::App& app, int& exitStatus);
void AddNicCommand(CLI::App& app, int& exitStatus);

#endif
