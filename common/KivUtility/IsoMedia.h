// What an MPEG-4 or QuickTime file tells of itself: whether it is one, and its measures.
#ifndef KIVUTILITY_ISOMEDIA_H
#define KIVUTILITY_ISOMEDIA_H

#include "KivBitStream.h"
#include "MObjParser.h"

#include <cstdint>

namespace kiv::iso {

struct Figure {
    double           value  = 0;
    KivMeasureOrigin origin = kKivOrigin_None;
};

struct Media {
    // It begins as such a file does, and a movie header (also a compressed movie) or a file type that is not
    // a picture's shows that it is one.
    bool isMovie = false;
    // It begins so, and has media data or a movie atom at least, as what is left of an old QuickTime file.
    bool hasMedia = false;

    std::uint32_t brand = 0; // the major one, what the file was made as; 0 without a file type

    // When measured, and when it is one:
    Figure frames; // samples of the first video track, or of the first audio track where there is none
    Figure seconds;
    bool   isTruncated = false;
};

enum class Effort { Recognise, Measure };

// Reads the atoms of a stream from where it stands; leaves it anywhere. Recognising reads the headers of the
// outer atoms up to the movie, measuring those of all, the movie and the fragments. Reads every byte about
// once at most, and keeps no more of a large file than of a small one. Separate streams at once.
Media ReadMedia(CKivBitStream& stream, Effort effort);

} // namespace kiv::iso

#endif
