// RealMedia files: the chunks of their header and the headers of their data packets (RealMedia File Format,
// draft-heftagaub-rmff-00); RealAudio files of versions 3 to 5.
#include "MObjRMParser.h"

#include "ByteFields.h"
#include "StreamCursor.h"

#include <algorithm>
#include <optional>

using kiv::BigEndian;
using kiv::ByteSpan;
using kiv::FourCc;
using kiv::IsTextAt;
using kiv::StreamCursor;
using kiv::StreamReader;

namespace {

constexpr double kMsPerSecond      = 1000;
constexpr double kSecondsPerMinute = 60;

struct Facts {
    double           frames         = 0;
    KivMeasureOrigin framesOrigin   = kKivOrigin_Declared;
    double           seconds        = 0;
    KivMeasureOrigin secondsOrigin  = kKivOrigin_Declared;
    double           averageBitRate = 0; // as the header tells it
    bool             cut            = false;
};

constexpr std::size_t kChunkHeader = 10; // identifier, size, version
constexpr std::size_t kDataHeader  = 18; // and packets, next data chunk

struct Chunk {
    std::uint32_t id      = 0;
    std::uint64_t begin   = 0;     // of the content
    std::uint64_t end     = 0;     // at most the file's
    bool          isSized = false; // or open to the end, as live streams are, and what was broken off
    bool          cut     = false; // by the file's end
};

// The chunks of a file, one after the other. One whose size does not lead on is the last.
class Chunks {
public:
    explicit Chunks(StreamReader& reader) : m_reader(reader) {}

    // Nothing behind the last one.
    std::optional<Chunk> Next() {
        const ByteSpan header = m_reader.At(m_next, kChunkHeader);
        if (header.empty()) return std::nullopt;
        const auto id   = BigEndian<std::uint32_t>(header, 0);
        const auto size = BigEndian<std::uint32_t>(header, 4);
        Chunk      chunk{.id = id, .begin = m_next + kChunkHeader, .end = m_reader.Size()};
        chunk.isSized = size >= kChunkHeader && (id != FourCc("DATA") || size > kDataHeader);
        chunk.cut     = size > m_reader.Size() - m_next;
        if (chunk.isSized && !chunk.cut) chunk.end = m_next + size;
        m_next = chunk.end;
        return chunk;
    }

private:
    StreamReader& m_reader;
    std::uint64_t m_next = 0;
};

struct Stream {
    unsigned number       = 0;
    bool     isMultiRate  = false; // the same film at several rates, told apart by the packets' groups
    double   framesSecond = 0;     // of video; 0 where it is not told
};

struct Headers {
    bool                  areThere  = false;
    bool                  isLive    = false; // then no duration is to be believed
    std::uint32_t         bitRate   = 0;     // average
    std::uint32_t         longestMs = 0;
    std::optional<Stream> video; // the first of its kind
    std::optional<Stream> audio;

    const std::optional<Stream>& Measured() const { return video ? video : audio; }
};

void TakeProperties(StreamCursor fields, Headers& headers) {
    constexpr unsigned kLive = 4;
    fields.Skip(4); // maximum bit rate
    const auto bitRate = fields.Big<std::uint32_t>();
    fields.Skip(12); // packet sizes, packets
    const auto ms = fields.Big<std::uint32_t>();
    fields.Skip(14); // preroll, offsets, streams
    const auto flags = fields.Big<std::uint16_t>();
    if (fields.HasFailed() || headers.areThere) return;
    headers.areThere  = true;
    headers.isLive    = (flags & kLive) != 0;
    headers.bitRate   = bitRate;
    headers.longestMs = std::max(headers.longestMs, ms);
}

// The data that a stream's decoder wants, of which the frame rate is.
void TakeDecoderData(StreamCursor fields, Stream& stream) {
    constexpr double kOne = 65536;              // fixed point
    const auto       data = fields.Take(4 + 4); // size and identifier, or the identifier of many
    stream.isMultiRate    = IsTextAt(data, 0, "MLTI");
    if (!IsTextAt(data, 4, "VIDO")) return;
    fields.Skip(14); // codec, picture size, depth, padding
    stream.framesSecond = fields.Big<std::uint32_t>() / kOne;
}

void TakeStream(StreamCursor fields, Headers& headers) {
    constexpr std::size_t kKind = 6; // bytes of the media type's first half, as "video/"
    Stream                stream;
    stream.number = fields.Big<std::uint16_t>();
    fields.Skip(24); // bit rates, packet sizes, start, preroll
    const auto ms = fields.Big<std::uint32_t>();
    fields.Skip(fields.Big<std::uint8_t>()); // name
    const auto mimeLength = fields.Big<std::uint8_t>();
    if (mimeLength < kKind) return;
    const ByteSpan kind    = fields.Take(kKind);
    const bool     isVideo = IsTextAt(kind, 0, "video/"), isAudio = IsTextAt(kind, 0, "audio/");
    fields.Skip(mimeLength - kKind);
    fields.Skip(4); // length of what follows
    if (fields.HasFailed() || (!isVideo && !isAudio)) return;
    headers.longestMs           = std::max(headers.longestMs, ms);
    std::optional<Stream>& kept = isVideo ? headers.video : headers.audio;
    if (kept) return;
    TakeDecoderData(fields, stream);
    kept = stream;
}

// What the packets of the measured stream hold.
struct Tally {
    std::uint64_t           frames = 0;
    std::optional<unsigned> picture;         // the number of the frame whose slices come
    bool                    isWhole = true;  // no packet was damaged
    bool                    isAny   = false; // of all streams:
    std::uint32_t           firstMs = 0;
    std::uint32_t           lastMs  = 0;

    void AddTime(std::uint32_t ms) {
        firstMs = isAny ? std::min(firstMs, ms) : ms;
        lastMs  = std::max(lastMs, ms);
        isAny   = true;
    }

    // The last frame lasts as long as the average.
    double Seconds() const {
        const double span = (lastMs - firstMs) / kMsPerSecond;
        return frames < 2 ? span : span + span / static_cast<double>(frames - 1);
    }
};

// A length in two bytes or four, as the second highest bit tells.
std::uint32_t Length(StreamCursor& fields) {
    constexpr std::uint32_t kShort = 0x4000;
    const std::uint32_t     high   = fields.Big<std::uint16_t>() & 0x7FFFU;
    return (high & kShort) != 0 ? high - kShort : high << 16 | fields.Big<std::uint16_t>();
}

// The headers of RealVideo in a packet: a slice of a frame, the last slice, with others behind it, a whole
// frame, or several.
void CountFrames(StreamCursor packet, Tally& tally) {
    enum Kind : unsigned { Slice, Whole, LastSlice, Several };

    while (packet.Left() > 0) {
        const unsigned      kind     = packet.Big<std::uint8_t>() >> 6;
        const unsigned      sequence = kind != Several ? packet.Big<std::uint8_t>() & 0x7FU : 0;
        const std::uint32_t length   = kind != Whole ? Length(packet) : 0; // of the frame
        const std::uint32_t offset   = kind != Whole ? Length(packet) : 0; // of the last slice its length
        const unsigned      picture  = kind != Whole ? packet.Big<std::uint8_t>() : 0;
        if (packet.HasFailed()) return;
        const bool isSlice = kind == Slice || kind == LastSlice;
        if (!isSlice || sequence == 1 || tally.picture != picture) ++tally.frames;
        if (isSlice) tally.picture = picture;
        if (kind == Slice || kind == Whole) return;
        packet.Skip(std::min<std::uint64_t>(packet.Left(), kind == Several ? length : offset));
    }
}

struct Packet {
    unsigned      version = 0;
    unsigned      stream  = 0;
    std::uint32_t ms      = 0;
    std::uint64_t length  = 0; // of what follows
};

// Nothing where there is none.
std::optional<Packet> ReadPacket(StreamCursor& packets) {
    constexpr unsigned kRead = 10, kLeastMore = 2;
    Packet packet{.version = packets.Big<std::uint16_t>(), .length = packets.Big<std::uint16_t>()};
    packet.stream = packets.Big<std::uint16_t>();
    packet.ms     = packets.Big<std::uint32_t>();
    if (packets.HasFailed() || packet.version > 1 || packet.length < kRead + kLeastMore) return std::nullopt;
    packet.length -= kRead;
    return packet;
}

void CountPacket(const Packet& packet, StreamCursor fields, const Headers& headers, Tally& tally) {
    tally.AddTime(packet.ms);
    const auto& measured = headers.Measured();
    if (!measured || measured->number != packet.stream) return;
    const unsigned group = fields.Big<std::uint8_t>() >> 1; // of version 1 a rule
    fields.Skip(packet.version == 0 ? 1 : 2);               // flags
    if (measured->isMultiRate && packet.version == 0 && group > 1) return;
    if (headers.video)
        CountFrames(fields, tally);
    else
        ++tally.frames;
}

// The packets of a data chunk, up to the first damaged one: only lengths lead from one to the next. Gives
// whether the file's end cut the chunk: some writers count its size too large, and the packets right.
bool CountPackets(StreamReader& reader, const Chunk& chunk, const Headers& headers, Tally& tally) {
    StreamCursor  packets(reader, chunk.begin, chunk.end);
    const auto    told  = packets.Big<std::uint32_t>();
    std::uint64_t whole = 0;
    packets.Skip(kDataHeader - kChunkHeader - sizeof told);
    while (packets.Left() > 0) {
        const auto          packet = ReadPacket(packets);
        const std::uint64_t begin  = packets.At();
        if (packet) packets.Skip(packet->length);
        if (!packet || packets.HasFailed()) { // at the end, or at what is no packet
            tally.isWhole = tally.isWhole && (packets.HasFailed() || !chunk.isSized);
            break;
        }
        CountPacket(*packet, {reader, begin, packets.At()}, headers, tally);
        ++whole;
    }
    return chunk.cut && (told == 0 || whole < told);
}

Facts FactsOf(const Headers& headers, const Tally& tally) {
    Facts facts{.frames         = static_cast<double>(tally.frames),
                .framesOrigin   = tally.isWhole ? kKivOrigin_Counted : kKivOrigin_Estimated,
                .seconds        = headers.longestMs / kMsPerSecond,
                .averageBitRate = static_cast<double>(headers.bitRate)};
    if (headers.isLive || headers.longestMs == 0) {
        facts.seconds       = tally.Seconds();
        facts.secondsOrigin = kKivOrigin_Timestamps;
    }
    const double estimate = headers.video ? headers.video->framesSecond * facts.seconds : 0;
    if ((!tally.isWhole || tally.frames == 0) && estimate > 0) {
        facts.frames       = estimate;
        facts.framesOrigin = kKivOrigin_Estimated;
    }
    return facts;
}

// Nothing where the stream is no RealMedia. With `quick` no data is looked at.
std::optional<Facts> ReadRealMedia(StreamReader& reader, bool quick) {
    Headers    headers;
    Tally      tally;
    bool       cut = false;
    Chunks     chunks(reader);
    const auto first = chunks.Next();
    if (!first || first->id != FourCc(".RMF")) return std::nullopt;
    while (const auto chunk = chunks.Next()) {
        const StreamCursor content(reader, chunk->begin, chunk->end);
        bool               isCut = chunk->cut;
        switch (chunk->id) {
        case FourCc("PROP"): TakeProperties(content, headers); break;
        case FourCc("MDPR"): TakeStream(content, headers); break;
        case FourCc("DATA"): isCut = !quick && CountPackets(reader, *chunk, headers, tally); break;
        case FourCc("CONT"):
        case FourCc("INDX"): break;
        default: isCut = false; // may be anybody's bytes behind the last chunk
        }
        cut = cut || isCut;
    }
    if (!headers.areThere) return std::nullopt;
    Facts facts = FactsOf(headers, tally);
    facts.cut   = cut;
    return facts;
}

// The files of before RealMedia: one header, then sound of a constant rate. Nothing where the stream is none.
std::optional<Facts> ReadRealAudio(StreamReader& reader) {
    constexpr std::size_t kHeader3 = 22, kHeader4 = 48;
    const ByteSpan        first   = reader.At(0, kHeader3);
    const auto            version = BigEndian<std::uint16_t>(first, 4);
    const ByteSpan        header  = version == 3 ? first : reader.At(0, kHeader4);
    if (!IsTextAt(header, 0, ".ra\xFD") || version < 3 || version > 5) return std::nullopt;

    // version 3 knows one codec, of 50 frames a second and 20 bytes a frame
    const bool          is3 = version == 3;
    const std::uint64_t begin =
        is3 ? 8U + BigEndian<std::uint16_t>(header, 6) : 16ULL + BigEndian<std::uint32_t>(header, 18);
    const std::uint32_t bytesTold     = BigEndian<std::uint32_t>(header, is3 ? 18 : 12);
    const std::uint32_t bytesOfFrame  = is3 ? 20 : BigEndian<std::uint32_t>(header, 24);
    const std::uint32_t bytesOfMinute = is3 ? 60000 : BigEndian<std::uint32_t>(header, 32);
    const std::uint64_t left          = reader.Size() - std::min(begin, reader.Size());
    const std::uint64_t frames        = bytesOfFrame != 0 ? left / bytesOfFrame : 0;
    const auto          bytes         = static_cast<double>(left);
    Facts               facts;
    facts.frames  = static_cast<double>(frames);
    facts.seconds = bytesOfMinute != 0 ? bytes * kSecondsPerMinute / bytesOfMinute : 0;
    facts.cut     = begin > reader.Size() || bytesTold > left;
    return facts;
}

} // namespace

Kiv_MEDIA_FORMAT_TYPE CMObjRMParser::ParseBitStream(CKivBitStream* stream, int quick) {
    m_mediaType = kKivFmt_Unknown;
    if (quick == 0) ClearMeasures();
    StreamReader reader(*stream);
    auto         facts = ReadRealMedia(reader, quick != 0);
    if (!facts) facts = ReadRealAudio(reader);
    if (!facts) return m_mediaType;

    m_mediaType = kKivFmt_RealMedia;
    if (quick != 0) return m_mediaType;
    const Measure frames{facts->frames, facts->framesOrigin}, seconds{facts->seconds, facts->secondsOrigin};
    if (facts->seconds > 0)
        SetMeasures(frames, seconds);
    else
        SetMeasures(frames, seconds, {facts->averageBitRate, kKivOrigin_Declared});
    m_truncated = facts->cut;
    return m_mediaType;
}
