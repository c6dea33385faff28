// The header and the data packets of ASF at a splice.
#include "MpgConcat.h"

#include "MpgConcatBytes.h"

using namespace kiv::concat;
using kiv::ByteSpan;

namespace {

constexpr GUID kHeaderObject = {0x75B22630, 0x668E, 0x11CF, {0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C}};
constexpr GUID kErrorCorrectionObject = {
    0x75B22635, 0x668E, 0x11CF, {0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C}};
constexpr GUID kFilePropertiesObject = {
    0x8CABDCA1, 0xA947, 0x11CF, {0x8E, 0xE4, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65}};

constexpr Index kGuidBytes         = 16;
constexpr Index kLeastHeader       = 151; // bytes: the header object, file properties and one stream
constexpr Index kFirstObject       = 30;  // behind the header object's own fields
constexpr Index kFlagsAt           = 88;  // in the file properties
constexpr Index kPacketSizeAt      = 92;
constexpr Index kFilePropertiesEnd = 104;

constexpr unsigned kBroadcast = 1; // flags of the file properties
constexpr unsigned kSeekable  = 2;

constexpr std::uint8_t kErrorCorrectionFlags = 0x82; // that a data packet begins with: two bytes follow

} // namespace

GUID CMpegStreamConcatenator::GetAsfGuid(const unsigned char* bytes) {
    const ByteSpan from(bytes, kGuidBytes);
    GUID           guid{};
    guid.Data1 = kiv::LittleEndian<std::uint32_t>(from, 0);
    guid.Data2 = kiv::LittleEndian<std::uint16_t>(from, 4);
    guid.Data3 = kiv::LittleEndian<std::uint16_t>(from, 6);
    std::copy_n(bytes + 8, 8, guid.Data4);
    return guid;
}

// Marks the header as that of a broadcast. Returns 0 when it is none of ASF.
int CMpegStreamConcatenator::AsfHeadAnalyse(CKivDynaBuffer& header) {
    const ByteSpan bytes = Bytes(header);
    const Index    bound = header.GetSize() - kGuidBytes;
    m_asfFlag            = 0;
    const auto find      = [&](Index from, const GUID& guid) {
        for (Index at = from; at < bound; ++at) {
            if (GetAsfGuid(&bytes[static_cast<std::size_t>(at)]) == guid) return at;
        }
        return kNone;
    };
    if (header.GetSize() < kLeastHeader || !(GetAsfGuid(bytes.data()) == kHeaderObject)) return 0;
    const Index properties = find(kFirstObject, kFilePropertiesObject);
    if (properties == kNone) return 0;
    m_counts.headerRewritten += Write8(header, properties + kFlagsAt,
                                       (Read8(bytes, properties + kFlagsAt) | kBroadcast) & ~kSeekable);
    m_asfOffset =
        kiv::LittleEndian<std::uint32_t>(bytes, static_cast<std::size_t>(properties + kPacketSizeAt));
    if (find(properties + kFilePropertiesEnd, kErrorCorrectionObject) != kNone) m_asfFlag = 1;
    return 1;
}

// Where the first data packet begins that another one follows; -1 when there is none, or it was found before.
int CMpegStreamConcatenator::AsfPackHandler(CKivDynaBuffer& data) {
    const ByteSpan      bytes    = Bytes(data);
    const std::uint64_t bound    = bytes.size() < 2 ? 0 : bytes.size() - 2;
    const auto          isPacket = [&](std::uint64_t at) {
        if (at >= bound || bytes[static_cast<std::size_t>(at)] != kErrorCorrectionFlags) return false;
        const unsigned fields = Read16(bytes, static_cast<Index>(at + 1));
        return fields == (m_asfFlag != 0 ? 0x1101U : 0U);
    };
    if (m_synced) return -1;
    for (std::size_t at = 0; at < bound; ++at) {
        at = kiv::FindByte(bytes, at, kErrorCorrectionFlags);
        if (!isPacket(at) || !isPacket(at + std::uint64_t{m_asfOffset})) continue;
        m_synced = true;
        return static_cast<int>(at);
    }
    return -1;
}
