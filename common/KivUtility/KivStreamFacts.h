// What the files of one stream must have in common: picture size, frame rate, kind and rate of the sound.
#ifndef KIVUTILITY_KIVSTREAMFACTS_H
#define KIVUTILITY_KIVSTREAMFACTS_H

#include "KivBitStream.h"
#include "KivExport.h"

// Each is 0 where it is not known.
struct KivStreamFacts {
    unsigned long width         = 0; // of the pictures, in pixels
    unsigned long height        = 0;
    unsigned long frameRate     = 0; // pictures in frameRatePer seconds, in lowest terms
    unsigned long frameRatePer  = 0;
    unsigned long videoCodec    = 0; // ASF: the four-character code, first character in the lowest byte
    unsigned long audioLayer    = 0; // MPEG audio: 1 to 3
    unsigned long audioFormat   = 0; // ASF: the wave format tag
    unsigned long samplesSecond = 0; // sampling rate of the sound, in Hz

    bool operator==(const KivStreamFacts&) const = default;
};

// Reads them from the first 256 KiB of the stream, from its start: of MPEG video from its sequence header
// (ISO/IEC 13818-2, 6.3.3), of MPEG audio from its first frame, alone or in program and transport streams; of
// ASF from its stream properties. What is not found there stays 0. The stream is left anywhere; a null one,
// or one without a source, tells nothing. Throws std::bad_alloc without memory. One thread at a time.
KIV_API KivStreamFacts KivReadStreamFacts(CKivBitStream* stream);

#endif
