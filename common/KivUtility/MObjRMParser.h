// The RealMedia parser (rm, rmvb, ra): duration by what the header tells, frames by walking through every
// data packet; and the RealAudio files of before.
#ifndef KIVUTILITY_MOBJRMPARSER_H
#define KIVUTILITY_MOBJRMPARSER_H

#include "MObjParser.h"

// Recognises a RealMedia file header with a properties chunk among the chunks behind it, and RealAudio files
// of versions 3 to 5. A ram file, a text that names streams elsewhere, is none and has no measures.
//
// Duration: the longest of those that the properties and the streams tell; where they tell none, the time
// from the first packet to the end of the last, that one lasting as long as the average.
// Frames: of the first video stream, counted in the headers in front of its slices; else the packets of the
// first audio stream. Behind damage nothing can be counted: then frame rate times duration, if told.
// Bit rate: the file's size over the duration; without a duration the average that the properties tell.
// Truncated: a chunk (of the data only when packets are missing, or none are told), or the sound that a
// RealAudio file tells, passes the end.
class KIV_API CMObjRMParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
