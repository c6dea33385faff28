// Shared libraries of the dynamic loader.
#include "dynamic_library.h"

#include <csignal>
#include <dlfcn.h>

const bool test::kThreadsKeepLibrary = false;

void* test::LoadLibraryFrom(const char* path) { return ::dlopen(path, RTLD_NOW | RTLD_LOCAL); }

void* test::FindSymbol(void* library, const char* name) { return ::dlsym(library, name); }

void test::UnloadLibrary(void* library) { ::dlclose(library); }

bool test::IsLibraryGone(const char* path) {
    for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) {
        struct ::sigaction handling {};

        if (::sigaction(number, nullptr, &handling) != 0 || handling.sa_handler != SIG_DFL) return false;
    }
    void* const library = ::dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) ::dlclose(library);
    return library == nullptr;
}
