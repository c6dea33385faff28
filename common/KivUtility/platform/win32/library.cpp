// DLLs through the system's loader.
#include "platform/library.h"

#include "KivPlatform.h"

#include <string>

namespace kiv::platform {

namespace {

// Keeps the loader from showing a message box for a damaged DLL, or one that misses another, on this thread.
class NoErrorBoxes {
public:
    NoErrorBoxes() { ::SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &m_before); }

    NoErrorBoxes(const NoErrorBoxes&)            = delete;
    NoErrorBoxes& operator=(const NoErrorBoxes&) = delete;

    ~NoErrorBoxes() { ::SetThreadErrorMode(m_before, nullptr); }

private:
    DWORD m_before = 0;
};

} // namespace

std::unique_ptr<Library> Library::Load(const char* name) {
    constexpr DWORD    kSafeFolders = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
    const NoErrorBoxes quiet;
    const std::string  file   = std::string(name) + ".dll";
    const HMODULE      module = ::LoadLibraryExA(file.c_str(), nullptr, kSafeFolders);
    return std::unique_ptr<Library>(module == nullptr ? nullptr : new Library(module));
}

Library::~Library() { ::FreeLibrary(static_cast<HMODULE>(m_handle)); }

void* Library::Find(const char* function) const noexcept {
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(m_handle), function));
}

} // namespace kiv::platform
