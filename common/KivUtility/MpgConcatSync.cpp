// The searches for MPEG audio frames and transport packets at a splice.
#include "MpgConcat.h"

#include "MpegAudioFrame.h"
#include "MpgConcatBytes.h"

using namespace kiv::concat;
using kiv::ByteSpan;
using kiv::mpeg::AudioVersion;

namespace {

constexpr int kReservedRate = -1000; // makes the frame's length negative

// Samples per second, ISO/IEC 11172-3, 2.4.2.3.
int RateOf(AudioVersion version, unsigned index) {
    return index == 3 ? kReservedRate : static_cast<int>(kiv::mpeg::SampleRate(version, index));
}

// Kilobits per second, ISO/IEC 11172-3, 2.4.2.3. Free format, the forbidden index and the reserved layer get
// some length too, kept: which frames are found hangs on it.
int KilobitRateOf(AudioVersion version, unsigned layer, unsigned index) {
    if (index == 0 || index == 15) return layer == 0 ? static_cast<int>(std::max(index, 1U)) : 1;
    if (layer == 0) return static_cast<int>(index);
    return static_cast<int>(kiv::mpeg::KilobitRate(version, layer, index));
}

// The length in bytes that the frame header at `at` tells; below 1 where it cannot be one.
Index FrameLength(ByteSpan bytes, Index at) {
    // by the version bits; the reserved 01 counts as MPEG-1, kept
    static constexpr AudioVersion kVersions[] = {AudioVersion::Mpeg25, AudioVersion::Mpeg1,
                                                 AudioVersion::Mpeg2, AudioVersion::Mpeg1};
    const unsigned                flags       = Read8(bytes, at + 1);
    const unsigned                rates       = Read8(bytes, at + 2);
    const AudioVersion            version     = kVersions[flags >> 3 & 3];
    const unsigned                layer       = (4 - (flags >> 1 & 3)) & 3;
    const int                     bitRate     = KilobitRateOf(version, layer, rates >> 4);
    const int                     rate        = RateOf(version, rates >> 2 & 3);
    const int                     padding     = static_cast<int>(rates >> 1 & 1);
    return layer == 1 ? (bitRate * 12000 / rate + padding) * 4 : bitRate * 144000 / rate + padding;
}

bool MayBeginFrame(ByteSpan bytes, Index at) {
    return Read8(bytes, at) == 0xFF && (Read8(bytes, at + 1) & 1) != 0; // without CRC
}

bool IsFollowedByFrame(ByteSpan bytes, Index at, Index length) {
    return length >= 1 && Read8(bytes, at + length) == 0xFF && Read8(bytes, at + length + 1) >= 0xE0;
}

constexpr Index kPacket = kiv::mpeg::kTransportPacket;

bool IsSync(ByteSpan bytes, Index at) { return Read8(bytes, at) == kiv::mpeg::kTransportSync; }

unsigned Continuity(ByteSpan bytes, Index at) {
    return Read8(bytes, at + 3) & 0xF;
} // ISO/IEC 13818-1, 2.4.3.2

} // namespace

namespace kiv::concat {

AudioSearch FindAudioFrame(ByteSpan bytes, Index start, Index from, Index to, bool single) {
    constexpr Index kHeaderBytes = 4;
    const Index     end          = start + to;
    Index           at           = start + from;
    Index           undecided    = kNone; // the first frame whose next one is cut behind its first byte
    const auto      resume       = [&](Index here) { return undecided == kNone ? here : undecided; };
    // the region may go beyond the bytes: there is no frame to find there
    const Index candidatesEnd = std::min(end - kHeaderBytes, static_cast<Index>(bytes.size()));
    while (at < candidatesEnd) {
        at = static_cast<Index>(FindByte(bytes, static_cast<std::size_t>(at), 0xFF));
        if (at >= candidatesEnd) break;
        if (!MayBeginFrame(bytes, at)) {
            ++at;
            continue;
        }
        Index frame = at; // the last one reached
        for (;;) {
            const Index length = FrameLength(bytes, frame);
            if (frame + length >= end) return {frame == at ? kNone : frame, resume(at)};
            if (!IsFollowedByFrame(bytes, frame, length)) {
                if (frame + length == end - 1 && undecided == kNone) undecided = at;
                break;
            }
            if (single) return {at, at};
            frame += length;
        }
        at = frame + 1;
    }
    return {kNone, resume(std::max(std::min(at, end - kHeaderBytes), start + from))};
}

Index FindTransportPacket(ByteSpan bytes, Index start, Index length, Index searched) {
    if (length < kLeastTransport) return 0;
    for (Index at = start; at < start + kPacket; ++at) {
        if (!IsSync(bytes, at)) continue;
        Check(at + 2 * kPacket < length, 1356, "(i+188+188)< audioPackLen Failed");
        if (!IsSync(bytes, at + kPacket) || !IsSync(bytes, at + 2 * kPacket)) continue;
        const Index done = std::max<Index>((searched - kPacket - at) / kPacket, 0); // packets
        for (Index packet = at + done * kPacket; packet + kPacket < start + length; packet += kPacket) {
            if (Continuity(bytes, packet) == 0 && Continuity(bytes, packet + kPacket) == 1) return packet;
        }
    }
    return 0;
}

} // namespace kiv::concat

int CMpegStreamConcatenator::findMTSSyncWord(const CKivDynaBuffer& buffer, int start, int length) {
    return static_cast<int>(FindTransportPacket(Bytes(buffer), start, length, 0));
}

int CMpegStreamConcatenator::findMPASyncWord(const CKivDynaBuffer& buffer, int start, int from, int to,
                                             int flag) {
    return static_cast<int>(FindAudioFrame(Bytes(buffer), start, from, to, flag == 1).found);
}
