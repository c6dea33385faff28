// The DVR makers' playback libraries, which know recordings that are no standard streams.
#ifndef KIVUTILITY_PLAYBACKLIBRARY_H
#define KIVUTILITY_PLAYBACKLIBRARY_H

#include "KivMediaFormat.h"

#include <optional>

namespace kiv {

// A playback library and the C functions that it is asked through. It may export them itself, or be a small
// library of that name in front of the maker's own. They are called with the platform's plain C calling
// convention, from any thread, for several files at once:
//
//   void*  open(const char* path)   opens the file, spelt as the system's narrow file calls take it, and
//                                   returns something to know it by; null when it is none of its recordings
//   double length(void* file)       the seconds that the recording lasts
//   void   close(void* file)        called once for each file that was opened
struct PlaybackLibrary {
    const char*           name; // of its file, without what the system puts around it
    const char*           open;
    const char*           length;
    const char*           close;
    Kiv_MEDIA_FORMAT_TYPE format; // of the files that it opens
};

// In the order in which they are asked.
inline constexpr PlaybackLibrary kPlaybackLibraries[] = {
    {"HikPlayM4", "HikPlayM4_Open", "HikPlayM4_Length", "HikPlayM4_Close", kKivFmt_H264HikPlay},
    {"dhplay", "dhplay_Open", "dhplay_Length", "dhplay_Close", kKivFmt_H264DhPlay},
};

// The seconds that the library tells of the file. Nothing where there is no such library, it lacks a
// function, does not open the file, or tells a length that is none: below or equal to 0, infinite or no
// number. It is loaded for the call, from where platform::Library looks. Throws std::bad_alloc. Any thread.
std::optional<double> AskPlaybackLibrary(const PlaybackLibrary& library, const char* path);

} // namespace kiv

#endif
