// QuickTime files.
#include "MObjQTParser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjQTParser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    m_mediaType = kKivFmt_Unknown;
    return m_mediaType;
}
