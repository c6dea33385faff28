// MPEG-4 files.
#include "MObjMpeg4Parser.h"

Kiv_MEDIA_FORMAT_TYPE CMObjMpeg4Parser::ParseBitStream(CKivBitStream* /*stream*/, int /*quick*/) {
    m_mediaType = kKivFmt_Unknown;
    return m_mediaType;
}
