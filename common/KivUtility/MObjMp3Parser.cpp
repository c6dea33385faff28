// MPEG audio files.
#include "MObjMp3Parser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjMp3Parser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    return kKivFmt_Unknown;
}
