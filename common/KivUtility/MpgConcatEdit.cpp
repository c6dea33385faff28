// The editing of packs, packets and headers around a splice of program streams.
#include "MpgConcat.h"

#include "MpgConcatBytes.h"

#include <cstdlib>

using namespace kiv::concat;
using kiv::ByteSpan;

namespace {

// Offsets in a packet of ISO/IEC 13818-1, 2.4.3.6.
constexpr Index kLengthAt       = 4;
constexpr Index kHeaderLengthAt = 8;
constexpr Index kTimeStampAt    = 9;
constexpr Index kTimeStampBytes = 5;

// The last start code before `end` whose id is one of `wanted`.
StartCode FindLastCode(ByteSpan bytes, std::initializer_list<Ids> wanted) {
    StartCode last;
    for (StartCode code; (code = FindCode(bytes, code.at + 1, wanted));) last = code;
    return last;
}

// Whether the packet has its time stamp. The last two bytes may be missing and then count as 0, kept.
bool HasTimeStamp(const CKivDynaBuffer& buffer, StartCode packet) {
    return packet && packet.at + kTimeStampAt + kTimeStampBytes <= buffer.GetSize() + 2;
}

// Writes the group's time stamp into the packet. Returns how many bytes there was room for.
unsigned WriteTimeStamp(CKivDynaBuffer& header, StartCode packet, ByteSpan stamp) {
    const Index    at    = packet.at + kTimeStampAt;
    const bool     first = Read8(Bytes(header), at) != 0 || Read8(stamp, 0) != 0;
    const unsigned off   = 2; // bits of the fourth byte, kept: players in the field align by the rest
    return Write8(header, at, first ? 1 : 0) + Write16(header, at + 1, Read16(stamp, 1))
           + Write8(header, at + 3, Read8(stamp, 3) >> off) + Write8(header, at + 4, Read8(stamp, 4));
}

// The time stamp in the packet, whatever its marker bits are: ISO/IEC 13818-1, 2.4.3.6.
std::uint64_t ReadTimeStamp(ByteSpan header, StartCode packet) {
    const Index at = packet.at + kTimeStampAt;
    return std::uint64_t{Read8(header, at) >> 1 & 7} << 30 | Read16(header, at + 1) >> 1 << 15
           | Read16(header, at + 3) >> 1;
}

// Whether the audio packet at `at` is to be heard with or after the group's video. Of the first bytes only
// whether they are zero counts.
bool IsAudioInTime(ByteSpan pack, Index at, ByteSpan stamp) {
    const Index own   = at + kTimeStampAt;
    const bool  audio = Read8(pack, own) != 0;
    const bool  video = Read8(stamp, 0) != 0;
    if (audio != video) return audio;
    const unsigned audioHigh = Read16(pack, own + 1), videoHigh = Read16(stamp, 1);
    if (audioHigh != videoHigh) return audioHigh > videoHigh;
    return Read16(pack, own + 3) >= Read16(stamp, 3);
}

} // namespace

// Removes the bytes [from, to) and counts them.
void CMpegStreamConcatenator::Drop(CKivDynaBuffer& buffer, Index from, Index to,
                                   unsigned long long& counter) {
    const long before = buffer.GetSize();
    Remove(buffer, from, to);
    counter += static_cast<unsigned long long>(before - buffer.GetSize());
}

// Finds the first group of pictures behind a pack header and makes `data` begin with its pack.
// A sequence header in an earlier piece of the file leaves hasSeqHead set, but nothing is cut by it.
int CMpegStreamConcatenator::GetGop(CKivDynaBuffer& data, CKivDynaBuffer& gop, int& hasSeqHead) {
    Index     sequence = kNone;
    StartCode code     = FindCode(Bytes(data), 0, {kPack});
    Index     pack     = code.at;
    while (code && !kGroup.Has(code.id)) {
        if (kPack.Has(code.id)) pack = code.at;
        if (kSequence.Has(code.id)) {
            sequence   = code.at;
            hasSeqHead = 1;
        }
        code = FindCode(Bytes(data), code.at + 1, {kPack, kGroup, kSequence});
    }
    if (!code) {
        DropEarly(data, data.GetSize());
        return 0;
    }
    DropEarly(data, pack);
    const Index group = code.at - pack;
    const Index video = FindLastCode(Part(Bytes(data), 0, static_cast<std::size_t>(group + 4)), {kVideo}).at;
    if (video != kNone) Append(gop, Part(Bytes(data), video + kTimeStampAt, kTimeStampBytes));
    const Index beforePack = sequence == kNone ? kNone : sequence - pack;
    AdjustGopPack(data, static_cast<int>(video), static_cast<int>(beforePack), static_cast<int>(group),
                  hasSeqHead);
    return 1;
}

// Removes from the group's pack the pictures of the group before, and the packets ahead of its video packet.
void CMpegStreamConcatenator::AdjustGopPack(CKivDynaBuffer& pack, int videoIdx, int seqRel, int gopRel,
                                            int hasSeqHead) {
    if (videoIdx < 0) return;
    const Index cut = hasSeqHead != 0 ? seqRel : gopRel;
    if (cut > videoIdx) {
        const ByteSpan  before  = Part(Bytes(pack), 0, static_cast<std::size_t>(cut));
        const StartCode picture = FindCode(before, videoIdx + 1, {kPictureOrSlice});
        if (picture) {
            const Index length = static_cast<Index>(Read16(before, videoIdx + kLengthAt)) + picture.at - cut;
            m_counts.rewritten += Write16(pack, videoIdx + kLengthAt, static_cast<unsigned>(length));
            Drop(pack, picture.at, cut, m_counts.droppedVideo);
        }
    }
    const StartCode packet =
        FindCode(Part(Bytes(pack), 0, static_cast<std::size_t>(videoIdx)), 0, {kVideo, kAudio});
    if (packet) Drop(pack, packet.at, videoIdx, m_counts.droppedVideo);
}

void CMpegStreamConcatenator::AdjustHeader(CKivDynaBuffer& header, const CKivDynaBuffer& gop,
                                           int /*hasSeqHead*/) {
    for (const Ids& packets : {kVideo, kAudio}) {
        const StartCode packet = FindCode(Bytes(header), 0, {packets});
        if (!HasTimeStamp(header, packet)) return;
        m_counts.headerRewritten += WriteTimeStamp(header, packet, Bytes(gop));
        if (!m_counts.stampWritten) m_counts.stamp = ReadTimeStamp(Bytes(header), packet);
        m_counts.stampWritten = true;
    }
}

int CMpegStreamConcatenator::GetPack(CKivDynaBuffer& pack, CKivDynaBuffer& buffer) {
    const StartCode begin = FindCode(Bytes(buffer), 0, {kPack});
    const StartCode end   = begin ? FindCode(Bytes(buffer), begin.at + 1, {kPack}) : begin;
    if (!end) return 0;
    Empty(pack);
    Append(pack, Part(Bytes(buffer), begin.at, static_cast<std::size_t>(end.at - begin.at)));
    RemoveHead(buffer, end.at);
    return 1;
}

// Removes the pack's audio as long as it is earlier than the group's video. Returns 0 when it no longer is.
int CMpegStreamConcatenator::CutAudio(CKivDynaBuffer& pack, const CKivDynaBuffer& gop) {
    const StartCode audio = FindLastCode(Bytes(pack), {kAudio});
    if (!HasTimeStamp(pack, audio)) return 1;
    if (IsAudioInTime(Bytes(pack), audio.at, Bytes(gop))) return 0;
    if (!FindCode(Bytes(pack), 0, {kVideo})) {
        Drop(pack, 0, pack.GetSize(), m_counts.droppedAudio);
        return 1;
    }
    const StartCode video = FindCode(Bytes(pack), audio.at + 1, {kVideo});
    Drop(pack, audio.at, video ? video.at : static_cast<Index>(pack.GetSize()), m_counts.droppedAudio);
    return 1;
}

// Cuts from the output what lies between the header of the last video packet and the sequence header behind
// it: pictures that refer to those of the file before.
int CMpegStreamConcatenator::EjectBFramesInOutBuffer(CKivDynaBuffer& out) {
    Index video = kNone, sequence = kNone;
    for (StartCode code{m_header.GetSize() - 1}; sequence <= 0;) {
        code = FindCode(Bytes(out), code.at + 1, {kFirstVideo, kSequence});
        if (!code) break;
        (kSequence.Has(code.id) ? sequence : video) = code.at;
    }
    Check(video > 0 && sequence > video, 1432, "VideoPackIndex>0 && SeqHeaderIndex>VideoPackIndex Failed");
    if (video == kNone || sequence < video) return 1;
    const Index headerLength = static_cast<Index>(Read8(Bytes(out), video + kHeaderLengthAt));
    // 6 where the packet's own header has 9 bytes, kept: receivers in the field expect this length
    const Index length =
        static_cast<Index>(Read16(Bytes(out), video + kLengthAt)) - sequence + headerLength + video + 6;
    m_counts.rewritten += Write16(out, video + kLengthAt, static_cast<unsigned>(length));
    const CKivDynaBuffer whole = out;
    out.ChopTail(static_cast<unsigned long>(video));
    const Index kept = headerLength + kTimeStampAt;
    Append(out, Part(Bytes(whole), video, static_cast<std::size_t>(kept)));
    if (out.GetSize() < video + kept)
        out.SetByte(static_cast<unsigned long>(video + kept - 1), 0); // and zeros
    Append(out, Part(Bytes(whole), sequence));
    const long shorter = whole.GetSize() - out.GetSize();
    (shorter > 0 ? m_counts.droppedVideo : m_counts.filledBytes) +=
        static_cast<unsigned long long>(std::abs(shorter));
    return 1;
}
