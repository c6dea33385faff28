// A process that leaves the dispatcher running: its end has to end the dispatcher.
// usage: exit_program [suspended | busy]
#include "KivUtility.h"

#include <string>

int main(int argc, char** argv) {
    const std::string how = argc > 1 ? argv[1] : "";
    if (g_theSignalDispatcher.StartUp() != 0) return 1;
    if (how == "suspended") g_theSignalDispatcher.suspend();
    for (int i = 0; how == "busy" && i < 100; ++i) {
        g_theSignalRegistrar.raiseSignal(Kiv_SIGNALS{1}, Kiv_LISTENERS{0}, 0x3F, nullptr, 0);
    }
    return 0;
}
