// The extraction of MPEG stream headers.
#include "MObjMpgParser.h"

#include "BitStreamWindow.h"
#include "MpegCodes.h"

#include <cstring>
#include <limits>

using namespace kiv::mpeg;
using kiv::BitStreamWindow;

// The packet_length field that stands in a copied packet header until the copy is complete.
class CMObjMpgBaseParser::PacketLength {
public:
    static constexpr int kBytes = 2;

    // The field comes next in `out`.
    void Begin(const CKivDynaBuffer* out) { m_at = static_cast<unsigned long>(out->GetSize()); }

    // Makes the field count what was copied behind it.
    void Set(CKivDynaBuffer* out) const {
        const unsigned long length = static_cast<unsigned long>(out->GetSize()) - m_at - kBytes;
        out->SetByte(m_at, static_cast<unsigned char>(length >> 8 & 0xFF));
        out->SetByte(m_at + 1, static_cast<unsigned char>(length & 0xFF));
    }

private:
    unsigned long m_at = 0;
};

namespace {

constexpr int kPacketScanLimit = 512; // bytes of a packet header that are looked through

// What comes behind the packet length of a PES packet.
enum class PacketHeader { Mpeg2, Mpeg1, None };

// Skips the stuffing bytes (ISO/IEC 11172-1, 2.4.3.3); None when nothing else comes within kPacketScanLimit.
PacketHeader SkipStuffing(CKivBitStream* s) {
    for (int i = 0; i < kPacketScanLimit; ++i) {
        const unsigned long marker = s->ShowBits(2);
        if (s->BitsEOF() != 0) break;
        if (marker == 2) return PacketHeader::Mpeg2;
        if (marker < 2) return PacketHeader::Mpeg1;
        s->SkipBits(8);
    }
    return PacketHeader::None;
}

// The bytes of the time stamps in an MPEG-1 packet header that these four bits begin; 0 where there are none.
int TimeStampBytes(unsigned long marker) {
    constexpr unsigned long kPresentation            = 2;
    constexpr unsigned long kPresentationAndDecoding = 3;
    switch (marker) {
    case kPresentation: return 5;
    case kPresentationAndDecoding: return 10;
    default: return 0;
    }
}

// FF and not FF: looser than the standard's twelve bits, kept.
bool IsAudioFrameSync(unsigned long twoBytes) { return twoBytes >> 8 == 0xFF && (twoBytes & 0xFF) != 0xFF; }

bool IsAudioStream(unsigned char id) { return (id & 0xE0) == 0xC0; }

bool IsVideoStream(unsigned char id) { return (id & 0xF0) == 0xE0; }

// Appends a byte. A large buffer doubles: by its fixed increment alone, a hostile stream's endless header
// would be copied once for every kilobyte.
bool AppendByte(CKivDynaBuffer& out, unsigned char byte) {
    const long increment = out.GetInsBufferByBytes();
    const bool grows     = out.GetSize() == out.GetCapacity() && out.GetSize() > increment;
    if (!grows) return out.AddByte(byte);
    out.SetBufferIncrementalSize(static_cast<unsigned long>(out.GetSize()));
    const bool added = out.AddByte(byte);
    out.SetBufferIncrementalSize(static_cast<unsigned long>(increment));
    return added;
}

} // namespace

int CMObjMpgBaseParser::PutByteToWriter(CKivBitStream* s, CKivDynaBuffer* out, int n) {
    for (int i = 0; i < n; ++i) {
        const auto byte = static_cast<unsigned char>(s->GetBits(8));
        if (s->BitsEOF() != 0 || !AppendByte(*out, byte)) return 0;
    }
    return 1;
}

int CMObjMpgBaseParser::ExtractPackHeader(CKivBitStream* s, CKivDynaBuffer* out) {
    PutByteToWriter(s, out, 4);
    if (s->ShowBits(4) == 2) {
        PutByteToWriter(s, out, 8);
    } else if (s->ShowBits(2) == 1) {
        constexpr unsigned kStuffingLength = 0x07; // its bits in the last byte
        PutByteToWriter(s, out, 9);
        const auto last = static_cast<unsigned char>(s->GetBits(8) & ~kStuffingLength);
        if (s->BitsEOF() == 0) out->AddByte(last);
    }
    return 1;
}

int CMObjMpgBaseParser::ExtractSystemHeader(CKivBitStream* s, CKivDynaBuffer* out, unsigned long& videoCode,
                                            unsigned long& audioCode) {
    constexpr int kFixedBytes = 12;
    constexpr int kEntryBytes = 3;
    PutByteToWriter(s, out, kFixedBytes);
    while (s->ShowBits(1) == 1 && s->BitsEOF() == 0) {
        const auto id = static_cast<unsigned char>(s->ShowBits(8));
        if (IsAudioStream(id)) audioCode = kPrefix << 8 | id;
        if (IsVideoStream(id)) videoCode = kPrefix << 8 | id;
        if (PutByteToWriter(s, out, kEntryBytes) == 0) break;
    }
    return 1;
}

// Copies prefix, stream id and packet length.
bool CMObjMpgBaseParser::CopyPacketStart(CKivBitStream* s, CKivDynaBuffer* out, PacketLength& length) {
    constexpr int kPrefixAndId = 4;
    if (PutByteToWriter(s, out, kPrefixAndId) == 0) return false;
    length.Begin(out);
    return PutByteToWriter(s, out, PacketLength::kBytes) != 0;
}

// Copies an MPEG-1 packet header from its buffer fields on; false where no time stamp is in it.
bool CMObjMpgBaseParser::CopyMpeg1PacketHeader(CKivBitStream* s, CKivDynaBuffer* out) {
    constexpr unsigned long kBufferFields = 1; // '01'
    if (s->ShowBits(2) == kBufferFields) PutByteToWriter(s, out, 2);
    const int bytes = TimeStampBytes(s->ShowBits(4));
    return bytes != 0 && PutByteToWriter(s, out, bytes) != 0;
}

// Copies single bytes until `reached`, at most kPacketScanLimit.
template <class Reached>
void CMObjMpgBaseParser::CopyUntil(CKivBitStream* s, CKivDynaBuffer* out, Reached reached) {
    for (int i = 0; i < kPacketScanLimit && !reached() && PutByteToWriter(s, out, 1) != 0; ++i) {
    }
}

int CMObjMpgBaseParser::ExtractVideoPack(CKivBitStream* s, CKivDynaBuffer* out) {
    PacketLength length;
    if (!CopyPacketStart(s, out, length)) return 0;
    switch (SkipStuffing(s)) {
    case PacketHeader::Mpeg2:
        CopyUntil(s, out, [&] { return s->ShowBits(kStartCodeBits) == kSequenceCode; });
        break;
    case PacketHeader::Mpeg1:
        if (!CopyMpeg1PacketHeader(s, out)) return 0;
        break;
    case PacketHeader::None: return 0;
    }
    if (FindCode(s, kSequenceCode, kStartCodeBits, 8) != 0) ExtractSequenceHeader(s, out);
    length.Set(out);
    return 1;
}

int CMObjMpgBaseParser::ExtractAudioPack(CKivBitStream* s, CKivDynaBuffer* out) {
    constexpr int kFrameHeaderBytes = 4;
    PacketLength  length;
    if (!CopyPacketStart(s, out, length)) return 0;
    switch (SkipStuffing(s)) {
    case PacketHeader::Mpeg2: CopyUntil(s, out, [&] { return IsAudioFrameSync(s->ShowBits(16)); }); break;
    case PacketHeader::Mpeg1:
        if (!CopyMpeg1PacketHeader(s, out)) return 0;
        break;
    case PacketHeader::None: return 0;
    }
    PutByteToWriter(s, out, kFrameHeaderBytes);
    length.Set(out);
    return 1;
}

int CMObjMpgBaseParser::ExtractSequenceHeader(CKivBitStream* s, CKivDynaBuffer* out) {
    constexpr int           kMatrixBytes  = 64;
    constexpr unsigned long kLoadIntra    = 0x02;
    constexpr unsigned long kLoadNonIntra = 0x01;
    PutByteToWriter(s, out, 11);
    if ((s->ShowBits(8) & kLoadIntra) != 0) PutByteToWriter(s, out, kMatrixBytes);
    if ((s->ShowBits(8) & kLoadNonIntra) != 0) PutByteToWriter(s, out, kMatrixBytes);
    PutByteToWriter(s, out, 1);
    while (FindCode(s, kPrefix, kPrefixBits, 8) != 0 && s->ShowBits(kStartCodeBits) == kExtensionCode) {
        ExtractSequenceExtension(s, out);
    }
    return 1;
}

// One extension behind a sequence header; of those that are no sequence extension, only the start code.
void CMObjMpgBaseParser::ExtractSequenceExtension(CKivBitStream* s, CKivDynaBuffer* out) {
    constexpr unsigned long kSequenceExtension        = 1; // ISO/IEC 13818-2, table 6-2
    constexpr unsigned long kSequenceDisplayExtension = 2;
    PutByteToWriter(s, out, 4);
    switch (s->ShowBits(4)) {
    case kSequenceExtension: PutByteToWriter(s, out, 6); break;
    case kSequenceDisplayExtension: {
        const bool colourDescription = (s->ShowBits(8) & 1) != 0;
        PutByteToWriter(s, out, colourDescription ? 1 + 3 : 1);
        PutByteToWriter(s, out, 4);
        break;
    }
    default: break;
    }
}

int CMObjMpgBaseParser::FindPID4PMT(CKivBitStream* s, CKivDynaBuffer* /*out*/, unsigned long& pid) {
    // transport_error_indicator to adaptation_field_control of a PAT packet, ISO/IEC 13818-1, 2.4.3.2
    constexpr unsigned long kWithAdaptation    = 0x40003;
    constexpr unsigned long kWithoutAdaptation = 0x40001;
    constexpr unsigned kPidWithAdaptation = 131; // bits from the sync byte, for an empty adaptation field
    // four bytes short of the first program's PID, kept: the headers of streams in service were made so
    constexpr unsigned kPidWithoutAdaptation = 91;

    BitStreamWindow     window(*s);
    const unsigned long control = window.Peek(8, 20);
    pid                         = 0;
    if (control == kWithAdaptation) {
        const auto adaptationLength = static_cast<unsigned>(window.Peek(32, 8));
        pid                         = window.Peek(kPidWithAdaptation + 8 * adaptationLength, 13);
    } else if (control == kWithoutAdaptation) {
        pid = window.Peek(kPidWithoutAdaptation, 13);
    }
    return pid != 0 ? 1 : 0;
}

bool CMObjMpgBaseParser::AtTransportPackets(CKivBitStream* s) {
    BitStreamWindow window(*s);
    if (!window.Reach(2 * kTransportPacket + 1)) return false;
    const kiv::ByteSpan bytes = window.Bytes();
    return bytes[0] == kTransportSync && bytes[kTransportPacket] == kTransportSync
           && bytes[2 * kTransportPacket] == kTransportSync;
}

int CMObjMpgBaseParser::ExtractMpeg2TStreamHeader(CKivBitStream* s, CKivDynaBuffer* out) {
    constexpr auto  kPacketBytes = static_cast<int>(kTransportPacket);
    constexpr auto  kPacketBits  = static_cast<unsigned long>(kTransportPacket * 8);
    constexpr auto  kNoLimit     = std::numeric_limits<std::size_t>::max();
    BitStreamWindow window(*s);
    for (auto unlimited = kNoLimit; window.SeekByte(kTransportSync, unlimited); unlimited = kNoLimit) {
        unsigned long pid = 0;
        if (!AtTransportPackets(s)) {
            s->SkipBits(8);
        } else if (FindPID4PMT(s, out, pid) == 0) {
            s->SkipBits(kPacketBits);
        } else {
            PutByteToWriter(s, out, kPacketBytes);
            if (window.Peek(11, 13) == pid) return PutByteToWriter(s, out, kPacketBytes);
            s->SkipBits(kPacketBits);
        }
    }
    return 0;
}

int CMObjMpgSystemParser::getHeader(CKivBitStream* s, CKivDynaBuffer* out) {
    if (s == nullptr || out == nullptr) return 0;
    out->ClearBuffer();
    s->BytesJump(0);
    if (s->ShowBits(8) == kTransportSync) {
        ExtractMpeg2TStreamHeader(s, out);
    } else if (s->ShowBits(kAudioSyncBits) == kAudioSync) {
        ExtractAudioPack(s, out);
    } else if (FindCode(s, kPrefix, kPrefixBits, 8) != 0) {
        switch (s->ShowBits(kStartCodeBits)) {
        case kSequenceCode: ExtractSequenceHeader(s, out); break;
        case kPackCode: ExtractPackStreamHeader(s, out); break;
        default: break;
        }
    }
    return out->GetSize() != 0 ? 1 : 0;
}

// The headers of a pack stream, from its first pack on: until one packet of the video and of the audio stream
// that the system header lists are taken.
void CMObjMpgSystemParser::ExtractPackStreamHeader(CKivBitStream* s, CKivDynaBuffer* out) {
    unsigned long videoCode = 0;
    unsigned long audioCode = 0;
    bool          hasVideo  = false;
    bool          hasAudio  = false;
    ExtractPackHeader(s, out);
    if (FindCode(s, kSystemHeaderCode, kStartCodeBits, 8) == 0) return;
    ExtractSystemHeader(s, out, videoCode, audioCode);
    while (!(hasVideo && hasAudio) && FindCode(s, kPrefix, kPrefixBits, 8) != 0) {
        const unsigned long code = s->ShowBits(kStartCodeBits);
        if (code == kSystemHeaderCode && !hasVideo && !hasAudio) {
            ExtractSystemHeader(s, out, videoCode, audioCode);
        } else if (code == videoCode && !hasVideo) {
            hasVideo = ExtractVideoPack(s, out) != 0;
        } else if (code == audioCode && !hasAudio) {
            hasAudio = ExtractAudioPack(s, out) != 0;
        } else {
            s->SkipBits(8);
        }
        s->BitsAlignment(8);
    }
}

int CMObjMpgSystemParser::getHeader(CKivBitStream* s, unsigned char* dest, int max) {
    CKivDynaBuffer header;
    if (getHeader(s, &header) == 0 || dest == nullptr || header.GetSize() > max) return 0;
    std::memcpy(dest, header.GetBufferPtr(), static_cast<std::size_t>(header.GetSize()));
    return static_cast<int>(header.GetSize());
}

int CMObjMpgTransportParser::getHeader(CKivBitStream* /*s*/, CKivDynaBuffer* /*out*/) { return 0; }

int CMObjMpgTransportParser::getHeader(CKivBitStream* /*s*/, unsigned char* /*dest*/, int /*max*/) {
    return 0;
}
