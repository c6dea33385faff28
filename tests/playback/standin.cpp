// Stands in for a DVR maker's playback library, KIV_STANDIN: opens the files that begin with its name, and
// tells the number behind it as their length.
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

constexpr char kName[] = KIV_TEXT(KIV_STANDIN) " ";

int g_openFiles = 0;

} // namespace

KIV_STANDIN_API void* KIV_JOIN(KIV_STANDIN, _Open)(const char* path) {
    char             start[64] = {};
    std::FILE* const file      = std::fopen(path, "rb");
    if (file == nullptr) return nullptr;
    const std::size_t got = std::fread(start, 1, sizeof start - 1, file);
    if (got < sizeof kName || std::strncmp(start, kName, sizeof kName - 1) != 0) {
        std::fclose(file);
        return nullptr;
    }
    std::fseek(file, sizeof kName - 1, SEEK_SET);
    ++g_openFiles;
    return file;
}

KIV_STANDIN_API double KIV_JOIN(KIV_STANDIN, _Length)(void* file) {
    char              number[64] = {};
    const std::size_t got        = std::fread(number, 1, sizeof number - 1, static_cast<std::FILE*>(file));
    return got == 0 ? -1 : std::strtod(number, nullptr);
}

KIV_STANDIN_API void KIV_JOIN(KIV_STANDIN, _Close)(void* file) {
    std::fclose(static_cast<std::FILE*>(file));
    --g_openFiles;
}

KIV_STANDIN_API int KIV_JOIN(KIV_STANDIN, _OpenFiles)() { return g_openFiles; }
