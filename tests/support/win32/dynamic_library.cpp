// DLLs.
#include "dynamic_library.h"

#include <windows.h>

const bool test::kThreadsKeepLibrary = true;

void* test::LoadLibraryFrom(const char* path) { return ::LoadLibraryA(path); }

void* test::FindSymbol(void* library, const char* name) {
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(library), name));
}

void test::UnloadLibrary(void* library) { ::FreeLibrary(static_cast<HMODULE>(library)); }

bool test::IsLibraryGone(const char* path) { return ::GetModuleHandleA(path) == nullptr; }
