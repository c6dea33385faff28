// Files of no known format.
#include "MObjUnknownParser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjUnknownParser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    m_mediaType = kKivFmt_Unknown;
    return m_mediaType;
}
