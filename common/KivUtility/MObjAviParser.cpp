// AVI files: the chunks of their header list, the indexes for pictures that are none, and the chunks of the
// film itself where these disagree.
#include "MObjAviParser.h"

#include "ByteFields.h"
#include "StreamReader.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

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

// OpenDML AVI File Format Extensions, AVIMETAINDEX.
constexpr std::size_t kMetaIndexBytes  = 24;
constexpr std::size_t kSuperEntryBytes = 16;
constexpr unsigned    kIndexOfIndexes  = 0;
constexpr unsigned    kIndexOfChunks   = 1;

struct Chunk {
    std::uint32_t id; // of a list its type
    bool          isList;
    std::uint64_t begin; // of the content, behind a list's type
    std::uint64_t end;
    bool          isCut; // claims to pass the end of what it lies in
};

// The size of a list whose writer could not go back to tell it.
bool IsUnfinished(std::uint32_t size) { return size == 0 || size == 0xFFFFFFFF; }

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
        const auto          id    = BigEndian<std::uint32_t>(header, 0);
        const auto          size  = LittleEndian<std::uint32_t>(header, 4);
        const std::uint64_t begin = m_next + kChunkHeader;
        const std::uint64_t end   = begin + size;
        m_next                    = end + size % 2;
        if (id != FourCc("LIST") && id != FourCc("RIFF"))
            return Chunk{id, false, begin, std::min(end, m_end), end > m_end};
        return AsList({id, false, begin, std::min(end, m_end), end > m_end && !IsUnfinished(size)});
    }

    // Goes on with the first chunk in the list that Next gave last, and from there on as if its chunks were
    // not in a list: however deep lists are nested, and whatever they say of their sizes.
    void Enter(const Chunk& list) { m_next = list.begin; }

    // Where the next chunk is looked for.
    std::uint64_t Position() const { return m_next; }

private:
    StreamReader& m_reader;
    std::uint64_t m_next;
    std::uint64_t m_end;

    Chunk AsList(const Chunk& chunk) {
        if (m_end - chunk.begin < kListType) return chunk;
        const auto          type  = BigEndian<std::uint32_t>(m_reader.At(chunk.begin, kListType), 0);
        const std::uint64_t begin = chunk.begin + kListType;
        return {type, true, begin, std::max(begin, chunk.end), chunk.isCut};
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

    std::optional<Chunk> index = {}; // OpenDML's

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
        } else if (chunk->id == FourCc("indx")) {
            stream.index = chunk;
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
    Stream measured;         // the first of video, else of audio
    double otherSeconds = 0; // of the longest of the others
};

Streams ReadStreams(StreamReader& reader, Chunks headers, const MainHeader& main) {
    Stream        video;
    Stream        audio;
    double        otherSeconds   = 0;
    std::uint32_t extendedFrames = 0;
    for (int number = 0; const auto chunk = headers.Next();) {
        if (!chunk->isList) continue;
        if (chunk->id == FourCc("strl")) {
            const Stream stream = ReadStream(reader, *chunk, number++, main);
            if (stream.IsVideo() && video.type == 0) {
                video = stream;
            } else {
                otherSeconds = std::max(otherSeconds, stream.Seconds());
                if (stream.IsAudio() && audio.type == 0) audio = stream;
            }
        } else if (chunk->id == FourCc("odml")) {
            extendedFrames = ReadExtendedFrames(reader, *chunk);
        }
    }
    if (video.type == 0 && audio.type != 0) return {audio, otherSeconds};
    if (video.type == 0) { // cut behind the main header
        video.scale = main.microSecPerFrame;
        video.rate  = kMicroSecPerSec;
    }
    if (video.length == 0) video.length = extendedFrames != 0 ? extendedFrames : main.totalFrames;
    return {video, otherSeconds};
}

// Whether an index entry's identifier, such as "01wb", names the stream; a palette change ("00pc") is none of
// its pictures.
bool NamesStream(std::uint32_t id, int number) {
    const auto digits =
        static_cast<std::uint32_t>('0' + number / 10) << 8 | static_cast<std::uint32_t>('0' + number % 10);
    return number < 100 && id >> 16 == digits && (id & 0xFFFF) != (FourCc("00pc") & 0xFFFF);
}

// Whether a chunk's identifier can be one: zeros, and other bytes that are no chunk, end a walk.
bool IsIdentifier(std::uint32_t id) {
    for (int shift = 0; shift < 32; shift += 8) {
        const std::uint32_t character = id >> shift & 0xFF;
        if (character < ' ' || character > '~') return false;
    }
    return true;
}

bool NamesAnyStream(std::uint32_t id) {
    const auto isDigit = [](std::uint32_t c) { return c >= '0' && c <= '9'; };
    return isDigit(id >> 24) && isDigit(id >> 16 & 0xFF);
}

// What lies behind the header list.
struct Body {
    std::optional<Chunk> movie; // the first RIFF list's
    std::optional<Chunk> index; // idx1
    bool                 isCut = false;
};

Body FindBody(StreamReader& reader, Chunks chunks) {
    Body body;
    // the first RIFF list's size serves for this alone: writers leave it 0, and wrong above 4 GiB
    const auto riff = Chunks(reader, 0, reader.Size()).Next();
    body.isCut      = riff && riff->isCut;
    for (auto chunk = chunks.Next(); chunk && IsIdentifier(chunk->id); chunk = chunks.Next()) {
        body.isCut = body.isCut || (chunk->isList && chunk->isCut); // also a further RIFF list
        if (chunk->isList && chunk->id == FourCc("movi") && !body.movie) body.movie = chunk;
        if (chunk->id == FourCc("idx1") && !body.index) body.index = chunk;
    }
    return body;
}

// A stream's chunks, as an index lists them or a walk finds them.
struct Tally {
    std::uint64_t chunks  = 0;
    std::uint64_t empty   = 0; // of these
    bool          isWhole = false;
    bool          isCut   = false;

    void Add(std::uint64_t sizeBytes) {
        ++chunks;
        if (sizeBytes == 0) ++empty;
    }

    std::uint64_t Frames() const { return chunks - empty; }
};

Tally ReadIndex(StreamReader& reader, const Chunk& index, int number) {
    Tally tally;
    for (std::uint64_t at = index.begin; index.end - at >= kIndexEntryBytes; at += kIndexEntryBytes) {
        const ByteSpan entry = reader.At(at, kIndexEntryBytes);
        const auto     id    = BigEndian<std::uint32_t>(entry, 0);
        if (!IsIdentifier(id)) break;
        if (NamesStream(id, number)) tally.Add(LittleEndian<std::uint32_t>(entry, 12));
    }
    return tally;
}

// What an OpenDML index begins with.
struct MetaIndex {
    std::uint64_t entryBytes;
    unsigned      type;
    std::uint64_t first; // of its entries
    std::uint64_t entries;
};

std::optional<MetaIndex> ReadMetaIndex(StreamReader& reader, const Chunk& chunk) {
    const ByteSpan header = ContentOf(reader, chunk, kMetaIndexBytes);
    const auto     longs  = LittleEndian<std::uint16_t>(header, 0);
    if (header.empty() || longs == 0) return std::nullopt;
    const std::uint64_t entryBytes = std::uint64_t{longs} * 4;
    const std::uint64_t first      = chunk.begin + kMetaIndexBytes;
    const std::uint64_t room       = (chunk.end - first) / entryBytes;
    return MetaIndex{entryBytes, header[3], first,
                     std::min<std::uint64_t>(room, LittleEndian<std::uint32_t>(header, 4))};
}

void AddStandardIndex(StreamReader& reader, const Chunk& chunk, Tally& tally) {
    constexpr std::uint64_t kOffsetAndSize = 8;
    constexpr std::uint32_t kSizeMask      = 0x7FFFFFFF; // the other bit: no key frame
    const auto              index          = ReadMetaIndex(reader, chunk);
    if (!index || index->type != kIndexOfChunks || index->entryBytes < kOffsetAndSize) return;
    for (std::uint64_t i = 0; i < index->entries; ++i) {
        const ByteSpan entry = reader.At(index->first + i * index->entryBytes, kOffsetAndSize);
        if (entry.empty()) return;
        tally.Add(LittleEndian<std::uint32_t>(entry, 4) & kSizeMask);
    }
}

// An OpenDML index: of chunks, or of such indexes, which lie one behind the other. One that points back, at
// itself say, lists nothing.
Tally ReadOpenDmlIndex(StreamReader& reader, const Chunk& chunk) {
    Tally      tally;
    const auto index = ReadMetaIndex(reader, chunk);
    if (!index || index->type != kIndexOfIndexes || index->entryBytes != kSuperEntryBytes) {
        AddStandardIndex(reader, chunk, tally);
        return tally;
    }
    constexpr std::uint64_t kEntriesAtOnce = StreamReader::kMost / kSuperEntryBytes;
    for (std::uint64_t done = 0, behind = 0; done < index->entries;) {
        const std::uint64_t count = std::min(index->entries - done, kEntriesAtOnce);
        const std::uint64_t from  = index->first + done * kSuperEntryBytes;
        const auto          size  = static_cast<std::size_t>(count * kSuperEntryBytes);
        const ByteSpan      bytes = kiv::Part(reader.At(from, size), 0, size);
        // a copy: to follow an entry moves the reader away, and each way back would be a read
        const std::vector<std::uint8_t> entries(bytes.begin(), bytes.end());
        if (entries.empty()) return {};
        for (std::size_t entry = 0; entry < entries.size(); entry += kSuperEntryBytes) {
            const auto at   = LittleEndian<std::uint64_t>(entries, entry);
            const auto part = Chunks(reader, at, reader.Size()).Next();
            if (!part || at < behind || part->id >> 16 != FourCc("ix00") >> 16) return {};
            AddStandardIndex(reader, *part, tally);
            behind = part->end;
        }
        done += count;
    }
    return tally;
}

// Walks over the chunks of all movie lists, the first of which is given.
Tally CountChunks(StreamReader& reader, const Chunk& movie, int number) {
    Tally         tally;
    Chunks        chunks(reader, movie.begin, reader.Size());
    std::uint64_t movieEnd = movie.end;
    std::uint64_t at       = movie.begin;
    for (auto chunk = chunks.Next(); chunk && IsIdentifier(chunk->id); chunk = chunks.Next()) {
        if (chunk->isList) {
            if (chunk->id == FourCc("movi")) movieEnd = chunk->end;
            chunks.Enter(*chunk);
        } else if (NamesAnyStream(chunk->id)) {
            if (NamesStream(chunk->id, number)) tally.Add(chunk->end - chunk->begin);
            tally.isCut = chunk->isCut;
        }
        if (!chunk->isCut) at = chunks.Position();
    }
    tally.isWhole = at >= movieEnd;
    return tally;
}

// Puts right the length of `stream` and gives its frames that hold anything. An index is believed where it
// lists as many chunks as the stream is long; otherwise those of a film that is all there are counted, and
// those of any film where nothing else tells them.
struct FilmMeasure {
    std::uint64_t    frames        = 0;
    KivMeasureOrigin origin        = kKivOrigin_Declared;
    bool             isCut         = false;
    bool             isHeaderWrong = false; // about the stream's length
};

FilmMeasure MeasureFilm(StreamReader& reader, const Body& body, Stream& stream) {
    const auto isBelieved = [&](const Tally& t) { return t.chunks != 0 && t.chunks == stream.length; };
    Tally      listed     = stream.index ? ReadOpenDmlIndex(reader, *stream.index) : Tally{};
    if (!isBelieved(listed) && body.index) listed = ReadIndex(reader, *body.index, stream.number);
    if (isBelieved(listed)) return {.frames = listed.Frames()};
    if (!stream.IsVideo() || !body.movie) return {.frames = stream.length};

    const Tally walked = CountChunks(reader, *body.movie, stream.number);
    if (walked.chunks == 0 || (!walked.isWhole && stream.length != 0))
        return {.frames = stream.length, .isCut = walked.isCut};
    const auto length        = static_cast<std::uint32_t>(std::min<std::uint64_t>(walked.chunks, UINT32_MAX));
    const bool isHeaderWrong = length != std::exchange(stream.length, length);
    return {walked.Frames(), kKivOrigin_Counted, walked.isCut, isHeaderWrong};
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

Kiv_MEDIA_FORMAT_TYPE CMObjAviParser::ParseBitStream(CKivBitStream* source, int quick) {
    m_mediaType = kKivFmt_Unknown;
    if (quick == 0) ClearMeasures();
    StreamReader reader(*source);
    if (!IsAvi(reader)) return m_mediaType;

    Chunks     chunks(reader, kRiffHeader, reader.Size());
    const auto list = FindHeaderList(chunks);
    if (!list) return m_mediaType;
    Chunks     headers(reader, *list);
    const auto first = headers.Next();
    const auto main  = first ? ReadMainHeader(reader, *first) : std::nullopt;
    if (!main) return m_mediaType;

    m_mediaType = kKivFmt_Avi;
    if (quick != 0) return m_mediaType;
    auto [stream, otherSeconds] = ReadStreams(reader, headers, *main);
    const Body        body      = FindBody(reader, chunks);
    const FilmMeasure film      = MeasureFilm(reader, body, stream);
    const double      seconds   = stream.Seconds();
    // headers that were not finished tell nothing of the other streams either
    const double others = film.isHeaderWrong ? 0 : otherSeconds;
    SetMeasures({static_cast<double>(film.frames), film.origin},
                {std::max(seconds, others), seconds >= others ? film.origin : kKivOrigin_Declared});
    m_truncated = body.isCut || film.isCut;
    return m_mediaType;
}
