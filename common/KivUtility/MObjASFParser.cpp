// ASF files: the header's properties, and the payload headers of the data packets.
#include "MObjASFParser.h"

#include "AsfObjects.h"
#include "StreamCursor.h"

#include <algorithm>
#include <array>
#include <optional>

using kiv::StreamCursor;
using kiv::StreamReader;
using namespace kiv::asf;

namespace {

// Behind the data object's own fields.
constexpr std::uint64_t kFirstPacket = 50;

// A packet that is smaller has hardly room for its own headers: nobody writes such, and there would be too
// many of them to walk through.
constexpr std::uint32_t kLeastPacketSize = 128;

constexpr double kUnitsPerSecond = 1e7;
constexpr double kMsPerSecond    = 1000;

// Where the data packets lie, as far as the file has them.
struct Data {
    std::uint64_t begin = 0;
    std::uint64_t end   = 0;
    bool          cut   = false; // by the file's end
};

// A broadcast, or a recording that was broken off, tells no size that leads past the object's own fields: its
// packets go on to the end.
Data FindData(StreamReader& reader, const Header& header) {
    const std::uint64_t fileEnd = reader.Size();
    Objects             objects(reader, header.end, fileEnd);
    while (const auto object = objects.Next()) {
        if (!(object->id == kDataObject)) continue;
        const std::uint64_t begin = std::min(object->begin + kFirstPacket, fileEnd);
        if (object->size <= kFirstPacket) return {begin, fileEnd, false};
        return {begin, std::max(begin, object->EndBefore(fileEnd)), object->size > fileEnd - object->begin};
    }
    return {fileEnd, fileEnd, true};
}

// Media objects of one stream.
struct Tally {
    std::uint64_t objects = 0;
    std::uint32_t firstMs = 0; // presentation times
    std::uint32_t lastMs  = 0;

    void Add(std::uint32_t ms) {
        firstMs = objects == 0 ? ms : std::min(firstMs, ms);
        lastMs  = objects == 0 ? ms : std::max(lastMs, ms);
        ++objects;
    }

    double AverageMs() const {
        return objects < 2 ? 0 : (lastMs - firstMs) / static_cast<double>(objects - 1);
    }
};

using Tallies = std::array<Tally, 128>; // by stream number

// A field of 0, 1, 2 or 4 bytes, by the two bits that tell which; 0 where it has none.
std::uint32_t Sized(StreamCursor& fields, unsigned lengthType) {
    switch (lengthType & 3U) {
    case 1: return fields.Little<std::uint8_t>();
    case 2: return fields.Little<std::uint16_t>();
    case 3: return fields.Little<std::uint32_t>();
    default: return 0;
    }
}

// What a packet tells in front of its payloads, 5.2.1 and 5.2.2.
struct PacketHead {
    bool          isMultiple = false;
    unsigned      properties = 0; // the length types of the payloads' fields
    std::uint32_t length     = 0; // of the packet; 0: as long as all are
};

// Moves the packet to its first payload and gives up its padding. Nothing where it is opaque or damaged.
std::optional<PacketHead> ReadPacketHead(StreamCursor& packet) {
    constexpr unsigned  kErrorCorrection = 0x80, kOpaqueOrLengthType = 0x70, kLengthMask = 0x0F;
    const std::uint64_t whole = packet.Left();
    unsigned            flags = packet.Little<std::uint8_t>();
    if ((flags & kErrorCorrection) != 0) {
        if ((flags & kOpaqueOrLengthType) != 0) return std::nullopt;
        packet.Skip(flags & kLengthMask);
        flags = packet.Little<std::uint8_t>();
    }
    PacketHead head;
    head.isMultiple = (flags & 1U) != 0;
    head.properties = packet.Little<std::uint8_t>();
    head.length     = Sized(packet, flags >> 5);
    Sized(packet, flags >> 1); // sequence
    const std::uint64_t padding = Sized(packet, flags >> 3);
    packet.Skip(6); // send time, duration
    const std::uint64_t behind = head.length != 0 && head.length < whole ? whole - head.length : 0;
    packet.DropTail(padding + behind);
    return packet.HasFailed() ? std::nullopt : std::optional(head);
}

// Compressed payloads, 5.2.3.2: small media objects, each whole behind a byte with its length, at equal
// distances of time.
void CountSmallObjects(StreamCursor payload, std::uint32_t firstMs, unsigned stepMs, Tally& tally) {
    for (std::uint32_t ms = firstMs; payload.Left() > 0; ms += stepMs) {
        const auto length = payload.Little<std::uint8_t>();
        payload.Skip(length);
        if (length != 0 && !payload.HasFailed()) tally.Add(ms);
    }
}

// One payload, 5.2.3: a media object begins where the offset into it is 0. Moves behind it; a payload that
// does not fit its packet is damaged and counts for nothing.
void CountPayload(StreamReader& reader, StreamCursor& packet, unsigned properties,
                  std::optional<unsigned> lengthType, Tallies& tallies) {
    constexpr std::uint32_t kCompressed = 1, kWithTime = 8;
    Tally&                  tally = tallies[packet.Little<std::uint8_t>() & 0x7FU];
    Sized(packet, properties >> 4); // media object number
    const std::uint32_t offset     = Sized(packet, properties >> 2);
    const std::uint32_t replicated = Sized(packet, properties);
    std::uint32_t       ms         = 0; // where there is no time, nothing tells it
    unsigned            stepMs     = 0;
    if (replicated == kCompressed) {
        ms     = offset;
        stepMs = packet.Little<std::uint8_t>();
    } else if (replicated >= kWithTime) {
        packet.Skip(4); // the media object's size
        ms = packet.Little<std::uint32_t>();
        packet.Skip(replicated - kWithTime);
    } else {
        packet.Skip(replicated);
    }
    const std::uint64_t length = lengthType ? Sized(packet, *lengthType) : packet.Left();
    const std::uint64_t begin  = packet.At();
    packet.Skip(length);
    if (packet.HasFailed()) return;
    if (replicated == kCompressed)
        CountSmallObjects({reader, begin, begin + length}, ms, stepMs, tally);
    else if (offset == 0 && length != 0)
        tally.Add(ms);
}

// Gives the packet's own length, 0 where it tells none.
std::uint32_t CountPacket(StreamReader& reader, StreamCursor packet, Tallies& tallies) {
    const auto head = ReadPacketHead(packet);
    if (!head) return 0;
    unsigned                payloads = 1;
    std::optional<unsigned> lengthType;
    if (head->isMultiple) {
        const unsigned flags = packet.Little<std::uint8_t>();
        payloads             = flags & 0x3FU;
        lengthType           = flags >> 6;
    }
    for (; payloads > 0 && packet.Left() > 0; --payloads)
        CountPayload(reader, packet, head->properties, lengthType, tallies);
    return head->length;
}

// Packets of one size follow one another whatever they hold; one that the end cuts counts for nothing. Where
// a file does not tell one size, as it should, the packets' own lengths lead on.
Tallies CountPackets(StreamReader& reader, const FileProperties& file, const Data& data) {
    Tallies             tallies{};
    const std::uint32_t most = file.mostPacketSize;
    if (most < kLeastPacketSize) return tallies;
    const bool isFixed = file.leastPacketSize == most;
    for (std::uint64_t at = data.begin; at < data.end;) {
        const std::uint64_t end = std::min(data.end, at + most);
        if (isFixed && end - at < most) break;
        const std::uint32_t length = CountPacket(reader, {reader, at, end}, tallies);
        at += isFixed || length == 0 ? most : std::clamp(length, kLeastPacketSize, most);
    }
    return tallies;
}

// From the first media object of any sound or picture to the end of the last.
double SecondsOf(const Header& header, const Tallies& tallies) {
    double first = 0, end = 0;
    bool   isAny{};
    for (std::size_t number = 1; number < tallies.size(); ++number) {
        const Tally& tally = tallies[number];
        const Media  media = header.streams[number].media;
        if (tally.objects == 0 || (media != Media::Video && media != Media::Audio)) continue;
        first = isAny ? std::min<double>(first, tally.firstMs) : tally.firstMs;
        end   = std::max(end, tally.lastMs + tally.AverageMs());
        isAny = true;
    }
    return (end - first) / kMsPerSecond;
}

double DeclaredSeconds(const FileProperties& file) {
    const double seconds = static_cast<double>(file.playDuration) / kUnitsPerSecond
                           - static_cast<double>(file.prerollMs) / kMsPerSecond;
    return file.IsBroadcast() ? 0 : std::max(seconds, 0.0);
}

} // namespace

Kiv_MEDIA_FORMAT_TYPE CMObjASFParser::ParseBitStream(CKivBitStream* stream, int quick) {
    if (quick == 0) ClearMeasures();
    StreamReader reader(*stream);
    const auto   header = ReadHeader(reader, 0);
    if (!header || !header->file) return kKivFmt_Unknown; // the media type stays as the extension gave it
    if (m_mediaType != kKivFmt_Wmv) m_mediaType = kKivFmt_Asf;
    if (quick != 0) return m_mediaType;

    const FileProperties& file    = *header->file;
    const Data            data    = FindData(reader, *header);
    const Tallies         tallies = CountPackets(reader, file, data);
    Measure               seconds{DeclaredSeconds(file), kKivOrigin_Declared};
    if (seconds.value <= 0) seconds = {SecondsOf(*header, tallies), kKivOrigin_Timestamps};

    const unsigned video     = header->First(Media::Video);
    const unsigned measured  = video != 0 ? video : header->First(Media::Audio);
    const double   frameTime = static_cast<double>(header->streams[measured].frameTime);
    Measure        frames{static_cast<double>(tallies[measured].objects), kKivOrigin_Counted};
    if (measured == 0)
        frames = {}; // payloads of streams that the header does not tell
    else if (frames.value <= 0 && frameTime > 0)
        frames = {seconds.value * kUnitsPerSecond / frameTime, kKivOrigin_Estimated};

    if (seconds.value > 0)
        SetMeasures(frames, seconds);
    else
        SetMeasures(frames, seconds, {static_cast<double>(file.mostBitRate), kKivOrigin_Declared});
    m_truncated = !file.IsBroadcast() && (data.cut || file.fileSize > reader.Size());
    return m_mediaType;
}
