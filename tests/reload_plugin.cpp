// What brings the library into a process at run time: a plug-in that uses it.
#include "KivUtility.h"

// Has the dispatcher running, or just ended. 0 when it could not be started.
extern "C" int UseDispatcher(int stop) {
    if (g_theSignalDispatcher.StartUp() != 0) return 0;
    g_theSignalDispatcher.suspend();
    g_theSignalDispatcher.resume();
    while (stop != 0 && g_theSignalDispatcher.isAlive()) {
        g_theSignalDispatcher.stop(); // again: a thread that has not come to its loop forgets it
        g_theSignalRegistrar.signal();
    }
    return 1;
}
