// Libraries that are loaded while the program runs, when they are there.
#ifndef KIVUTILITY_PLATFORM_LIBRARY_H
#define KIVUTILITY_PLATFORM_LIBRARY_H

#include <memory>

namespace kiv::platform {

// A loaded library, unloaded with the object. Any number of threads may load and ask at once.
class Library {
public:
    // Loads the library that programs call by `name`, such as "foo" for foo.dll or libfoo.so: from the folder
    // of the running executable, otherwise from the system's own folders. The working directory and the
    // folders of PATH, where others may have put one, are not searched; a system that is configured to search
    // further folders for shared libraries searches them here too, and one whose LD_LIBRARY_PATH has an empty
    // element the working directory with them. Null when there is none
    // or it cannot be loaded; nothing is shown to the user then. Throws std::bad_alloc.
    static std::unique_ptr<Library> Load(const char* name);

    Library(const Library&)            = delete;
    Library& operator=(const Library&) = delete;
    ~Library();

    // The function of that name as the library exports it, to be called as what it is; null when there is
    // none.
    void* Find(const char* function) const noexcept;

private:
    explicit Library(void* handle) noexcept : m_handle(handle) {}

    void* m_handle;
};

} // namespace kiv::platform

#endif
