// MPEG-4 files.
#include "MObjMpeg4Parser.h"

#include "ByteFields.h"
#include "IsoMedia.h"

using namespace kiv::iso;

namespace {

// 3gp4 to 3gp9, the profiles of 3GPP, 3g2a and so on. The other brands of a file tell who can read it
// besides.
bool Is3gpp(std::uint32_t brand) {
    const std::uint32_t family = brand >> 8;
    return family == kiv::FourCc("3gp ") >> 8 || family == kiv::FourCc("3g2 ") >> 8;
}

} // namespace

Kiv_MEDIA_FORMAT_TYPE CMObjMpeg4Parser::ParseBitStream(CKivBitStream* stream, int quick) {
    m_mediaType = kKivFmt_Unknown;
    if (quick == 0) ClearMeasures();
    const Media media = ReadMedia(*stream, quick == 0 ? Effort::Measure : Effort::Recognise);
    if (!media.isMovie) return m_mediaType;
    m_mediaType = Is3gpp(media.brand) ? kKivFmt_3gpp : kKivFmt_Mpeg4;
    if (quick != 0) return m_mediaType;
    SetMeasures({media.frames.value, media.frames.origin}, {media.seconds.value, media.seconds.origin});
    m_truncated = media.isTruncated;
    return m_mediaType;
}
