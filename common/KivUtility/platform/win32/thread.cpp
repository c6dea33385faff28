// The system's threads, begun through the runtime library.
#include "platform/thread.h"

#include <memory>
#include <new>
#include <process.h>

namespace kiv::platform {

namespace {

bool g_isUnloading = false; // written and read under the loader's lock, by one thread

struct Start {
    ThreadBody body;
    void*      argument;
    HMODULE    library;
};

// The module that this code is part of, with a reference more.
HMODULE HoldLibrary() noexcept {
    HMODULE library = nullptr;
    ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const char*>(&HoldLibrary),
                         &library);
    return library;
}

// Ends in the system, as the library may be gone with the reference that the thread had.
unsigned __stdcall RunThread(void* argument) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(argument));
    start.body(start.argument);
    ::FreeLibraryAndExitThread(start.library, 0);
}

} // namespace

void StartThread(ThreadBody body, void* argument, HANDLE& thread, std::uint32_t& id) noexcept {
    thread = nullptr;
    std::unique_ptr<Start> start(new (std::nothrow) Start{body, argument, HoldLibrary()});
    if (start == nullptr) return;
    unsigned int newId = 0;
    // suspended for as long as it takes to write the results
    const auto handle = ::_beginthreadex(nullptr, 0, RunThread, start.get(), CREATE_SUSPENDED, &newId);
    if (handle == 0) {
        ::FreeLibrary(start->library);
        return;
    }
    static_cast<void>(start.release()); // the thread's
    id     = newId;
    thread = reinterpret_cast<HANDLE>(handle);
    ::ResumeThread(thread);
}

HANDLE ShareThread(HANDLE thread) noexcept {
    HANDLE other = nullptr;
    if (thread != nullptr) {
        ::DuplicateHandle(::GetCurrentProcess(), thread, ::GetCurrentProcess(), &other, 0, FALSE,
                          DUPLICATE_SAME_ACCESS);
    }
    return other;
}

void CloseThread(HANDLE thread) noexcept {
    if (thread != nullptr) ::CloseHandle(thread);
}

bool IsAlive(HANDLE thread) noexcept {
    DWORD exitCode = 0;
    return ::GetExitCodeThread(thread, &exitCode) != 0 && exitCode == STILL_ACTIVE;
}

bool JoinThread(HANDLE thread, std::uint32_t ms) noexcept {
    return thread != nullptr && ::WaitForSingleObject(thread, ms) == WAIT_OBJECT_0;
}

void Suspend(HANDLE thread) noexcept {
    ::SuspendThread(thread);
    // the system stops it in its own time; whoever asks for the registers waits for that
    CONTEXT context;
    context.ContextFlags = CONTEXT_CONTROL;
    ::GetThreadContext(thread, &context);
}

void Resume(HANDLE thread) noexcept { ::ResumeThread(thread); }

static_assert(kHighestLevel == THREAD_PRIORITY_HIGHEST && kLowestLevel == THREAD_PRIORITY_LOWEST
              && THREAD_PRIORITY_NORMAL == 0);

void SetLevel(HANDLE thread, int level) noexcept { ::SetThreadPriority(thread, level); }

bool IsAloneAtUnload() noexcept { return g_isUnloading; }

} // namespace kiv::platform

// Told before the static objects are destroyed: at unload, when no thread holds a reference any more, and at
// the end of the process, when the others were ended. A program that has these units linked in is not told,
// and destroys its objects while its threads run.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_DETACH) kiv::platform::g_isUnloading = true;
    return TRUE;
}
