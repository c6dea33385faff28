// The parser that stands for files of no known format: it recognises nothing and records their size.
#ifndef KIVUTILITY_MOBJUNKNOWNPARSER_H
#define KIVUTILITY_MOBJUNKNOWNPARSER_H

#include "MObjParser.h"

class KIV_API CMObjUnknownParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
