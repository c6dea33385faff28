// AVI files: the chunks of their header list, and the index for pictures that are none.
#include "MObjAviParser.h"

#include "ByteFields.h"
#include "StreamReader.h"

#include <algorithm>
#include <optional>

using kiv::BigEndian;
using kiv::ByteSpan;
using kiv::FourCc;
using kiv::LittleEndian;
using kiv::StreamReader;

namespace {

constexpr std::uint64_t kChunkHeader = 8;  // identifier and size
constexpr std::uint64_t kRiffHeader  = 12; // and form
constexpr std::uint64_t kListType    = 4;

// How many chunks may stand before the header list, which writers put first.
constexpr int kMostChunksBeforeHeader = 8;

// Microsoft's AVIMAINHEADER, AVISTREAMHEADER and so on, offsets in the chunk's content.
constexpr std::size_t kMainHeaderBytes   = 40; // up to dwHeight
constexpr std::size_t kStreamHeaderBytes = 36; // up to dwLength
constexpr std::size_t kIndexEntryBytes   = 16;

struct Chunk {
    std::uint32_t id; // of a list its type
    bool          isList;
    std::uint64_t begin; // of the content, behind a list's type
    std::uint64_t end;
};

// The chunks between two offsets, one after the other. One that claims to pass the end is cut to it.
class Chunks {
public:
    Chunks(StreamReader& reader, std::uint64_t begin, std::uint64_t end)
        : m_reader(reader), m_next(begin), m_end(end) {}

    Chunks(StreamReader& reader, const Chunk& list) : Chunks(reader, list.begin, list.end) {}

    // Nothing behind the last one.
    std::optional<Chunk> Next() {
        if (m_next >= m_end || m_end - m_next < kChunkHeader) return std::nullopt;
        const ByteSpan header = m_reader.At(m_next, kChunkHeader);
        if (header.empty()) return std::nullopt;
        const std::uint64_t size  = LittleEndian<std::uint32_t>(header, 4);
        const std::uint64_t begin = m_next + kChunkHeader;
        const Chunk chunk{BigEndian<std::uint32_t>(header, 0), false, begin, std::min(begin + size, m_end)};
        m_next = begin + size + size % 2;
        return chunk.id == FourCc("LIST") ? AsList(chunk) : chunk;
    }

private:
    StreamReader& m_reader;
    std::uint64_t m_next;
    std::uint64_t m_end;

    Chunk AsList(const Chunk& chunk) {
        if (chunk.end - chunk.begin < kListType) return chunk;
        const auto type = BigEndian<std::uint32_t>(m_reader.At(chunk.begin, kListType), 0);
        return {type, true, chunk.begin + kListType, chunk.end};
    }
};

// The first n bytes of a chunk's content; empty where it has fewer.
ByteSpan ContentOf(StreamReader& reader, const Chunk& chunk, std::size_t n) {
    return chunk.end - chunk.begin < n ? ByteSpan{} : reader.At(chunk.begin, n);
}

struct MainHeader {
    std::uint32_t microSecPerFrame;
    std::uint32_t totalFrames; // of the first RIFF list
};

std::optional<MainHeader> ReadMainHeader(StreamReader& reader, const Chunk& chunk) {
    const ByteSpan content = ContentOf(reader, chunk, kMainHeaderBytes);
    if (chunk.id != FourCc("avih") || content.empty()) return std::nullopt;
    return MainHeader{LittleEndian<std::uint32_t>(content, 0), LittleEndian<std::uint32_t>(content, 16)};
}

struct Stream {
    int           number = 0; // of the stream, as the index names it
    std::uint32_t type   = 0; // 0 for a list without a stream header
    std::uint32_t scale  = 0; // scale / rate: the seconds of one of `length` units
    std::uint32_t rate   = 0;
    std::uint32_t length = 0;

    // Interleaved DV holds its audio in its pictures.
    bool IsVideo() const { return type == FourCc("vids") || type == FourCc("iavs"); }

    bool IsAudio() const { return type == FourCc("auds"); }

    bool HasTime() const { return scale != 0 && rate != 0; }

    double Seconds() const {
        return HasTime() ? static_cast<double>(std::uint64_t{length} * scale) / rate : 0;
    }
};

constexpr std::uint32_t kMicroSecPerSec = 1000000;

Stream ReadStream(StreamReader& reader, const Chunk& list, int number, const MainHeader& main) {
    Stream stream{.number = number};
    Chunks chunks(reader, list);
    while (const auto chunk = chunks.Next()) {
        if (chunk->id == FourCc("strh") && stream.type == 0) {
            const ByteSpan header = ContentOf(reader, *chunk, kStreamHeaderBytes);
            stream.type           = BigEndian<std::uint32_t>(header, 0);
            stream.scale          = LittleEndian<std::uint32_t>(header, 20);
            stream.rate           = LittleEndian<std::uint32_t>(header, 24);
            stream.length         = LittleEndian<std::uint32_t>(header, 32);
        } else if (chunk->id == FourCc("strf") && stream.IsAudio() && !stream.HasTime()) {
            const ByteSpan waveFormat = ContentOf(reader, *chunk, 14);
            stream.scale              = LittleEndian<std::uint16_t>(waveFormat, 12); // nBlockAlign
            stream.rate               = LittleEndian<std::uint32_t>(waveFormat, 8);  // nAvgBytesPerSec
        }
    }
    if (stream.IsVideo() && !stream.HasTime()) {
        stream.scale = main.microSecPerFrame;
        stream.rate  = kMicroSecPerSec;
    }
    return stream;
}

// The frames of all RIFF lists (OpenDML AVI File Format Extensions, 'dmlh'); 0 where it is not told.
std::uint32_t ReadExtendedFrames(StreamReader& reader, const Chunk& list) {
    Chunks chunks(reader, list);
    while (const auto chunk = chunks.Next()) {
        if (chunk->id == FourCc("dmlh")) return LittleEndian<std::uint32_t>(ContentOf(reader, *chunk, 4), 0);
    }
    return 0;
}

struct Streams {
    Stream measured;    // the first of video, else of audio
    double seconds = 0; // of the longest
};

Streams ReadStreams(StreamReader& reader, Chunks headers, const MainHeader& main) {
    Stream        video;
    Stream        audio;
    double        seconds        = 0;
    std::uint32_t extendedFrames = 0;
    for (int number = 0; const auto chunk = headers.Next();) {
        if (!chunk->isList) continue;
        if (chunk->id == FourCc("strl")) {
            const Stream stream = ReadStream(reader, *chunk, number++, main);
            seconds             = std::max(seconds, stream.Seconds());
            if (stream.IsVideo() && video.type == 0) video = stream;
            if (stream.IsAudio() && audio.type == 0) audio = stream;
        } else if (chunk->id == FourCc("odml")) {
            extendedFrames = ReadExtendedFrames(reader, *chunk);
        }
    }
    if (video.type == 0 && audio.type != 0) return {audio, seconds};
    if (video.type == 0) { // cut behind the main header
        video.scale = main.microSecPerFrame;
        video.rate  = kMicroSecPerSec;
    }
    if (video.length == 0) video.length = extendedFrames != 0 ? extendedFrames : main.totalFrames;
    return {video, std::max(seconds, video.Seconds())};
}

// Whether an index entry's identifier, such as "01wb", names the stream; a palette change ("00pc") is none of
// its pictures.
bool NamesStream(std::uint32_t id, int number) {
    const auto digits =
        static_cast<std::uint32_t>('0' + number / 10) << 8 | static_cast<std::uint32_t>('0' + number % 10);
    return number < 100 && id >> 16 == digits && (id & 0xFFFF) != (FourCc("00pc") & 0xFFFF);
}

// The stream's frames that hold anything: its length, less the empty chunks that the index among `chunks`
// lists. An index that does not list the whole stream, or none, changes nothing.
std::uint32_t CountFrames(StreamReader& reader, Chunks chunks, const Stream& stream) {
    std::optional<Chunk> index;
    do index = chunks.Next();
    while (index && index->id != FourCc("idx1"));
    if (!index) return stream.length;

    std::uint64_t listed = 0;
    std::uint64_t empty  = 0;
    for (std::uint64_t at = index->begin; index->end - at >= kIndexEntryBytes; at += kIndexEntryBytes) {
        const ByteSpan entry = reader.At(at, kIndexEntryBytes);
        if (entry.empty()) break;
        if (!NamesStream(BigEndian<std::uint32_t>(entry, 0), stream.number)) continue;
        ++listed;
        if (LittleEndian<std::uint32_t>(entry, 12) == 0) ++empty;
    }
    return listed == stream.length ? static_cast<std::uint32_t>(listed - empty) : stream.length;
}

bool IsAvi(StreamReader& reader) {
    const ByteSpan bytes = reader.At(0, kRiffHeader);
    return BigEndian<std::uint32_t>(bytes, 0) == FourCc("RIFF")
           && BigEndian<std::uint32_t>(bytes, 8) == FourCc("AVI ");
}

// Moves `chunks` behind the header list, and gives it.
std::optional<Chunk> FindHeaderList(Chunks& chunks) {
    for (int i = 0; i < kMostChunksBeforeHeader; ++i) {
        const auto chunk = chunks.Next();
        if (!chunk || (chunk->isList && chunk->id == FourCc("hdrl"))) return chunk;
    }
    return std::nullopt;
}

} // namespace

Kiv_MEDIA_FORMAT_TYPE CMObjAviParser::ParseBitStream(CKivBitStream* stream, int quick) {
    m_mediaType = kKivFmt_Unknown;
    if (quick == 0) ClearMeasures();
    StreamReader reader(*stream);
    if (!IsAvi(reader)) return m_mediaType;

    // the RIFF size is not asked: it is 0 where a recording was broken off, and wrong above 4 GiB
    Chunks     chunks(reader, kRiffHeader, reader.Size());
    const auto list = FindHeaderList(chunks);
    if (!list) return m_mediaType;
    Chunks     headers(reader, *list);
    const auto first = headers.Next();
    const auto main  = first ? ReadMainHeader(reader, *first) : std::nullopt;
    if (!main) return m_mediaType;

    m_mediaType = kKivFmt_Avi;
    if (quick != 0) return m_mediaType;
    const Streams streams = ReadStreams(reader, headers, *main);
    SetMeasures({static_cast<double>(CountFrames(reader, chunks, streams.measured)), kKivOrigin_Declared},
                {streams.seconds, kKivOrigin_Declared});
    return m_mediaType;
}
