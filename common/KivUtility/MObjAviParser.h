// The AVI parser: RIFF files of form AVI.
#ifndef KIVUTILITY_MOBJAVIPARSER_H
#define KIVUTILITY_MOBJAVIPARSER_H

#include "MObjParser.h"

class KIV_API CMObjAviParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
