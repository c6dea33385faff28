// ASF files.
#include "MObjASFParser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjASFParser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    // the type that the extension gave stays: wmv and wma files keep theirs
    return kKivFmt_Unknown;
}
