// The sizes of tags around MPEG audio.
#include "MpegAudioTags.h"

#include "ByteFields.h"

namespace kiv::mpeg {

namespace {

constexpr std::size_t   kId3v2Header    = 10;
constexpr std::uint8_t  kId3v2HasFooter = 0x10;
constexpr std::size_t   kId3v1Bytes     = 128;
constexpr std::uint64_t kApeMarkBytes   = 32; // header or footer
constexpr std::uint32_t kApeHasHeader   = 0x80000000;

bool IsId3v1(ByteSpan bytes) { return bytes.size() == kId3v1Bytes && IsTextAt(bytes, 0, "TAG"); }

bool IsApeMark(ByteSpan bytes) { return IsTextAt(bytes, 0, "APETAGEX"); }

// The size of the tag that the bytes begin with, 0 for none.
std::uint64_t Id3v2Size(ByteSpan bytes) {
    constexpr std::uint32_t kNotSyncsafe = 0x80808080;
    if (bytes.size() < kId3v2Header || !IsTextAt(bytes, 0, "ID3")) return 0;
    const auto size = BigEndian<std::uint32_t>(bytes, 6);
    if (bytes[3] == 0xFF || bytes[4] == 0xFF || (size & kNotSyncsafe) != 0) return 0;
    std::uint64_t content = 0;
    for (const std::uint8_t septet : bytes.subspan(6, 4)) content = content << 7 | septet;
    return content + kId3v2Header + ((bytes[5] & kId3v2HasFooter) != 0 ? kId3v2Header : 0);
}

// Where the tag that ends at `end` begins; `end` where there is none.
std::uint64_t StartOfApe(StreamReader& reader, std::uint64_t audio, std::uint64_t end) {
    if (end - audio < kApeMarkBytes) return end;
    const ByteSpan      footer    = reader.At(end - kApeMarkBytes, kApeMarkBytes);
    const bool          hasHeader = (LittleEndian<std::uint32_t>(footer, 20) & kApeHasHeader) != 0;
    const std::uint64_t size      = LittleEndian<std::uint32_t>(footer, 12) + (hasHeader ? kApeMarkBytes : 0);
    if (!IsApeMark(footer) || size > end - audio) return end;
    return !hasHeader || IsApeMark(reader.At(end - size, kApeMarkBytes)) ? end - size : end;
}

} // namespace

std::uint64_t EndOfFrontTags(StreamReader& reader) {
    std::uint64_t at = 0;
    while (true) {
        const std::uint64_t size = Id3v2Size(reader.At(at, kId3v2Header));
        if (size == 0 || size > reader.Size() - at) return at;
        at += size;
    }
}

std::uint64_t StartOfBackTags(StreamReader& reader, std::uint64_t audio) {
    std::uint64_t end = reader.Size();
    if (end - audio >= kId3v1Bytes && IsId3v1(reader.At(end - kId3v1Bytes, kId3v1Bytes))) end -= kId3v1Bytes;
    return StartOfApe(reader, audio, end);
}

bool AreBackTags(ByteSpan bytes) noexcept { return bytes.empty() || IsId3v1(bytes) || IsApeMark(bytes); }

} // namespace kiv::mpeg
