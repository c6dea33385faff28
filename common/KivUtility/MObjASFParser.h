// The ASF parser (asf, wmv, wma). It takes part by extension and recognises no content yet.
#ifndef KIVUTILITY_MOBJASFPARSER_H
#define KIVUTILITY_MOBJASFPARSER_H

#include "MObjParser.h"

class KIV_API CMObjASFParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
