// What the steps of a splice share: views of buffers, edits in place, the search for start codes, reports.
#ifndef KIVUTILITY_MPGCONCATBYTES_H
#define KIVUTILITY_MPGCONCATBYTES_H

#include "ByteFields.h"
#include "ConsistencyReport.h"
#include "KivDynaBuffer.h"
#include "MpegCodes.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>

namespace kiv::concat {

// An index into a buffer, kNone where nothing was found.
using Index = std::ptrdiff_t;

inline constexpr Index kNone = -1;

inline ByteSpan Bytes(const CKivDynaBuffer& buffer) {
    return {static_cast<const std::uint8_t*>(buffer.GetBufferPtr()),
            static_cast<std::size_t>(buffer.GetSize())};
}

// kiv::Part by an index; one in front of the bytes counts as their start.
inline ByteSpan Part(ByteSpan bytes, Index from, std::size_t count = SIZE_MAX) {
    return kiv::Part(bytes, static_cast<std::size_t>(std::max<Index>(from, 0)), count);
}

// Appends; room grows with the size, so that appending piece by piece stays linear. False without memory.
inline bool Append(CKivDynaBuffer& to, ByteSpan bytes) {
    constexpr unsigned long kLeastRoom = 1024;
    if (bytes.empty()) return true;
    to.SetBufferIncrementalSize(std::max(kLeastRoom, static_cast<unsigned long>(to.GetSize()) / 2));
    return to.Append(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

// Empties the buffer and keeps its room.
inline void Empty(CKivDynaBuffer& buffer) { buffer.ChopTail(0); }

// Removes the first `count` bytes, all when there are fewer.
inline void RemoveHead(CKivDynaBuffer& buffer, Index count) {
    if (count >= buffer.GetSize())
        Empty(buffer);
    else if (count > 0)
        buffer.ChopHead(static_cast<unsigned long>(count));
}

// Removes the bytes [from, to).
inline void Remove(CKivDynaBuffer& buffer, Index from, Index to) {
    const CKivDynaBuffer whole = buffer;
    buffer.ChopTail(static_cast<unsigned long>(from));
    Append(buffer, Part(Bytes(whole), to));
}

// Writes a byte, or a number most significant byte first; what would lie behind the end is not written.
// Returns how many bytes were.
inline unsigned Write8(CKivDynaBuffer& buffer, Index at, unsigned value) {
    if (at < 0 || at >= buffer.GetSize()) return 0;
    buffer.SetByte(static_cast<unsigned long>(at), static_cast<unsigned char>(value));
    return 1;
}

inline unsigned Write16(CKivDynaBuffer& buffer, Index at, unsigned value) {
    return Write8(buffer, at, value >> 8) + Write8(buffer, at + 1, value);
}

// Bytes behind the end read as 0.
inline unsigned Read8(ByteSpan bytes, Index at) {
    return BigEndian<std::uint8_t>(bytes, static_cast<std::size_t>(at));
}

inline unsigned Read16(ByteSpan bytes, Index at) { return Read8(bytes, at) << 8 | Read8(bytes, at + 1); }

// Start code ids: the byte behind the prefix 00 00 01.
struct Ids {
    std::uint8_t first, last;

    constexpr bool Has(unsigned id) const { return id >= first && id <= last; }
};

inline constexpr Ids kPictureOrSlice = {0x00, 0xAF}; // ISO/IEC 13818-2, table 6-1
inline constexpr Ids kSequence       = {0xB3, 0xB3};
inline constexpr Ids kGroup          = {0xB8, 0xB8};
inline constexpr Ids kPack           = {0xBA, 0xBA}; // ISO/IEC 13818-1, 2.5.3.3
inline constexpr Ids kFirstAudio     = {0xC0, 0xC0}; // ISO/IEC 13818-1, table 2-18
inline constexpr Ids kAudio          = {0xC0, 0xDF};
inline constexpr Ids kFirstVideo     = {0xE0, 0xE0};
inline constexpr Ids kVideo          = {0xE0, 0xEF};

struct StartCode {
    Index    at = kNone; // of the prefix
    unsigned id = 0;

    explicit operator bool() const { return at != kNone; }
};

// The first start code at or after `from` whose id is one of `wanted`. Both must be wholly there.
inline StartCode FindCode(ByteSpan bytes, Index from, std::initializer_list<Ids> wanted) {
    for (std::size_t at = static_cast<std::size_t>(std::max<Index>(from, 0)); at < bytes.size(); at += 3) {
        at = FindStartCode(bytes, at);
        if (at + 3 >= bytes.size()) break;
        for (const Ids& ids : wanted) {
            if (ids.Has(bytes[at + 3])) return {static_cast<Index>(at), bytes[at + 3]};
        }
    }
    return {};
}

// Raises a report when a check failed; the caller goes on either way. The numbers of the lines are part of
// the reports that operators know.
inline void Check(bool holds, int line, const char* report) {
    if (!holds) ReportFailedCheck("common/KivUtility/MpgConcat", line, report);
}

struct AudioSearch {
    Index found;  // kNone: nothing
    Index resume; // where a search goes on when more bytes have come: what lies before is refused for good
};

inline constexpr Index kLongestAudioFrame = 2881; // bytes, of those that FindAudioFrame knows

// The frame of MPEG audio that findMPASyncWord accepts; `single`: one frame behind it is enough.
AudioSearch FindAudioFrame(ByteSpan bytes, Index start, Index from, Index to, bool single);

// The packet that findMTSSyncWord accepts, or 0. Of the bytes, the first `searched` were searched before.
Index FindTransportPacket(ByteSpan bytes, Index start, Index length, Index searched);

inline constexpr Index kLeastTransport = 3 * static_cast<Index>(mpeg::kTransportPacket); // that is searched

} // namespace kiv::concat

#endif
