// The QuickTime parser (mov, qt). It takes part by extension and recognises no content yet.
#ifndef KIVUTILITY_MOBJQTPARSER_H
#define KIVUTILITY_MOBJQTPARSER_H

#include "MObjParser.h"

class KIV_API CMObjQTParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
