// The MPEG audio parser: MP3 and the other layers of MPEG-1, MPEG-2 and MPEG-2.5 audio.
#ifndef KIVUTILITY_MOBJMP3PARSER_H
#define KIVUTILITY_MOBJMP3PARSER_H

#include "MObjParser.h"

// kKivFmt_Mp3 for Layer III, kKivFmt_MpegAudio for Layers I and II. ID3v2 tags and up to 64 KiB of other
// bytes may stand in front of the first frame. Frames of the free format, which do not tell their size, are
// not recognised.
//
// Frames are those that hold audio; one that the file's end cuts counts. The bit rate is the frames' own
// where all have the same, otherwise their average.
class KIV_API CMObjMp3Parser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
