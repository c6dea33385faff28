// A process that loads the library at run time and unloads it with the dispatcher running, or just stopped.
// usage: reload_program LIBRARY
#include "KivUtility.h"
#include "dynamic_library.h"

#include <cstdio>
#include <thread>

namespace {

// Nothing is linked: all calls are virtual ones.
bool StartAndUnload(const char* path, bool stop) {
    void* const library = test::LoadLibraryFrom(path);
    auto* const dispatcher =
        library != nullptr
            ? static_cast<CKivSignalDispatcher*>(test::FindSymbol(library, "g_theSignalDispatcher"))
            : nullptr;
    if (dispatcher == nullptr || dispatcher->StartUp() != 0) return false;
    if (stop) dispatcher->stop();
    test::UnloadLibrary(library);
    // Where a running thread keeps the library, it goes once the thread has ended.
    while ((stop || !test::kThreadsKeepLibrary) && !test::IsLibraryGone(path)) std::this_thread::yield();
    return true;
}

} // namespace

int main(int argc, char** argv) {
    for (int turn = 0; turn < 10; ++turn) {
        if (argc != 2 || !StartAndUnload(argv[1], turn % 3 == 2)) {
            std::fprintf(stderr, "turn %d failed\n", turn);
            return 1;
        }
    }
    return 0; // the last one was not stopped
}
