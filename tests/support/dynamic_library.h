// Loading a shared library at run time.
#ifndef KIVUTILITY_TESTS_DYNAMIC_LIBRARY_H
#define KIVUTILITY_TESTS_DYNAMIC_LIBRARY_H

namespace test {

// Null when it cannot be loaded.
void* LoadLibraryFrom(const char* path);

// Null when it exports no such name.
void* FindSymbol(void* library, const char* name);

void UnloadLibrary(void* library);

// Whether nothing of the library is left in the process.
bool IsLibraryGone(const char* path);

// Whether a library stays loaded as long as a thread of its own runs.
extern const bool kThreadsKeepLibrary;

} // namespace test

#endif
