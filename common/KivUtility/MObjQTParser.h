// The QuickTime parser (mov, qt).
#ifndef KIVUTILITY_MOBJQTPARSER_H
#define KIVUTILITY_MOBJQTPARSER_H

#include "MObjParser.h"

// kKivFmt_QuickTime for a file with a movie atom or, as what is left of one, with a file type or with media
// data where such a file has it, whatever the brand. It begins with one of the atoms ftyp, moov, mdat, wide,
// free, skip, pnot and uuid.
//
// The measures are those of CMObjMpeg4Parser.
class KIV_API CMObjQTParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
