// MPEG audio files: their recognition by a run of frame headers, and their measures, from the information
// frame where that can be believed and from every frame header otherwise.
#include "MObjMp3Parser.h"

#include "ByteFields.h"
#include "MpegAudioFrame.h"
#include "MpegAudioTags.h"
#include "MpegCodes.h"
#include "StartCodes.h"
#include "StreamReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

using namespace kiv::mpeg;
using kiv::BigEndian;
using kiv::ByteSpan;
using kiv::StreamReader;

namespace {

// Bytes behind the ID3v2 tags in which the first frame must begin: taggers and downloads leave padding and
// pieces of frames, hardly more.
constexpr std::uint64_t kMostJunk = 65536;

// Consecutive headers that make an MPEG audio stream: at the very start, and behind bytes that are none,
// where 64 KiB of chances and other formats' audio ask for more.
constexpr unsigned kHeadersAtStart   = 3;
constexpr unsigned kHeadersAfterJunk = 10;

constexpr std::size_t BytesOfHeaders(unsigned headers) {
    return (headers - 1) * kMostAudioFrameBytes + kAudioHeaderBytes;
}

static_assert(BytesOfHeaders(kHeadersAfterJunk) <= StreamReader::kMost);

constexpr std::uint8_t kSyncByte = 0xFF;

// Containers whose audio may be MPEG audio, by how they start: the audio in them is theirs.
struct Signature {
    std::size_t      offset;
    std::string_view text;
};

constexpr Signature kContainers[] = {
    {0, "RIFF"},
    {0, "\x30\x26\xB2\x75"},
    {0, ".RMF"},
    {0, "OggS"},
    {0, "\x1A\x45\xDF\xA3"},
    {0, "FLV"},
    {4, "ftyp"},
    {4, "moov"},
    {4, "mdat"},
    {4, "wide"},
    {4, "free"},
    {4, "skip"},
    {4, "pnot"},
};

bool BeginsAsContainer(ByteSpan bytes) {
    return std::ranges::any_of(kContainers,
                               [&](const Signature& s) { return kiv::IsTextAt(bytes, s.offset, s.text); });
}

// The bytes from `at` on as they lie before `end`: at least `least`, or all that are left. Empty at the end.
ByteSpan BytesBefore(StreamReader& reader, std::uint64_t end, std::uint64_t at, std::size_t least) {
    if (at >= end) return {};
    const std::uint64_t left  = end - at;
    const ByteSpan      bytes = reader.At(at, static_cast<std::size_t>(std::min<std::uint64_t>(left, least)));
    return bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(left, bytes.size())));
}

struct Run {
    unsigned headers;  // that follow one another, each where the frame before ends
    bool     endsFile; // complete frames, with nothing but tags behind them
};

// Follows the frames from the first byte on, up to `most`. The bytes reach to the file's end, or hold as
// many headers.
Run FollowFrames(ByteSpan bytes, unsigned most) {
    const std::optional<AudioFrame> first = ReadAudioFrame(bytes);
    if (!first) return {0, false};
    Run run{0, false};
    while (run.headers < most) {
        const auto frame = ReadAudioFrame(bytes);
        if (!frame || !IsSameAudioStream(*frame, *first) || frame->mono != first->mono) break;
        ++run.headers;
        if (frame->sizeBytes > bytes.size()) return run;
        bytes = bytes.subspan(frame->sizeBytes);
    }
    run.endsFile = run.headers < most && AreBackTags(bytes);
    return run;
}

bool IsAudioAtStart(ByteSpan bytes) {
    const Run run = FollowFrames(bytes, kHeadersAtStart);
    return run.headers >= kHeadersAtStart || run.endsFile;
}

bool IsAudioAfterJunk(ByteSpan bytes) {
    const Run run = FollowFrames(bytes, kHeadersAfterJunk);
    return run.headers >= kHeadersAfterJunk || (run.endsFile && run.headers >= kHeadersAtStart);
}

// The first offset in [from, limit), limit <= end, at which `accepts` says yes to the bytes from there on, of
// which it sees `look` or all up to `end`; or limit. Only sync bytes are asked about.
template <class Accepts>
std::uint64_t FindSync(StreamReader& reader, std::uint64_t from, std::uint64_t limit, std::uint64_t end,
                       std::size_t look, Accepts accepts) {
    for (std::uint64_t at = from; at < limit;) {
        const ByteSpan bytes = BytesBefore(reader, end, at, look);
        if (bytes.empty()) break;
        const std::size_t seen       = bytes.size() == end - at ? bytes.size() : bytes.size() - (look - 1);
        const auto        candidates = static_cast<std::size_t>(std::min<std::uint64_t>(seen, limit - at));
        std::size_t       found      = kiv::FindByte(bytes.first(candidates), 0, kSyncByte);
        for (; found < candidates; found = kiv::FindByte(bytes.first(candidates), found + 1, kSyncByte)) {
            if (accepts(bytes.subspan(found))) return at + found;
        }
        at += candidates;
    }
    return limit;
}

// Whether the bytes in [from, end) hold a header of a program stream or of MPEG video: what follows is then a
// stream's audio, not an audio file.
bool HoldMpegHeaders(StreamReader& reader, std::uint64_t from, std::uint64_t end) {
    constexpr std::array kHeaders = {kPackCode, kSystemHeaderCode, kSequenceCode};
    kiv::StartCodes      codes(reader, from, end);
    while (const auto code = codes.Next()) {
        if (std::ranges::find(kHeaders, kPrefix << 8 | code->value) != kHeaders.end()) return true;
    }
    return false;
}

// The end of the zeros from `from` on, at most `limit`.
std::uint64_t SkipPadding(StreamReader& reader, std::uint64_t from, std::uint64_t limit) {
    for (std::uint64_t at = from; at < limit;) {
        const ByteSpan    bytes   = BytesBefore(reader, limit, at, 1);
        const std::size_t padding = kiv::FindOtherThan(bytes, 0, 0);
        at += padding;
        if (padding == 0 || padding < bytes.size()) return at;
    }
    return limit;
}

struct FirstFrame {
    std::uint64_t at;
    AudioFrame    frame;
};

// Nothing where the stream is no MPEG audio.
std::optional<FirstFrame> FindFirstFrame(StreamReader& reader) {
    constexpr std::size_t kLook = BytesOfHeaders(kHeadersAfterJunk);
    const std::uint64_t   tags  = EndOfFrontTags(reader);
    const std::uint64_t   end   = reader.Size();
    const std::uint64_t   limit = std::min(end, tags + kMostJunk + 1);
    const std::uint64_t   start = SkipPadding(reader, tags, limit);
    const ByteSpan        bytes = BytesBefore(reader, end, start, kLook);
    if (start < limit && IsAudioAtStart(bytes)) return FirstFrame{start, *ReadAudioFrame(bytes)};
    if (BeginsAsContainer(BytesBefore(reader, end, tags, kLook))) return std::nullopt;
    const std::uint64_t first = FindSync(reader, start, limit, end, kLook, IsAudioAfterJunk);
    if (first == limit || HoldMpegHeaders(reader, tags, first)) return std::nullopt;
    const auto frame = ReadAudioFrame(BytesBefore(reader, end, first, kAudioHeaderBytes));
    if (!frame) return std::nullopt; // the file shrinks while it is read
    return FirstFrame{first, *frame};
}

double SecondsOf(const AudioFrame& frame) { return 1.0 * frame.samples / frame.sampleRate; }

struct Totals {
    std::uint64_t frames  = 0;     // of audio
    double        seconds = 0;     // that these play
    std::uint64_t bytes   = 0;     // of these
    std::uint32_t bitRate = 0;     // that all have; 0 where they differ
    bool          cut     = false; // the last frame, by the file's end
};

// What the information frame in front tells, where that agrees with the file: nothing for a file without,
// or one that was cut, joined or changed since it was told.
std::optional<Totals> ReadTotals(StreamReader& reader, const FirstFrame& first, std::uint64_t end) {
    const ByteSpan bytes       = BytesBefore(reader, end, first.at, kAudioInformationBytes);
    const auto     information = ReadAudioInformation(bytes, first.frame);
    if (!information || information->frames == 0 || first.frame.sizeBytes > end - first.at)
        return std::nullopt;

    // some encoders count the information frame or the tags behind and some do not
    const std::uint64_t audioBytes = end - first.at - first.frame.sizeBytes;
    if (information->bytes < audioBytes || information->bytes > reader.Size() - first.at) return std::nullopt;
    const double average = static_cast<double>(audioBytes) / information->frames;
    if (!IsPossibleFrameSize(first.frame, average)) return std::nullopt;
    Totals totals{.frames  = information->frames,
                  .seconds = information->frames * SecondsOf(first.frame),
                  .bytes   = audioBytes};
    if (!information->isConstantBitRate) return totals;

    // an information frame has what size it needs: the frames behind have the bit rate
    const auto second =
        ReadAudioFrame(BytesBefore(reader, end, first.at + first.frame.sizeBytes, kAudioHeaderBytes));
    if (!second || !IsSameAudioStream(*second, first.frame)) return std::nullopt;
    constexpr double kPadding = 1;
    if (std::abs(average - second->sizeBytes) > kPadding) return std::nullopt;
    totals.bitRate = second->bitRate;
    return totals;
}

// Where the counting goes on from a place at which no frame of `stream` stands: at the next that another one,
// or the end, follows, or at the beginning of another stream, as in files that were joined.
std::uint64_t FindNextFrame(StreamReader& reader, const AudioFrame& stream, std::uint64_t from,
                            std::uint64_t end) {
    return FindSync(reader, from, end, end, BytesOfHeaders(kHeadersAfterJunk), [&](ByteSpan bytes) {
        const auto frame = ReadAudioFrame(bytes);
        if (!frame || frame->sizeBytes > bytes.size()) return false;
        if (!IsSameAudioStream(*frame, stream)) return IsAudioAfterJunk(bytes);
        const auto next = ReadAudioFrame(bytes.subspan(frame->sizeBytes));
        return next ? IsSameAudioStream(*next, stream) : frame->sizeBytes == bytes.size();
    });
}

// Counts every frame, over damage too; a frame that `end` cuts counts, as decoders play it.
Totals CountFrames(StreamReader& reader, const FirstFrame& first, std::uint64_t end) {
    Totals     totals;
    AudioFrame stream = first.frame;
    for (std::uint64_t at = first.at; at < end;) {
        const ByteSpan bytes = BytesBefore(reader, end, at, kAudioInformationBytes);
        const auto     frame = ReadAudioFrame(bytes);
        if (!frame || !IsSameAudioStream(*frame, stream)) {
            at     = FindNextFrame(reader, stream, at, end);
            stream = ReadAudioFrame(BytesBefore(reader, end, at, kAudioHeaderBytes)).value_or(stream);
            continue;
        }
        if (!ReadAudioInformation(bytes, *frame)) {
            totals.bitRate = totals.frames == 0 || totals.bitRate == frame->bitRate ? frame->bitRate : 0;
            totals.bytes += std::min<std::uint64_t>(frame->sizeBytes, end - at);
            totals.seconds += SecondsOf(*frame);
            ++totals.frames;
        }
        totals.cut = frame->sizeBytes > end - at && end == reader.Size();
        at += frame->sizeBytes;
    }
    return totals;
}

} // namespace

Kiv_MEDIA_FORMAT_TYPE CMObjMp3Parser::ParseBitStream(CKivBitStream* stream, int quick) {
    StreamReader reader(*stream);
    const auto   first = FindFirstFrame(reader);
    m_mediaType        = !first ? kKivFmt_Unknown : first->frame.layer == 3 ? kKivFmt_Mp3 : kKivFmt_MpegAudio;
    if (quick != 0) return m_mediaType;

    ClearMeasures();
    if (!first) return m_mediaType;
    const std::uint64_t end    = StartOfBackTags(reader, first->at);
    const auto          told   = ReadTotals(reader, *first, end);
    const Totals        totals = told ? *told : CountFrames(reader, *first, end);
    const double        frames = static_cast<double>(totals.frames);
    const double average = totals.frames > 0 ? static_cast<double>(totals.bytes) * 8 / totals.seconds : 0;
    const auto   origin  = told ? kKivOrigin_Declared : kKivOrigin_Counted;
    const double bitRate = totals.bitRate != 0 ? totals.bitRate : average;
    SetMeasures({frames, origin}, {totals.seconds, origin}, {bitRate, origin});
    m_truncated = totals.cut;
    return m_mediaType;
}
