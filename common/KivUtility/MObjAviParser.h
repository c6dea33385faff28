// The AVI parser: RIFF files of form AVI.
#ifndef KIVUTILITY_MOBJAVIPARSER_H
#define KIVUTILITY_MOBJAVIPARSER_H

#include "MObjParser.h"

// kKivFmt_Avi for a file with its main header. The measures are those that its headers tell, also of a file
// that was cut behind them: frames are the first video stream's, without those that the index lists as empty
// (they only prolong the picture before), or the first audio stream's blocks where there is no video; the
// duration is that of the longest stream; the bit rate is the whole file's over that time.
class KIV_API CMObjAviParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
