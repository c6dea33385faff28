// The RealMedia parser (rm, ra, ram, rmvb). It takes part by extension and recognises no content yet.
#ifndef KIVUTILITY_MOBJRMPARSER_H
#define KIVUTILITY_MOBJRMPARSER_H

#include "MObjParser.h"

class KIV_API CMObjRMParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
