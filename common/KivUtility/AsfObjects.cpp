// The header of ASF files.
#include "AsfObjects.h"

#include "StreamCursor.h"

#include <algorithm>
#include <limits>

namespace kiv::asf {

namespace {

constexpr std::size_t kStreamPropertiesBytes = 78; // up to the media type
constexpr std::size_t kMediaTypeBytes        = 31; // of it, up to the codec

constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();

// The sum, or the largest number: a size that leads there passes every end.
std::uint64_t Sum(std::uint64_t offset, std::uint64_t size) {
    return size > kLargest - offset ? kLargest : offset + size;
}

// The first `most` bytes of an object, or all when it has fewer; empty where the file ends before.
ByteSpan BytesOf(StreamReader& reader, const Object& object, std::size_t most) {
    const auto bytes = static_cast<std::size_t>(std::min<std::uint64_t>(object.size, most));
    return bytes == 0 ? ByteSpan{} : Part(reader.At(object.begin, bytes), 0, bytes);
}

// The media type as Windows describes it: a picture header in front of a BITMAPINFOHEADER, or a WAVEFORMATEX.
void TakeStream(ByteSpan object, Header& header) {
    const unsigned number = LittleEndian<std::uint16_t>(object, 72) & 0x7FU;
    if (object.size() < kStreamPropertiesBytes || number == 0) return;
    Stream&        stream = header.streams[number];
    const GUID     kind   = ReadGuid(object, kObjectBytes);
    const ByteSpan type   = Part(object, kStreamPropertiesBytes);
    if (kind == kVideoMedia) {
        stream.media  = Media::Video;
        stream.width  = LittleEndian<std::uint32_t>(type, 0);
        stream.height = LittleEndian<std::uint32_t>(type, 4);
        stream.codec  = LittleEndian<std::uint32_t>(type, 27);
    } else if (kind == kAudioMedia) {
        stream.media         = Media::Audio;
        stream.formatTag     = LittleEndian<std::uint16_t>(type, 0);
        stream.samplesSecond = LittleEndian<std::uint32_t>(type, 4);
    } else {
        stream.media = Media::Other;
    }
}

void TakeStream(StreamReader& reader, const Object& object, Header& header) {
    TakeStream(BytesOf(reader, object, kStreamPropertiesBytes + kMediaTypeBytes), header);
}

// Behind its names and payload extensions may stand the stream properties of a stream that old players are
// not to see.
void TakeExtendedStream(StreamReader& reader, const Object& object, std::uint64_t end, Header& header) {
    StreamCursor fields(reader, object.begin + kObjectBytes, object.EndBefore(end));
    fields.Skip(48);
    const unsigned number = fields.Little<std::uint16_t>() & 0x7FU;
    fields.Skip(2); // language
    const auto frameTime = fields.Little<std::uint64_t>();
    const auto names     = fields.Little<std::uint16_t>();
    const auto systems   = fields.Little<std::uint16_t>();
    if (fields.HasFailed()) return;
    header.streams[number].frameTime = frameTime;

    for (unsigned i = 0; i < names && !fields.HasFailed(); ++i) {
        fields.Skip(2); // language
        fields.Skip(fields.Little<std::uint16_t>());
    }
    for (unsigned i = 0; i < systems && !fields.HasFailed(); ++i) {
        fields.Skip(kGuidBytes + 2);
        fields.Skip(fields.Little<std::uint32_t>());
    }
    const auto hidden = Objects(reader, fields.At(), fields.At() + fields.Left()).Next();
    if (hidden && hidden->id == kStreamPropertiesObject) TakeStream(reader, *hidden, header);
}

void TakeExtension(StreamReader& reader, const Object& object, std::uint64_t end, Header& header) {
    constexpr std::uint64_t kFirstObject = 46;
    Objects                 objects(reader, object.begin + kFirstObject, object.EndBefore(end));
    while (const auto inner = objects.Next()) {
        if (inner->id == kExtendedStreamPropertiesObject)
            TakeExtendedStream(reader, *inner, object.EndBefore(end), header);
    }
}

} // namespace

GUID ReadGuid(ByteSpan bytes, std::size_t at) noexcept {
    GUID           guid{};
    const ByteSpan from = Part(bytes, at, kGuidBytes);
    if (from.size() < kGuidBytes) return guid;
    guid.Data1 = LittleEndian<std::uint32_t>(from, 0);
    guid.Data2 = LittleEndian<std::uint16_t>(from, 4);
    guid.Data3 = LittleEndian<std::uint16_t>(from, 6);
    std::ranges::copy(Part(from, 8), std::begin(guid.Data4));
    return guid;
}

std::optional<Object> Objects::Next() {
    if (m_next >= m_end || m_end - m_next < kObjectBytes) return std::nullopt;
    const ByteSpan bytes = m_reader.At(m_next, kObjectBytes);
    if (bytes.empty()) return std::nullopt;
    const Object object{ReadGuid(bytes, 0), m_next, LittleEndian<std::uint64_t>(bytes, kGuidBytes)};
    m_next = object.size < kObjectBytes ? kLargest : Sum(m_next, object.size);
    return object;
}

FileProperties ReadFileProperties(ByteSpan object) noexcept {
    return {.fileSize        = LittleEndian<std::uint64_t>(object, 40),
            .playDuration    = LittleEndian<std::uint64_t>(object, 64),
            .prerollMs       = LittleEndian<std::uint64_t>(object, 80),
            .flags           = LittleEndian<std::uint32_t>(object, FileProperties::kFlagsAt),
            .leastPacketSize = LittleEndian<std::uint32_t>(object, 92),
            .mostPacketSize  = LittleEndian<std::uint32_t>(object, 96),
            .mostBitRate     = LittleEndian<std::uint32_t>(object, 100)};
}

unsigned Header::First(Media media) const {
    const auto found = std::ranges::find(streams, media, &Stream::media);
    return found == streams.end() ? 0 : static_cast<unsigned>(found - streams.begin());
}

std::optional<Header> ReadHeader(StreamReader& reader, std::uint64_t begin) {
    const auto whole = Objects(reader, begin, reader.Size()).Next();
    if (!whole || !(whole->id == kHeaderObject)) return std::nullopt;
    Header header;
    header.end = Sum(begin, whole->size);

    const std::uint64_t end = whole->EndBefore(reader.Size());
    Objects             objects(reader, begin + kFirstObjectInHeader, end);
    while (const auto object = objects.Next()) {
        if (object->size > end - object->begin) return header;
        if (object->id == kFilePropertiesObject && object->size >= FileProperties::kBytes && !header.file)
            header.file = ReadFileProperties(BytesOf(reader, *object, FileProperties::kBytes));
        else if (object->id == kStreamPropertiesObject)
            TakeStream(reader, *object, header);
        else if (object->id == kHeaderExtensionObject)
            TakeExtension(reader, *object, end, header);
    }
    header.isWhole = objects.At() == header.end;
    return header;
}

} // namespace kiv::asf
