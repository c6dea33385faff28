// H.264 and AVS elementary streams.
#include "MObjH264Parser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjH264Parser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    m_mediaType = kKivFmt_Unknown;
    return m_mediaType;
}
