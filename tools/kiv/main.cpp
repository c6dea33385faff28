// The command line tool.
#include "KivUtility.h"

#include <CLI/CLI.hpp>

int main(int argc, char** argv) {
    CLI::App app("Identifies media files and looks after the configuration of media-streaming servers.",
                 "kiv");
    CLI11_PARSE(app, argc, argv);
    return 0;
}
