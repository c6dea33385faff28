// The choice of the parser.
#include "MObjParserMgr.h"

#include "KivPathParser.h"
#include "MObjASFParser.h"
#include "MObjAviParser.h"
#include "MObjH264Parser.h"
#include "MObjMp3Parser.h"
#include "MObjMpeg4Parser.h"
#include "MObjMpgParser.h"
#include "MObjQTParser.h"
#include "MObjRMParser.h"
#include "MObjUnknownParser.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <type_traits>
#include <vector>

namespace {

using ParserPtr  = std::unique_ptr<CMObjBaseParser>;
using MakeParser = ParserPtr (*)();

// Null without memory, which counts as the parser failing.
template <class Parser> ParserPtr Make() { return ParserPtr(new (std::nothrow) Parser); }

// The order of the trials, in which the first success wins. Checking stops after MP3.
constexpr std::array<MakeParser, 8> kTrials = {
    Make<CMObjAviParser>,       Make<CMObjMpg1VideoParser>,    Make<CMObjMpg1VcdParser>,
    Make<CMObjMpgSystemParser>, Make<CMObjMpgTransportParser>, Make<CMObjMp3Parser>,
    Make<CMObjMpeg4Parser>,     Make<CMObjH264Parser>,
};
constexpr std::size_t kTrialsOfChecking = 6;

// A copy of a caller's memory block: a stream over it may overwrite its first bytes and read a byte behind
// it.
class BlockCopy {
public:
    BlockCopy(const unsigned char* data, int length)
        : m_length(length), m_bytes(static_cast<std::size_t>(length) + 1) {
        std::copy_n(data, length, m_bytes.begin());
        std::copy_n(data, std::min(length, static_cast<int>(m_start.size())), m_start.begin());
    }

    // Opens `stream` on the block as it was given.
    void Open(CKivBitStream& stream) {
        std::copy_n(m_start.begin(), std::min(m_length, static_cast<int>(m_start.size())), m_bytes.begin());
        stream.SourceFromBuffer(m_bytes.data(), m_length);
    }

private:
    int                          m_length;
    std::vector<unsigned char>   m_bytes; // with one spare byte
    std::array<unsigned char, 4> m_start{};
};

} // namespace

template <class Rewind>
Kiv_MEDIA_FORMAT_TYPE CMObjParserMgr::CheckByTrials(CKivBitStream* stream, Rewind rewind) {
    for (const MakeParser make : std::span(kTrials).first(kTrialsOfChecking)) {
        rewind();
        m_parser.reset();
        m_parser = make();
        if (!m_parser) continue;
        const Kiv_MEDIA_FORMAT_TYPE type = m_parser->QuickCheck(stream);
        if (type != kKivFmt_Unknown) return type;
    }
    m_parser.reset();
    return kKivFmt_Unknown;
}

template <class Rewind> CMObjBaseParser* CMObjParserMgr::ParseByTrials(CKivBitStream* stream, Rewind rewind) {
    for (const MakeParser make : kTrials) {
        rewind();
        m_parser.reset();
        m_parser = make();
        if (m_parser && m_parser->ParseFile(stream) != kKivFmt_Unknown) return m_parser.get();
    }
    rewind();
    if (HoldUnknown() != nullptr) m_parser->ParseFile(stream);
    return m_parser.get();
}

CMObjBaseParser* CMObjParserMgr::HoldUnknown() {
    m_parser.reset();
    m_parser = Make<CMObjUnknownParser>();
    return m_parser.get();
}

CMObjBaseParser* CMObjParserMgr::parseBitStream(CKivBitStream* stream) {
    if (stream == nullptr) return HoldUnknown();
    return ParseByTrials(stream, [&] { stream->BytesJump(0); });
}

Kiv_MEDIA_FORMAT_TYPE CMObjParserMgr::checkBitStreamFormat(CKivBitStream* stream) {
    if (stream == nullptr) return kKivFmt_Unknown;
    return CheckByTrials(stream, [&] { stream->BytesJump(0); });
}

// Runs `work`, which starts with no parser held; without memory it ends as for a file that is not known.
template <class Work> auto CMObjParserMgr::OrUnknown(Work work) -> decltype(work()) {
    m_parser.reset();
    try {
        return work();
    } catch (const std::bad_alloc&) {
        m_parser.reset();
        if constexpr (std::is_pointer_v<decltype(work())>)
            return HoldUnknown();
        else
            return kKivFmt_Unknown;
    }
}

CMObjBaseParser* CMObjParserMgr::parse(const char* path) {
    return OrUnknown([&] {
        CKivBitStream stream;
        if (stream.SourceFromFile(path) == 0) return HoldUnknown();
        return ParseByExtension(path, CPathParser(path, 0).GetExtName(), &stream);
    });
}

// Runs the one parser that the extension names, or all by turns.
CMObjBaseParser* CMObjParserMgr::ParseByExtension(const char* path, const char* extension,
                                                  CKivBitStream* stream) {
    const Kiv_MEDIA_FORMAT_TYPE named = Kiv_GuessFormatTypeByExtension(extension);
    switch (named) {
    case kKivFmt_Asf:
    case kKivFmt_Wmv:
        m_parser = Make<CMObjASFParser>();
        if (m_parser) m_parser->SetMediaType(named);
        break;
    case kKivFmt_RealMedia: m_parser = Make<CMObjRMParser>(); break;
    case kKivFmt_QuickTime: m_parser = Make<CMObjQTParser>(); break;
    case kKivFmt_Mpeg4: m_parser = Make<CMObjMpeg4Parser>(); break;
    case kKivFmt_H264Mp4: {
        std::unique_ptr<CMObjH264Parser> parser(new (std::nothrow) CMObjH264Parser);
        if (parser) parser->SetFileName(path); // a playback library opens the file by itself
        m_parser = std::move(parser);
        break;
    }
    default: return parseBitStream(stream);
    }
    if (m_parser) m_parser->ParseFile(stream); // the extension alone decides, whatever this finds
    return m_parser.get();
}

CMObjBaseParser* CMObjParserMgr::parse(const unsigned char* data, int length) {
    return OrUnknown([&]() -> CMObjBaseParser* {
        if (data == nullptr || length < 1) return HoldUnknown();
        BlockCopy     block(data, length);
        CKivBitStream stream;
        return ParseByTrials(&stream, [&] { block.Open(stream); });
    });
}

Kiv_MEDIA_FORMAT_TYPE CMObjParserMgr::checkFormat(const char* path) {
    return OrUnknown([&] {
        // not read, kept: callers of the quick check have never been told of ASF files
        const CPathParser parts(path, 0);
        if (Kiv_GuessFormatTypeByExtension(parts.GetExtName()) == kKivFmt_Asf) return kKivFmt_Unknown;
        CKivBitStream stream;
        return stream.SourceFromFile(path) == 0 ? kKivFmt_Unknown : checkBitStreamFormat(&stream);
    });
}

Kiv_MEDIA_FORMAT_TYPE CMObjParserMgr::checkFormat(const unsigned char* data, int length) {
    return OrUnknown([&] {
        if (data == nullptr || length < 1) return kKivFmt_Unknown;
        BlockCopy     block(data, length);
        CKivBitStream stream;
        return CheckByTrials(&stream, [&] { block.Open(stream); });
    });
}
