// Stands in for a DVR maker's playback library, KIV_STANDIN: opens the files that begin with its name, and
// tells the number behind it as their length.
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#if defined(_WIN32)
#define KIV_STANDIN_API extern "C" __declspec(dllexport)
#else
#define KIV_STANDIN_API extern "C" __attribute__((visibility("default")))
#endif

#define KIV_JOIN_(a, b) a##b
#define KIV_JOIN(a, b) KIV_JOIN_(a, b)
#define KIV_TEXT_(a) #a
#define KIV_TEXT(a) KIV_TEXT_(a)

namespace {

int g_openFiles = 0;

} // namespace

KIV_STANDIN_API void* KIV_JOIN(KIV_STANDIN, _Open)(const char* path) {
    auto        file = std::make_unique<std::ifstream>(path);
    std::string name;
    if (!(*file >> name) || name != KIV_TEXT(KIV_STANDIN)) return nullptr;
    ++g_openFiles;
    return file.release();
}

KIV_STANDIN_API double KIV_JOIN(KIV_STANDIN, _Length)(void* file) {
    std::string number;
    *static_cast<std::ifstream*>(file) >> number;
    return std::strtod(number.c_str(), nullptr);
}

KIV_STANDIN_API void KIV_JOIN(KIV_STANDIN, _Close)(void* file) {
    delete static_cast<std::ifstream*>(file);
    --g_openFiles;
}

KIV_STANDIN_API int KIV_JOIN(KIV_STANDIN, _OpenFiles)() { return g_openFiles; }
