// The AVI parser: RIFF files of form AVI.
#ifndef KIVUTILITY_MOBJAVIPARSER_H
#define KIVUTILITY_MOBJAVIPARSER_H

#include "MObjParser.h"

// kKivFmt_Avi for a file with its main header, also of several RIFF lists (OpenDML). Frames are the first
// video stream's, without its empty chunks (they only prolong the picture before), or the first audio
// stream's blocks where there is no video; the duration is that of the longest stream; the bit rate is the
// whole file's over that time. The figures are declared where an index lists as many chunks as the header
// tells, or the film was cut, then as of the whole. Where no index does, the chunks are counted.
class KIV_API CMObjAviParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
