// Recognition of MPEG streams by their start codes.
#include "MObjMpgParser.h"

#include "BitStreamWindow.h"
#include "ByteFields.h"
#include "MpegCodes.h"
#include "StartCodes.h"
#include "StreamReader.h"

#include <algorithm>
#include <optional>
#include <string_view>

using namespace kiv::mpeg;
using kiv::BitStreamWindow;
using kiv::ByteSpan;
using kiv::StreamReader;

namespace {

// How many byte positions are looked at, counted from the start of the file over all searches of a parser;
// the bytes of a code that was found do not count. Which files are recognised hangs on them.
constexpr std::size_t kFirstCodeLimit = 32;
constexpr std::size_t kSequenceLimit  = 8192;
constexpr std::size_t kExtensionLimit = 8704;

constexpr int           kLooksOfFindCode  = 64000;
constexpr std::uint8_t  kTypicalMpeg1Pack = 0x21; // '0010' and an SCR near zero
constexpr int           kVcdTries         = 32768;
constexpr unsigned long kSkipOneByte      = 8; // bits

// Searches start codes within totals that run on from one search to the next.
class CodeSearch {
public:
    explicit CodeSearch(CKivBitStream& stream) : m_stream(stream), m_window(stream) {}

    // Whether `code` comes before `limit` positions in all were looked at; the stream is then at the code.
    bool Find(std::uint32_t code, std::size_t limit) {
        return Within(
            limit, [&](std::size_t& budget) { return m_window.SeekStartCode(code, kStartCodeBits, budget); });
    }

    // The same, and moves behind the code.
    bool FindAndSkip(std::uint32_t code, std::size_t limit) {
        return Find(code, limit) && m_stream.SkipBits(kStartCodeBits) != 0;
    }

    bool FindByte(std::uint8_t value, std::size_t limit) {
        return Within(limit, [&](std::size_t& budget) { return m_window.SeekByte(value, budget); });
    }

private:
    CKivBitStream&  m_stream;
    BitStreamWindow m_window;
    std::size_t     m_count = 0; // positions passed

    template <class Seek> bool Within(std::size_t limit, Seek seek) {
        if (m_count >= limit) return false;
        std::size_t budget = limit - m_count;
        const bool  found  = seek(budget);
        m_count            = limit - budget;
        return found;
    }
};

bool NextBytesAre(CKivBitStream& stream, std::string_view text) {
    for (const char c : text) {
        if (stream.GetBits(8) != static_cast<unsigned char>(c)) return false;
    }
    return true;
}

// A pack start code at every fifth byte, from where the stream stands; it is consumed.
bool FindVcdPack(CKivBitStream& stream) {
    for (int i = 0; i < kVcdTries && stream.BitsEOF() == 0; ++i) {
        // steps of 5 bytes, kept: which files count as Video CD hangs on it
        if (stream.GetBits(kStartCodeBits) == kPackCode) return true;
        stream.SkipBits(kSkipOneByte);
    }
    return false;
}

// Whether a RIFF chunk that the file begins with claims to pass the file's end; it is 0 or all ones where its
// writer could not tell.
bool PassesRiffEnd(StreamReader& reader) {
    constexpr std::uint64_t kRiffHeader = 8;
    constexpr std::uint32_t kUntold     = 0xFFFFFFFF;
    const auto              size        = kiv::LittleEndian<std::uint32_t>(reader.At(0, kRiffHeader), 4);
    return size != kUntold && kRiffHeader + size > reader.Size();
}

// Whether the last transport packet is no whole one.
bool EndsInTransportPacket(StreamReader& reader) {
    const ByteSpan bytes = reader.At(0, kFirstCodeLimit);
    return (reader.Size() - kiv::FindByte(bytes, 0, kTransportSync)) % kTransportPacket != 0;
}

// The offset of the last pack header in the last 64 KiB of the stream.
std::optional<std::uint64_t> FindLastPack(StreamReader& reader) {
    constexpr std::uint64_t      kTail = 65536;
    std::optional<std::uint64_t> last;
    kiv::StartCodes              codes(reader, reader.Size() - std::min(kTail, reader.Size()), reader.Size());
    while (const auto code = codes.Next()) {
        if ((kPrefix << 8 | code->value) == kPackCode) last = code->at;
    }
    return last;
}

// The bytes of the pack header, or of the packet or system header, that begins with the given bytes, of which
// 14 are looked at, fewer at the stream's end; 0 for anything else, and for the end code.
std::uint64_t UnitBytes(ByteSpan bytes) {
    constexpr std::uint64_t kMpeg1PackHeader = 12, kMpeg2PackHeader = 14, kPacketStart = 6;
    const auto              code = kiv::BigEndian<std::uint32_t>(bytes, 0);
    if (code == kPackCode) {
        const bool isMpeg2 = kiv::BigEndian<std::uint8_t>(bytes, 4) >> 6 == 1;
        return isMpeg2 ? kMpeg2PackHeader + (kiv::BigEndian<std::uint8_t>(bytes, 13) & 7U) : kMpeg1PackHeader;
    }
    if (code >> 8 != kPrefix || code < kSystemHeaderCode) return 0;
    return kPacketStart + kiv::BigEndian<std::uint16_t>(bytes, 4);
}

// Whether the last pack, a header and packets that tell their lengths, passes the end of the stream.
bool EndsInPacket(StreamReader& reader) {
    constexpr std::uint64_t kLook = 14;
    const auto              pack  = FindLastPack(reader);
    if (!pack) return false;
    for (std::uint64_t at = *pack; at < reader.Size();) {
        const auto     look  = static_cast<std::size_t>(std::min(kLook, reader.Size() - at));
        const ByteSpan bytes = reader.At(at, look);
        const auto     unit  = UnitBytes(bytes.first(std::min(look, bytes.size())));
        if (unit == 0) return false;
        if (unit > reader.Size() - at) return true;
        at += unit;
    }
    return false;
}

// The format that the first codes of a system stream tell, or kKivFmt_Unknown.
Kiv_MEDIA_FORMAT_TYPE RecognisePackStream(CKivBitStream& stream) {
    CodeSearch search(stream);
    if (!search.FindAndSkip(kPackCode, kFirstCodeLimit)) return kKivFmt_Unknown;
    const auto packByte = static_cast<std::uint8_t>(stream.ShowBits(8));
    if (!search.FindAndSkip(kSystemHeaderCode, kFirstCodeLimit)) return kKivFmt_Unknown;
    if (!search.FindAndSkip(kSequenceCode, kSequenceLimit)) return kKivFmt_Unknown;
    if (!search.Find(kExtensionCode, kExtensionLimit)) return kKivFmt_Mpeg1System;
    return packByte == kTypicalMpeg1Pack ? kKivFmt_Mpeg2System : kKivFmt_Mpeg2Program;
}

} // namespace

int CMObjMpgBaseParser::FindCode(CKivBitStream* s, unsigned long code, int nBits, int stepBits) {
    const auto bits = static_cast<unsigned char>(nBits);
    if (stepBits == 8 && (nBits == kPrefixBits || nBits == kStartCodeBits)
        && code >> (nBits - kPrefixBits) == kPrefix && BitStreamWindow(*s).IsByteAligned()) {
        std::size_t budget = kLooksOfFindCode;
        return BitStreamWindow(*s).SeekStartCode(static_cast<std::uint32_t>(code), bits, budget) ? 1 : 0;
    }
    for (int look = 0; look < kLooksOfFindCode && s->BitsEOF() == 0; ++look) {
        if (s->ShowBits(bits) == code && s->BitsEOF() == 0) return 1;
        s->SkipBits(static_cast<unsigned long>(stepBits));
    }
    return 0;
}

Kiv_MEDIA_FORMAT_TYPE CMObjMpgBaseParser::Conclude(Kiv_MEDIA_FORMAT_TYPE recognised, CKivBitStream* stream,
                                                   int quick) {
    const bool accepted = recognised != kKivFmt_Unknown && (quick != 0 || ParseGroupOfPictures(stream) != 0);
    m_mediaType         = accepted ? recognised : kKivFmt_Unknown;
    return m_mediaType;
}

Kiv_MEDIA_FORMAT_TYPE CMObjMpgBaseParser::Conclude(Kiv_MEDIA_FORMAT_TYPE recognised, CKivBitStream* stream,
                                                   int quick, IsCut isCut) {
    if (Conclude(recognised, stream, quick) != kKivFmt_Unknown && quick == 0) {
        stream->BytesJump(0);
        StreamReader reader(*stream);
        m_truncated = isCut(reader);
    }
    return m_mediaType;
}

Kiv_MEDIA_FORMAT_TYPE CMObjMpg1VideoParser::ParseBitStream(CKivBitStream* stream, int quick) {
    const bool found = CodeSearch(*stream).Find(kSequenceCode, kFirstCodeLimit);
    return Conclude(found ? kKivFmt_Mpeg1Video : kKivFmt_Unknown, stream, quick);
}

Kiv_MEDIA_FORMAT_TYPE CMObjMpg1VcdParser::ParseBitStream(CKivBitStream* stream, int quick) {
    constexpr unsigned long kRiffSizeBits = 32;
    const bool              wrapped = NextBytesAre(*stream, "RIFF") && stream->SkipBits(kRiffSizeBits) != 0
                         && NextBytesAre(*stream, "CDXA");
    return Conclude(wrapped && FindVcdPack(*stream) ? kKivFmt_Mpeg1Vcd : kKivFmt_Unknown, stream, quick,
                    PassesRiffEnd);
}

Kiv_MEDIA_FORMAT_TYPE CMObjMpgSystemParser::ParseBitStream(CKivBitStream* stream, int quick) {
    return Conclude(RecognisePackStream(*stream), stream, quick, EndsInPacket);
}

Kiv_MEDIA_FORMAT_TYPE CMObjMpgTransportParser::ParseBitStream(CKivBitStream* stream, int quick) {
    return Conclude(Recognise(stream), stream, quick, EndsInTransportPacket);
}

Kiv_MEDIA_FORMAT_TYPE CMObjMpgTransportParser::Recognise(CKivBitStream* stream) {
    CodeSearch search(*stream);
    if (!search.FindByte(kTransportSync, kFirstCodeLimit) || !AtTransportPackets(stream))
        return kKivFmt_Unknown;
    stream->SkipBits(2 * kTransportPacket * 8);
    if (!search.FindAndSkip(kSequenceCode, kSequenceLimit)) return kKivFmt_Unknown;
    return search.Find(kExtensionCode, kExtensionLimit) ? kKivFmt_Mpeg2Transport : kKivFmt_Mpeg1System;
}
