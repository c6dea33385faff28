// The tags that stand around MPEG audio and are none of it: ID3v2 in front, ID3v1 and APE behind.
#ifndef KIVUTILITY_MPEGAUDIOTAGS_H
#define KIVUTILITY_MPEGAUDIOTAGS_H

#include "StreamReader.h"

namespace kiv::mpeg {

// The offset behind all ID3v2 tags at the stream's start (ID3v2.4.0 structure, 3.1). A tag that claims more
// than the stream holds is none.
std::uint64_t EndOfFrontTags(StreamReader& reader);

// The offset, at least `audio`, at which the tags at the stream's end begin: ID3v1 in its last 128 bytes, an
// APE tag in front of that or of the end. The stream's size where there are none.
std::uint64_t StartOfBackTags(StreamReader& reader, std::uint64_t audio);

// Whether these, the last bytes of a stream, are tags from the first one on, or no bytes.
bool AreBackTags(ByteSpan bytes) noexcept;

} // namespace kiv::mpeg

#endif
