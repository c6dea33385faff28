// RealMedia files.
#include "MObjRMParser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjRMParser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    m_mediaType = kKivFmt_Unknown;
    return m_mediaType;
}
