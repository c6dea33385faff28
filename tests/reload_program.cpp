// A process that loads and unloads a plug-in, and with it the library, with the dispatcher running or just
// ended. It hangs where the library does not go.
// usage: reload_program PLUGIN LIBRARY
#include "dynamic_library.h"

#include <cstdio>
#include <thread>

namespace {

bool UseAndUnload(const char* plugin, const char* library, bool stop) {
    void* const loaded        = test::LoadLibraryFrom(plugin);
    auto* const useDispatcher = reinterpret_cast<int (*)(int)>(test::FindSymbol(loaded, "UseDispatcher"));
    if (useDispatcher == nullptr || useDispatcher(stop ? 1 : 0) == 0) return false;
    test::UnloadLibrary(loaded);
    // Where a running thread keeps the library, it goes once the thread has ended.
    while ((stop || !test::kThreadsKeepLibrary) && !test::IsLibraryGone(library)) std::this_thread::yield();
    return true;
}

} // namespace

int main(int argc, char** argv) {
    for (int turn = 0; turn < 10; ++turn) {
        if (argc == 3 && UseAndUnload(argv[1], argv[2], turn % 3 == 2)) continue;
        std::fprintf(stderr, "turn %d failed\n", turn);
        return 1;
    }
    return 0; // the last one was not stopped
}
