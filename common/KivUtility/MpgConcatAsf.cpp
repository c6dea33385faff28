// The header and the data packets of ASF at a splice.
#include "MpgConcat.h"

#include "AsfObjects.h"
#include "MpgConcatBytes.h"

using namespace kiv::concat;
using kiv::ByteSpan;

namespace {

using kiv::asf::FileProperties;

constexpr Index kGuidBytes   = kiv::asf::kGuidBytes;
constexpr Index kLeastHeader = 151; // bytes: the header object, file properties and one stream
constexpr Index kFlagsAt     = FileProperties::kFlagsAt;

constexpr std::uint8_t kErrorCorrectionFlags = 0x82; // that a data packet begins with: two bytes follow

} // namespace

GUID CMpegStreamConcatenator::GetAsfGuid(const unsigned char* bytes) {
    return kiv::asf::ReadGuid({bytes, kiv::asf::kGuidBytes}, 0);
}

// Marks the header as that of a broadcast. Returns 0 when it is none of ASF.
int CMpegStreamConcatenator::AsfHeadAnalyse(CKivDynaBuffer& header) {
    const ByteSpan bytes = Bytes(header);
    const Index    bound = header.GetSize() - kGuidBytes;
    m_asfFlag            = 0;
    const auto find      = [&](Index from, const GUID& guid) {
        const auto first = static_cast<std::uint8_t>(guid.Data1 & 0xFF);
        for (Index at = from; at < bound; ++at) {
            at = static_cast<Index>(kiv::FindByte(bytes, static_cast<std::size_t>(at), first));
            if (at < bound && GetAsfGuid(&bytes[static_cast<std::size_t>(at)]) == guid) return at;
        }
        return kNone;
    };
    if (header.GetSize() < kLeastHeader || !(GetAsfGuid(bytes.data()) == kiv::asf::kHeaderObject)) return 0;
    const Index properties = find(kiv::asf::kFirstObjectInHeader, kiv::asf::kFilePropertiesObject);
    if (properties == kNone) return 0;
    m_counts.headerRewritten += Write8(header, properties + kFlagsAt,
                                       (Read8(bytes, properties + kFlagsAt) | FileProperties::kBroadcast)
                                           & ~FileProperties::kSeekable);
    m_asfOffset = kiv::asf::ReadFileProperties(Part(bytes, properties)).leastPacketSize;
    if (find(properties + Index{FileProperties::kBytes}, kiv::asf::kErrorCorrectionObject) != kNone)
        m_asfFlag = 1;
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
