// The states of a splice and the delivery of its output.
#include "MpgConcat.h"

#include "MpgConcatBytes.h"

#include <algorithm>
#include <utility>

using namespace kiv::concat;
using kiv::ByteSpan;

namespace {

// Stages of an MPEG-2 program stream.
constexpr int kStagePiping      = 3;
constexpr int kStageAwaitingGop = 4;
constexpr int kStageTrimming    = 5; // audio earlier than the group's video, pack by pack

constexpr Index         kPackHeaderBytes = 12;   // with the clock, of both kinds of pack
constexpr std::uint32_t kClockLead       = 1248; // in ticks of 90 kHz: the header goes out ahead of its pack

constexpr unsigned char kStreamEnd[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                        0xFF, 0xFF, 0x00, 0x00, 0x01, 0xB9}; // ISO/IEC 13818-1, 2.5.3.1

// Where the three parts of the system clock reference stand in a pack header, in bits.
struct ClockPosition {
    int bits32to30, bits29to15, bits14to0;
};

constexpr ClockPosition kMpeg2Clock = {34, 38, 54}; // ISO/IEC 13818-1, 2.5.3.3
constexpr ClockPosition kMpeg1Clock = {36, 40, 56}; // ISO/IEC 11172-1, 2.4.3.2
constexpr unsigned      kClockBytes = 5;            // that it is spread over

// bit 32 is lost, kept: servers compute the clock in 32 bits
std::uint32_t ReadClock(const CKivDynaBuffer& pack, const ClockPosition& at) {
    const auto bits = [&](int position, int count) {
        return static_cast<std::uint32_t>(pack.GetBits(position, count));
    };
    return (bits(at.bits32to30, 3) << 15 | bits(at.bits29to15, 15)) << 15 | bits(at.bits14to0, 15);
}

void WriteClock(CKivDynaBuffer& pack, const ClockPosition& at, std::uint32_t clock) {
    pack.SetBits(at.bits32to30, 3, clock >> 30);
    pack.SetBits(at.bits29to15, 15, clock >> 15 & 0x7FFF);
    pack.SetBits(at.bits14to0, 15, clock & 0x7FFF);
}

// Moves the clock of the header that `out` begins with in front of that of the new file's pack; returns it.
std::uint32_t AdjustClock(CKivDynaBuffer& out, const CKivDynaBuffer& pack) {
    const ClockPosition& at    = pack.GetBits(32, 2) == 1 ? kMpeg2Clock : kMpeg1Clock;
    const std::uint32_t  clock = ReadClock(pack, at) - kClockLead;
    WriteClock(out, at, clock);
    return clock;
}

// Whether the packet at `at` has the header of ISO/IEC 13818-1, 2.4.3.6.
bool IsMpeg2Packet(ByteSpan bytes, Index at) { return Read8(bytes, at + 6) >> 6 == 2; }

// Where no frame of audio begins. Packets may overlap: without this each would be searched to its end.
struct Refused {
    Index from = 0, to = 0;

    // The first frame of the region, as FindAudioFrame() finds it.
    Index FindFrame(ByteSpan bytes, Index begin, Index end) {
        const bool known = begin >= from && begin <= to;
        // the frames near the end are looked at again: one that goes beyond it ends the search
        const Index       skipTo = known ? std::max(begin, std::min(to, end - kLongestAudioFrame)) : begin;
        const AudioSearch search = FindAudioFrame(bytes, skipTo, 0, end - skipTo, true);
        if (known)
            to = std::max(to, search.resume);
        else
            *this = {begin, search.resume};
        return search.found;
    }
};

// Takes the audio packet at `at` over into `audio`, without what precedes its first frame, and counts what
// is written over of it. False when it is not wholly in `in`.
bool TakeAudioPacket(CKivDynaBuffer& in, Index at, CKivDynaBuffer& audio, Refused& refused,
                     unsigned& written) {
    const ByteSpan bytes = Bytes(in);
    const Index    size  = in.GetSize();
    if (at + 9 > size) return false;
    const Index packetLength  = static_cast<Index>(Read16(bytes, at + 4)) + 6;
    const Index payloadOffset = static_cast<Index>(Read8(bytes, at + 8)) + 9;
    if (at + packetLength > size) return false;
    const Index frame = refused.FindFrame(bytes, at + payloadOffset, at + packetLength);
    if (frame != kNone) {
        const Index dataLength = at + packetLength - frame;
        Check(dataLength != 0, 347, "audioDataLen Failed");
        // six more than ISO/IEC 13818-1 says, kept: receivers in the field expect the packet's whole length
        written += Write16(in, at + 4, static_cast<unsigned>(dataLength + payloadOffset));
        Empty(audio);
        Append(audio, Part(bytes, at, static_cast<std::size_t>(payloadOffset)));
        Append(audio, Part(bytes, frame, static_cast<std::size_t>(dataLength)));
    }
    Check(audio.GetSize() != 0, 353, "audioBuffer.GetSize() Failed");
    return true;
}

// Keeps of an MPEG-2 head what lies from its sequence header up to its first audio packet. Both searches go
// by the size of the whole head, and so does the cut where there is no audio, kept: other servers keep the
// same.
void KeepFromSequenceToAudio(CKivDynaBuffer& kept, ByteSpan head) {
    const Index bound = static_cast<Index>(head.size()) - 3;
    Append(kept, head);
    const StartCode sequence = FindCode(Bytes(kept), 0, {kSequence});
    RemoveHead(kept, sequence ? sequence.at : kept.GetSize());
    const StartCode audio = FindCode(Bytes(kept), 0, {kFirstAudio});
    const Index     end   = audio ? audio.at : bound;
    if (end >= 0) kept.ChopTail(static_cast<unsigned long>(end));
}

// The length of a system header: it ends where the audio begins. That of an MPEG-1 stream goes on with the
// video, and the audio between is cut out of it.
Index SystemHeaderLength(CKivDynaBuffer& head, Kiv_MEDIA_FORMAT_TYPE type) {
    const StartCode audio = FindCode(Bytes(head), 0, {kAudio});
    if (!audio) return head.GetSize();
    if (type != kKivFmt_Mpeg1System) return audio.at;
    const StartCode video = FindCode(Bytes(head), audio.at, {kVideo});
    if (!video) return audio.at;
    Remove(head, audio.at, video.at);
    return head.GetSize();
}

} // namespace

void CMpegStreamConcatenator::reset(int keepHeader) {
    if (keepHeader == 0) {
        m_header.ClearBuffer();
        m_headerFormatType = kKivFmt_Unknown;
        m_mp2SeqHead.ClearBuffer();
    }
    m_counts   = {};
    m_mp2Stage = kStageAwaitingGop;
    m_gop.ClearBuffer();
    m_packRemainder.ClearBuffer();
    m_gopHasSeqHead = 0;
    m_firstPull     = true;
    m_synced        = false;
    m_pending.ClearBuffer();
    m_delivered = 0;
    m_inBuffer.ClearBuffer();
    m_searched          = 0;
    m_remainderHasAudio = false;
    m_audioBuffer.ClearBuffer();
    m_ignoreAudioHeader = m_audioPackFound = m_dataPackFound = m_seqHeadFound = false;
    m_formatType                                                              = kKivFmt_Unknown;
    m_status                                                                  = PIPING_DATA;
}

int CMpegStreamConcatenator::SetHeader(CKivDynaBuffer& head, Kiv_MEDIA_FORMAT_TYPE type) {
    reset(0);
    m_formatType       = type;
    m_headerFormatType = type;
    m_status           = COLLECTING_DATA;
    switch (type) {
    case kKivFmt_Mp3: break; // has none
    case kKivFmt_Wmv:
    case kKivFmt_Asf:
    case kKivFmt_AsfStream:
    case kKivFmt_H264HikPlay:
    case kKivFmt_H264DhPlay:
    case kKivFmt_Avs: m_header = head; break;
    case kKivFmt_Mpeg2Program:
        KeepFromSequenceToAudio(m_mp2SeqHead, Bytes(head));
        m_header = head;
        break;
    default:
        const Index length = SystemHeaderLength(head, type);
        Append(m_header, Part(Bytes(head), 0, static_cast<std::size_t>(length)));
    }
    return 1;
}

// The format is forgotten here but the path is not, kept: only a new header makes MP3 and transport streams
// be searched for their own sync words again.
void CMpegStreamConcatenator::Rewinded() {
    reset(1);
    if (m_header.GetSize() != 0) m_status = COLLECTING_DATA;
}

long CMpegStreamConcatenator::CanPullData(long bytesWants) {
    return PendingSize() >= bytesWants ? 0 : bytesWants - PendingSize();
}

long CMpegStreamConcatenator::PullData(CKivDynaBuffer& data, long bytesWants) {
    Check(bytesWants >= 0, 516, "bytesWants>=0 Failed");
    bytesWants = std::max(bytesWants, 0L);
    switch (m_headerFormatType) {
    case kKivFmt_Wmv:
    case kKivFmt_AsfStream:
    case kKivFmt_Asf:
        if (!BeginAsf(data)) return 0;
        break;
    case kKivFmt_H264HikPlay:
    case kKivFmt_H264DhPlay:
        m_firstPull = false;
        m_synced    = true;
        break;
    case kKivFmt_Mpeg1System: BeginMpeg1(data); break;
    case kKivFmt_Mpeg2Program: return MP2ConcatHandler(data, bytesWants);
    default: return SpliceAndPipe(data, bytesWants);
    }
    return OutputData(data, bytesWants);
}

// Sends the header and drops what stands in front of the first data packet. False when the header is
// unusable.
bool CMpegStreamConcatenator::BeginAsf(CKivDynaBuffer& data) {
    if (m_firstPull) {
        if (AsfHeadAnalyse(m_header) == 0) return false;
        SendHeader();
        m_firstPull = false;
        m_synced    = false;
    }
    if (!m_synced) {
        const int packet = AsfPackHandler(data);
        DropEarly(data, packet == -1 ? data.GetSize() : packet);
    }
    return true;
}

// Sends the header and drops what stands in front of the first pack.
void CMpegStreamConcatenator::BeginMpeg1(CKivDynaBuffer& data) {
    if (m_firstPull) {
        SendHeader();
        m_firstPull = false;
        m_synced    = false;
    }
    if (m_synced) return;
    const StartCode pack = FindCode(Bytes(data), 0, {kPack});
    m_synced             = static_cast<bool>(pack);
    DropEarly(data, pack ? pack.at : data.GetSize());
}

long CMpegStreamConcatenator::SpliceAndPipe(CKivDynaBuffer& data, long bytesWants) {
    if (m_status == COLLECTING_DATA || m_status == CONCATENATING_DATA) {
        Append(m_inBuffer, Bytes(data));
        Empty(data);
        SettlePending();
        if (m_status == COLLECTING_DATA) m_status = Collect(m_inBuffer, m_pending, m_audioBuffer, m_searched);
        if (m_status == CONCATENATING_DATA) m_status = ConcatAudioHead(m_inBuffer, m_pending, m_audioBuffer);
        if (m_formatType == kKivFmt_Mp3 && m_status == COLLECTING_DATA) {
            // what was searched in vain never goes out
            DropEarly(m_inBuffer, static_cast<Index>(m_searched));
            m_searched = 0;
        }
        if (m_status != PIPING_DATA) return bytesWants;
        m_inBuffer.ClearBuffer();
    }
    Check(m_status == PIPING_DATA, 626, "m_status==PIPING_DATA Failed");
    return PipeData(data, bytesWants);
}

long CMpegStreamConcatenator::OutputData(CKivDynaBuffer& data, long bytesWants) {
    m_status = PIPING_DATA;
    return PipeData(data, bytesWants);
}

void CMpegStreamConcatenator::EndOfStream() {
    if (AppendPending(kStreamEnd)) m_counts.endBytes += sizeof kStreamEnd;
}

void CMpegStreamConcatenator::ReportStatus(CKivString& out) {
    static constexpr const char* kStates[] = {"UNKNOWN;", "COLLECTING_DATA;", "CONCATENATING_DATA;",
                                              "PIPING_DATA;"};
    const bool                   known     = m_status >= UNKNOWN && m_status <= PIPING_DATA;
    out                                    = "status=";
    out + (known ? kStates[m_status] : "default;");
    out + (m_ignoreAudioHeader ? "ignoreAudioHeader;" : "NotignoreAudioHeader;");
    out + "headerLen=" + m_header.GetSize() + ";audioPack=" + m_audioBuffer.GetSize()
        + ";"; // appends in place
    out + (m_audioPackFound ? "AudioPackFound;" : "AudioPackNotFound;");
    out + (m_dataPackFound ? "DataPackFound;" : "DataPackNotFound;");
    out + (m_seqHeadFound ? "SeqHeadFound;" : "SeqHeadNotFound;");
}

CONCAT_STATUS CMpegStreamConcatenator::CollectData(CKivDynaBuffer& in, CKivDynaBuffer& out,
                                                   CKivDynaBuffer& audio) {
    unsigned long searched = 0;
    return Collect(in, out, audio, searched);
}

// `searched`: how much of `in` need not be searched again for a sync word.
CONCAT_STATUS CMpegStreamConcatenator::Collect(CKivDynaBuffer& in, CKivDynaBuffer& out, CKivDynaBuffer& audio,
                                               unsigned long& searched) {
    Check(m_status == COLLECTING_DATA, 272, "m_status==COLLECTING_DATA Failed");
    const ByteSpan bytes = Bytes(in);
    const Index    size  = in.GetSize();
    if (m_formatType == kKivFmt_Mp3) {
        const AudioSearch frame = FindAudioFrame(bytes, 0, static_cast<Index>(searched), size, true);
        searched                = static_cast<unsigned long>(std::max<Index>(frame.resume, 0));
        if (frame.found == kNone) return COLLECTING_DATA;
        DropEarly(in, frame.found);
        Append(out, Bytes(in));
        return m_status = PIPING_DATA;
    }
    if (m_formatType == kKivFmt_Mpeg2Transport) {
        // a packet that starts at 0 does not count, kept: such a file joins at a later packet
        const Index packet = FindTransportPacket(bytes, 0, size, static_cast<Index>(searched));
        if (size >= kLeastTransport) searched = static_cast<unsigned long>(size);
        if (packet <= 0) return COLLECTING_DATA;
        DropEarly(in, packet);
        out                  = m_header;
        m_counts.headerBytes = static_cast<unsigned long long>(m_header.GetSize());
        Append(out, Bytes(in));
        return m_status = PIPING_DATA;
    }
    return CollectProgramStream(in, out, audio);
}

// Looks for a group of pictures behind a pack header, with an audio packet before it.
CONCAT_STATUS CMpegStreamConcatenator::CollectProgramStream(CKivDynaBuffer& in, CKivDynaBuffer& out,
                                                            CKivDynaBuffer& audio) {
    Check(m_header.GetSize() != 0, 303, "m_header.GetSize() Failed");
    const Index size         = in.GetSize();
    Index       partialAudio = kNone, save = kNone, lastPack = kNone;
    unsigned    written = 0; // behind the last pack's start, which is where the file begins to go out
    Refused     refused;
    for (StartCode code; (code = FindCode(Bytes(in), code.at + 1, {kPack, kGroup, kFirstAudio}));) {
        if (kPack.Has(code.id)) {
            m_dataPackFound = true;
            save = lastPack = code.at;
            written         = 0;
        } else if (kGroup.Has(code.id)) {
            m_seqHeadFound = true;
            if ((!m_ignoreAudioHeader && audio.GetSize() == 0) || lastPack == kNone) continue;
            if (code.at + kPackHeaderBytes <= size) {
                m_counts.rewritten += written;
                return Splice(in, out, audio, lastPack);
            }
            save = code.at;
        } else {
            m_audioPackFound       = true;
            const bool headerThere = code.at + 7 <= size;
            if (headerThere) m_ignoreAudioHeader = !IsMpeg2Packet(Bytes(in), code.at);
            if (headerThere && m_ignoreAudioHeader)
                Empty(audio);
            else if (!headerThere || !TakeAudioPacket(in, code.at, audio, refused, written))
                partialAudio = code.at;
        }
    }
    Check(m_status == COLLECTING_DATA, 460, "m_status == COLLECTING_DATA Failed");
    // what begins at 0 was there before and is given up, kept
    const Index cut = std::min(partialAudio < 1 ? size : partialAudio, save < 1 ? size : save);
    Check(cut > 0, 462, "saveDataIdx>0 Failed");
    DropEarly(in, cut);
    return COLLECTING_DATA;
}

// Begins the output anew: the header, the rebuilt audio packet, and the new file from its pack header on.
CONCAT_STATUS CMpegStreamConcatenator::Splice(CKivDynaBuffer& in, CKivDynaBuffer& out,
                                              const CKivDynaBuffer& audio, std::ptrdiff_t packAt) {
    out = m_header;
    Append(out, Bytes(audio));
    const ByteSpan       header = Part(Bytes(in), packAt, kPackHeaderBytes);
    const CKivDynaBuffer pack(header.data(), static_cast<unsigned long>(header.size()));
    DropEarly(in, packAt);
    RemoveHead(in, kPackHeaderBytes);
    Append(out, Bytes(pack));
    m_counts.headerBytes = static_cast<unsigned long long>(m_header.GetSize());
    m_counts.audioBytes  = static_cast<unsigned long long>(audio.GetSize());
    m_counts.clock       = AdjustClock(out, pack);
    m_counts.headerRewritten += kClockBytes;
    m_counts.clockWritten = true;
    return CONCATENATING_DATA;
}

CONCAT_STATUS CMpegStreamConcatenator::ConcatAudioHead(CKivDynaBuffer& in, CKivDynaBuffer& out,
                                                       CKivDynaBuffer& audio) {
    constexpr Index kStraddle = 4; // a start code may lie across the border of two pieces
    Check(m_status == CONCATENATING_DATA, 211, "m_status==CONCATENATING_DATA Failed");
    if (m_ignoreAudioHeader) {
        Empty(audio);
        Append(out, Bytes(in));
        return PIPING_DATA;
    }
    Check(audio.GetSize() != 0, 219, "audioBuffer.GetSize() Failed");
    if (FindCode(Bytes(in), 0, {kFirstAudio})) {
        Append(out, Bytes(in));
        Empty(audio);
        EjectBFramesInOutBuffer(out);
        return PIPING_DATA;
    }
    const Index size = in.GetSize();
    Check(size > kStraddle, 255, "inBuffer.GetSize()>4 Failed");
    if (size > kStraddle) {
        Append(out, Part(Bytes(in), 0, static_cast<std::size_t>(size - kStraddle)));
        RemoveHead(in, size - kStraddle);
    }
    return CONCATENATING_DATA;
}

long CMpegStreamConcatenator::PipeData(CKivDynaBuffer& data, long bytesWants) {
    Check(m_status == PIPING_DATA, 475, "m_status==PIPING_DATA Failed");
    Check(bytesWants >= 0, 476, "bytesWants>=0 Failed");
    bytesWants       = std::max(bytesWants, 0L);
    const long total = PendingSize() + data.GetSize();
    if (total == bytesWants && PendingSize() == 0) return 0;
    if (!AppendPending(Bytes(data))) return std::max(bytesWants - PendingSize(), 0L);
    Empty(data);
    if (total < bytesWants) return bytesWants - total;
    const ByteSpan output =
        Part(Bytes(m_pending), static_cast<Index>(m_delivered), static_cast<std::size_t>(bytesWants));
    data.SetBuffer(output.data(), static_cast<unsigned long>(output.size()));
    m_delivered += static_cast<unsigned long>(output.size());
    return 0;
}

// Appends to the pending output. What has gone out leaves it only when less remains than went out, so that a
// delivery costs what it delivers.
bool CMpegStreamConcatenator::AppendPending(std::span<const unsigned char> bytes) {
    if (bytes.empty()) return true;
    if (PendingSize() <= static_cast<long>(m_delivered)) SettlePending();
    return Append(m_pending, bytes);
}

void CMpegStreamConcatenator::SendHeader() {
    m_counts.headerBytes += static_cast<unsigned long long>(m_header.GetSize());
    AppendPending(Bytes(m_header));
}

// Drops the first `count` bytes, which lie before the splice point.
void CMpegStreamConcatenator::DropEarly(CKivDynaBuffer& data, Index count) {
    m_counts.droppedEarly += static_cast<unsigned long long>(std::clamp<Index>(count, 0, data.GetSize()));
    RemoveHead(data, count);
}

// Drops what has gone out from the front of the pending output.
void CMpegStreamConcatenator::SettlePending() {
    if (m_delivered == 0) return;
    RemoveHead(m_pending, static_cast<Index>(m_delivered));
    m_delivered = 0;
}

long CMpegStreamConcatenator::MP2ConcatHandler(CKivDynaBuffer& data, long bytesWants) {
    if (m_mp2Stage == kStageAwaitingGop) {
        if (GetGop(data, m_gop, m_gopHasSeqHead) == 0) return bytesWants;
        AdjustHeader(m_header, m_gop, m_gopHasSeqHead);
        SendHeader();
        m_mp2Stage = kStageTrimming;
    }
    if (m_mp2Stage == kStageTrimming) TrimAudio(data);
    return OutputData(data, bytesWants);
}

// Passes on pack by pack, without audio that is earlier than the group's video, until the audio has caught
// up; from then on everything passes. A pack is complete when the next one begins.
void CMpegStreamConcatenator::TrimAudio(CKivDynaBuffer& data) {
    Append(m_packRemainder, Bytes(data));
    Empty(data);
    const ByteSpan bytes = Bytes(m_packRemainder);
    const Index    tail  = std::max<Index>(m_packRemainder.GetSize() - 3, 0); // a start code may be cut here
    Index          taken = 0, searched = static_cast<Index>(m_searched);
    m_searched = 0;
    while (m_mp2Stage == kStageTrimming) {
        const StartCode begin = FindCode(bytes, taken, {kPack});
        StartCode       end;
        if (begin) end.at = std::max(begin.at, searched - 1);
        while (end) {
            end = FindCode(bytes, end.at + 1, {kPack, kAudio});
            if (!kAudio.Has(end.id)) break;
            m_remainderHasAudio = true;
        }
        if (!end) {
            const Index next = begin ? begin.at : std::max(taken, tail);
            m_counts.droppedEarly += static_cast<unsigned long long>(next - taken);
            taken      = next;
            m_searched = static_cast<unsigned long>(std::max<Index>(tail - taken, 0));
            break;
        }
        const ByteSpan whole = Part(bytes, begin.at, static_cast<std::size_t>(end.at - begin.at));
        m_counts.droppedEarly += static_cast<unsigned long long>(begin.at - taken);
        if (std::exchange(m_remainderHasAudio, false)) {
            CKivDynaBuffer pack(whole.data(), static_cast<unsigned long>(whole.size()));
            if (CutAudio(pack, m_gop) == 0) m_mp2Stage = kStagePiping;
            AppendPending(Bytes(pack));
        } else {
            AppendPending(whole);
        }
        taken = end.at;
    }
    if (m_mp2Stage == kStagePiping) {
        AppendPending(Part(bytes, taken));
        m_packRemainder.ClearBuffer();
    } else {
        RemoveHead(m_packRemainder, taken);
    }
}
