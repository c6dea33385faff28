// Shared objects through the dynamic linker.
#include "platform/library.h"

#include "platform/executable.h"

#include <dlfcn.h>
#include <string>

namespace kiv::platform {

std::unique_ptr<Library> Library::Load(const char* name) {
    const std::string file   = std::string("lib") + name + ".so";
    const std::string beside = ExecutableFolder() + file;
    void*             handle = ::dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) handle = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    return std::unique_ptr<Library>(handle == nullptr ? nullptr : new Library(handle));
}

Library::~Library() { ::dlclose(m_handle); }

void* Library::Find(const char* function) const noexcept { return ::dlsym(m_handle, function); }

} // namespace kiv::platform
