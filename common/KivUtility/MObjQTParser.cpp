// QuickTime files.
#include "MObjQTParser.h"

#include "IsoMedia.h"

using namespace kiv::iso;

Kiv_MEDIA_FORMAT_TYPE CMObjQTParser::ParseBitStream(CKivBitStream* stream, int quick) {
    m_mediaType = kKivFmt_Unknown;
    if (quick == 0) ClearMeasures();
    const Media media = ReadMedia(*stream, quick == 0 ? Effort::Measure : Effort::Recognise);
    if (!media.isMovie && !media.hasMedia) return m_mediaType;
    m_mediaType = kKivFmt_QuickTime;
    if (quick != 0) return m_mediaType;
    SetMeasures({media.frames.value, media.frames.origin}, {media.seconds.value, media.seconds.origin});
    m_truncated = media.isTruncated;
    return m_mediaType;
}
