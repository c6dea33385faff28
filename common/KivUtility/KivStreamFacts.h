// What the files of one stream must have in common: picture size, frame rate, kind and rate of the sound,
// size of the packets.
#ifndef KIVUTILITY_KIVSTREAMFACTS_H
#define KIVUTILITY_KIVSTREAMFACTS_H

#include "KivBitStream.h"
#include "KivExport.h"

enum KivSound : int {
    kKivSound_Unknown = 0,
    kKivSound_None    = 1, // there is none, not merely none that is known
    kKivSound_Mpeg    = 2, // MPEG-1 and MPEG-2 audio, of any layer
    kKivSound_Ac3     = 3,
    kKivSound_EAc3    = 4,
    kKivSound_Dts     = 5,
    kKivSound_Lpcm    = 6,
    kKivSound_Aac     = 7,
    kKivSound_Wave    = 8 // ASF: audioFormat tells
};

// Each is 0 where it is not known.
struct KivStreamFacts {
    unsigned long width         = 0; // of the pictures, in pixels
    unsigned long height        = 0;
    unsigned long frameRate     = 0; // pictures in frameRatePer seconds, in lowest terms
    unsigned long frameRatePer  = 0;
    unsigned long videoCodec    = 0; // ASF, transport streams: four characters, the first in the lowest byte
    KivSound      sound         = kKivSound_Unknown; // of the first audio stream
    unsigned long audioLayer    = 0;                 // MPEG audio: 1 to 3
    unsigned long audioFormat   = 0;                 // ASF: the wave format tag
    unsigned long samplesSecond = 0;                 // sampling rate of the sound, in Hz
    unsigned long leastPacket   = 0;                 // ASF: size of the data packets in bytes
    unsigned long mostPacket    = 0;

    bool operator==(const KivStreamFacts&) const = default;
};

// Reads them from the first 2 MiB of the stream, from its start: of MPEG video from its sequence header
// (ISO/IEC 13818-2, 6.3.3), of H.264 alone from its first sequence parameter set
// (ISO/IEC 14496-10, 7.3.2.1.1), of MPEG audio from its first frame, alone or in program and transport
// streams; of other sound from the program map of transport streams and the sub-streams of program streams;
// of ASF from its header, of any length, the video and the audio stream with the lowest number. What is not
// found there stays 0; sound that is not is none where nothing else may be it. The stream is left anywhere; a
// null one, or one without a source, tells nothing. Throws std::bad_alloc without memory. One thread at a
// time.
KIV_API KivStreamFacts KivReadStreamFacts(CKivBitStream* stream);

#endif
