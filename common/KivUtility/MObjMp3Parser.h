// The MPEG audio parser: MP3 and the other layers of MPEG-1, MPEG-2 and MPEG-2.5 audio.
#ifndef KIVUTILITY_MOBJMP3PARSER_H
#define KIVUTILITY_MOBJMP3PARSER_H

#include "MObjParser.h"

class KIV_API CMObjMp3Parser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
