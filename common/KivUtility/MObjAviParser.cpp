// AVI files.
#include "MObjAviParser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjAviParser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    return kKivFmt_Unknown;
}
