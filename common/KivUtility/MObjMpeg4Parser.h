// The MPEG-4 file parser (mp4, 3gp). It takes part by extension and recognises no content yet.
#ifndef KIVUTILITY_MOBJMPEG4PARSER_H
#define KIVUTILITY_MOBJMPEG4PARSER_H

#include "MObjParser.h"

class KIV_API CMObjMpeg4Parser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
