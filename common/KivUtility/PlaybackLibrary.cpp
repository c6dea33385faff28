// The questions to a playback library.
#include "PlaybackLibrary.h"

#include "platform/library.h"

#include <cmath>

namespace kiv {

std::optional<double> AskPlaybackLibrary(const PlaybackLibrary& library, const char* path) {
    const auto loaded = platform::Library::Load(library.name);
    if (!loaded) return std::nullopt;
    const auto open   = reinterpret_cast<void* (*)(const char*)>(loaded->Find(library.open));
    const auto length = reinterpret_cast<double (*)(void*)>(loaded->Find(library.length));
    const auto close  = reinterpret_cast<void (*)(void*)>(loaded->Find(library.close));
    if (open == nullptr || length == nullptr || close == nullptr) return std::nullopt;

    void* const file = open(path);
    if (file == nullptr) return std::nullopt;
    const double seconds = length(file);
    close(file);
    return std::isfinite(seconds) && seconds > 0 ? std::optional(seconds) : std::nullopt;
}

} // namespace kiv
