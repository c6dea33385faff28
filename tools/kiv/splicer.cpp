// Driving the concatenator.
#include "splicer.h"

#include "bytesource.h"
#include "names.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>

namespace tool {

namespace {

// What the concatenator gets at a time while it looks for a place to join: it looks within such a piece.
constexpr std::size_t kBlockBytes = 1 << 18;

// The same of a transport stream: where a piece begins with such a place, the rest of the piece is passed
// over.
constexpr std::size_t kTransportPiece = 7 * 188;

// The most of a file that may wait in memory for a place to join.
constexpr std::int64_t kMostWaiting = 1 << 20;

// How much of the first file is searched for its stream header: a file may lack a part of it, and would be
// searched to its end.
constexpr std::size_t kHeaderSearched = 1 << 20;

// The longest header of ASF that is taken: each seam repeats it.
constexpr std::uint64_t kMostAsfHeader = 1 << 21;

constexpr long kAll = std::numeric_limits<long>::max();

// With a row for each format whose files can be joined. docs/splicing.md tells why each is joined so.
constexpr SpliceWay kWays[] = {
    {kKivFmt_Mpeg1System, kKivFmt_Mpeg1System, false, true},
    {kKivFmt_Mpeg1Vcd, kKivFmt_Mpeg1System, false, true}, // packs between the borders of sectors
    {kKivFmt_Mpeg2Program, kKivFmt_Mpeg2Program, false, true},
    {kKivFmt_Mpeg2System, kKivFmt_Mpeg2System, false, true},
    {kKivFmt_Mpeg2Transport, kKivFmt_Mpeg2Transport, true, false},
    {kKivFmt_Mp3, kKivFmt_Mp3, true, false},
    {kKivFmt_MpegAudio, kKivFmt_Mp3, true, false}, // the search for frames knows all layers
    {kKivFmt_Asf, kKivFmt_Asf, false, false},
    {kKivFmt_Wmv, kKivFmt_Asf, false, false},
    {kKivFmt_H264Mp4, kKivFmt_H264HikPlay, false, false}, // everything passes
    {kKivFmt_H264HikPlay, kKivFmt_H264HikPlay, false, false},
    {kKivFmt_H264DhPlay, kKivFmt_H264DhPlay, false, false},
    {kKivFmt_Avs, kKivFmt_H264HikPlay, false, false}, // as itself it would be searched for packs
};

// Elementary streams, which repeat what a player has to know before it.
bool HasStreamHeader(const SpliceWay& way) {
    return way.as != kKivFmt_Mp3 && way.as != kKivFmt_H264HikPlay && way.as != kKivFmt_H264DhPlay;
}

[[noreturn]] void Refuse(const SpliceInput& input, const std::string& reason) {
    throw std::runtime_error(Shown(input.path) + ": " + reason);
}

// Counts the library's checks that fail, in place of the pop-ups that would announce them. One at a time.
class FailedChecks {
public:
    FailedChecks() {
        s_count = 0;
        KivSetPopUpHandler(Count);
    }

    FailedChecks(const FailedChecks&)            = delete;
    FailedChecks& operator=(const FailedChecks&) = delete;

    ~FailedChecks() { KivSetPopUpHandler(nullptr); }

    // Those since the last call.
    void MoveTo(SpliceAccount& account) {
        account.failedChecks = s_count;
        if (s_count != 0) account.firstFailedCheck = s_first.data();
        s_count = 0;
    }

private:
    static inline unsigned              s_count = 0;
    static inline std::array<char, 256> s_first;

    static void Count(const char* /*title*/, const char* text) {
        if (s_count++ == 0) std::snprintf(s_first.data(), s_first.size(), "%s", text);
    }
};

// The header object that the file begins with, and the fixed fields of the data object behind it, without
// which no reader finds the packets. Empty where they are not there.
CKivDynaBuffer ReadAsfHeader(const SpliceInput& input, ByteSource& source) {
    constexpr std::size_t      kSizeAt = 16, kObjectBytes = 24, kDataObjectBytes = 50;
    std::vector<unsigned char> bytes(kObjectBytes);
    if (source.Fill(bytes) < kObjectBytes) return {};
    std::uint64_t size = 0;
    for (std::size_t i = 8; i-- > 0;) size = size << 8 | bytes[kSizeAt + i];
    if (size > input.bytes || size < kObjectBytes) return {};
    if (size > kMostAsfHeader)
        Refuse(input, "has a stream header of more than " + std::to_string(kMostAsfHeader) + " bytes");
    bytes.resize(static_cast<std::size_t>(size) + kDataObjectBytes);
    const std::size_t behind = source.Fill(std::span(bytes).subspan(kObjectBytes));
    return {bytes.data(), static_cast<unsigned long>(kObjectBytes + behind)};
}

// What `kiv header` gives of the file.
CKivDynaBuffer ReadProgramHeader(ByteSource& source) {
    CKivDynaBuffer             header;
    std::vector<unsigned char> start(kHeaderSearched + 1); // the reader of bits may touch a byte more
    const std::size_t          size = source.Fill(std::span(start).first(kHeaderSearched));
    CKivBitStream              stream;
    CMObjMpgSystemParser       parser;
    stream.SourceFromBuffer(start.data(), static_cast<int>(size));
    parser.getHeader(&stream, &header);
    return header;
}

// The first file's stream header, as a server keeps it; empty where the format has none.
CKivDynaBuffer ReadHeader(const SpliceInput& input, const SpliceWay& way) {
    if (!HasStreamHeader(way)) return {};
    ByteSource     source(input.name);
    CKivDynaBuffer header = way.as == kKivFmt_Asf ? ReadAsfHeader(input, source) : ReadProgramHeader(source);
    if (header.GetSize() == 0 && !way.headerEachFile) Refuse(input, "has no stream header");
    return header;
}

// The length of the ID3v2 tag that the file begins with: a picture in it may look like sound. 0 where there
// is none, or nothing behind it.
std::uint64_t FrontTagBytes(const SpliceInput& input, const SpliceWay& way) {
    constexpr std::size_t kHeaderBytes = 10, kFlagsAt = 5, kSizeAt = 6;
    constexpr unsigned    kFooterFlag = 0x10;
    unsigned char         bytes[kHeaderBytes];
    ByteSource            source(input.name);
    if (way.as != kKivFmt_Mp3 || source.Fill(bytes) < kHeaderBytes || std::memcmp(bytes, "ID3", 3) != 0)
        return 0;
    std::uint64_t size = (bytes[kFlagsAt] & kFooterFlag) != 0 ? 2 * kHeaderBytes : kHeaderBytes;
    for (std::size_t i = 0; i < 4; ++i) size += std::uint64_t{bytes[kSizeAt + i] & 0x7FU} << (21 - 7 * i);
    return size < input.bytes ? size : 0;
}

class Splicer {
public:
    Splicer(const SpliceWay& way, const CKivDynaBuffer& header, long chunkBytes, OutputFile& output)
        : m_way(way), m_header(header), m_chunk(chunkBytes), m_output(output), m_block(kBlockBytes) {}

    template <class Show> SpliceAccount Add(const SpliceInput& input, Show show) {
        Begin();
        m_tag = FrontTagBytes(input, m_way);
        ByteSource source(input.name);
        while (m_account.bytes < input.bytes) {
            const auto left = static_cast<std::size_t>(
                std::min<std::uint64_t>(input.bytes - m_account.bytes, m_block.size()));
            const std::size_t got = source.Fill(std::span(m_block).first(left));
            const auto        tag = static_cast<std::size_t>(
                std::min<std::uint64_t>(m_tag - std::min(m_tag, m_account.bytes), got));
            m_account.bytes += got;
            Feed(std::span(m_block).first(got).subspan(tag));
            if (got < left) Refuse(input, "has become shorter while it was read");
            CheckProgress(input);
            show(m_account.bytes);
        }
        Drain();
        ReleaseLastPack();
        m_failedChecks.MoveTo(m_account);
        if (m_account.Passed() == 0) Refuse(input, "no place to join it was found");
        return m_account;
    }

    // Ends the stream. Returns the account of the last file, with what ends the stream.
    SpliceAccount End() {
        if (!m_way.endCode) return m_account;
        m_concatenator.EndOfStream();
        Drain();
        return m_account;
    }

private:
    const SpliceWay&           m_way;
    const CKivDynaBuffer       m_header;
    const long                 m_chunk;
    OutputFile&                m_output;
    std::vector<unsigned char> m_block;
    CMpegStreamConcatenator    m_concatenator;
    CKivDynaBuffer             m_data; // goes in with input and comes out with output
    FailedChecks               m_failedChecks;
    SpliceAccount              m_account;     // of the file under way
    std::uint64_t              m_tag     = 0; // the bytes in front that the concatenator does not get
    bool                       m_isFirst = true;

    void Begin() {
        m_account      = {};
        m_account.seam = m_output.Size();
        if (m_isFirst || m_way.headerEachFile) {
            CKivDynaBuffer header = m_header; // is cut where it is taken
            m_concatenator.SetHeader(header, m_way.as);
        } else {
            m_concatenator.Rewinded();
        }
        m_isFirst = false;
    }

    // All at once until something of the file goes out, for the place to join is sought in what comes
    // together; then what the next piece lacks, which passes through without being stored.
    void Feed(std::span<const unsigned char> bytes) {
        const bool isJoined = m_account.sent > m_account.counts.headerBytes + m_account.counts.audioBytes;
        const std::size_t together = m_way.as == kKivFmt_Mpeg2Transport ? kTransportPiece : kBlockBytes;
        while (!bytes.empty()) {
            const auto lacking = static_cast<std::size_t>(std::max(m_concatenator.CanPullData(m_chunk), 1L));
            const std::size_t step = std::min(bytes.size(), isJoined ? lacking : together);
            m_data.SetBuffer(bytes.data(), static_cast<unsigned long>(step));
            bytes = bytes.subspan(step);
            m_concatenator.PullData(m_data, m_chunk);
            while (m_data.GetSize() != 0) {
                Deliver();
                if (m_concatenator.CanPullData(m_chunk) != 0) break;
                m_data.ChopTail(0);
                m_concatenator.PullData(m_data, m_chunk);
            }
        }
    }

    // A header that the concatenator cannot use does not go out, and a file without a place to join waits for
    // one in memory.
    void CheckProgress(const SpliceInput& input) {
        Count();
        if (m_account.sent != 0 && m_header.GetSize() != 0 && m_account.counts.headerBytes == 0)
            Refuse(input, "does not go with the first file's stream header");
        if (static_cast<std::int64_t>(m_account.Withheld()) > kMostWaiting + m_chunk)
            Refuse(input, "no place to join it was found in its first " + std::to_string(m_account.bytes)
                              + " bytes");
    }

    // What is pending, which is lost when the next file begins; at most so many bytes.
    void Drain(long most = kAll) {
        const long pending = std::min(Pending(), most);
        if (pending != 0) {
            m_data.ChopTail(0);
            m_concatenator.OutputData(m_data, pending);
            Deliver();
        }
        Count();
    }

    long Pending() { return kAll - m_concatenator.CanPullData(kAll); }

    void Count() {
        m_account.counts = m_concatenator.GetSpliceCounts();
        m_account.counts.droppedEarly += m_tag;
    }

    // Where no audio has caught up with the video, a pack waits for the start of the next one: that of the
    // file's last pack is made up here, and lost when the next file begins. Where audio catches up in that
    // very pack, it is pending behind it.
    void ReleaseLastPack() {
        static constexpr unsigned char kPackStart[] = {0, 0, 1, 0xBA};
        if (m_way.as != kKivFmt_Mpeg2Program || m_account.Passed() == 0 || m_account.Withheld() == 0) return;
        const auto withheld = static_cast<long>(m_account.Withheld());
        m_data.SetBuffer(kPackStart, sizeof kPackStart);
        m_concatenator.PullData(m_data, 0);
        Drain(withheld);
        m_data.ChopTail(0);
        m_concatenator.OutputData(m_data, Pending()); // and goes nowhere
    }

    void Deliver() {
        const auto bytes = static_cast<std::size_t>(m_data.GetSize());
        m_output.Write(m_data.GetBufferPtr(), bytes);
        m_account.sent += bytes;
    }
};

} // namespace

const SpliceWay* FindSpliceWay(Kiv_MEDIA_FORMAT_TYPE format) {
    const SpliceWay* way = std::ranges::find(kWays, format, &SpliceWay::format);
    return way != std::end(kWays) ? way : nullptr;
}

std::vector<SpliceAccount> Splice(const std::vector<SpliceInput>& inputs, const SpliceWay& way,
                                  long chunkBytes, OutputFile& output, Progress& progress) {
    std::uint64_t total = 0, done = 0;
    for (const SpliceInput& input : inputs) total += input.bytes;
    std::vector<SpliceAccount> accounts;
    Splicer                    splicer(way, ReadHeader(inputs.front(), way), chunkBytes, output);
    for (const SpliceInput& input : inputs) {
        const std::string label = Shown(input.path);
        accounts.push_back(
            splicer.Add(input, [&](std::uint64_t bytes) { progress.Show(done + bytes, total, label); }));
        done += input.bytes;
    }
    accounts.back() = splicer.End();
    return accounts;
}

} // namespace tool
