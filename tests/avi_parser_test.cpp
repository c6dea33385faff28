// The AVI parser: what the headers tell, and what wrong ones do.
#include "media.h"

#include <cmath>

namespace {

using namespace test;

// A chunk with the padding that an odd size asks for.
Bytes Chunk(std::string_view id, const Bytes& content) {
    return Join({Text(id), Little(content.size()), content, Bytes(content.size() % 2)});
}

Bytes List(const char* type, const Bytes& content) { return Chunk("LIST", Join({Text(type), content})); }

Bytes IndexEntry(std::string_view id, unsigned size) { return Join({Text(id), Bytes(8), Little(size)}); }

struct AviStream {
    const char* type  = "vids";
    unsigned    scale = 1, rate = 25, length = 0;
    Bytes       format = Bytes(40);

    Bytes Get() const {
        const auto head =
            Join({Text(type), Bytes(16), Little(scale), Little(rate), Bytes(4), Little(length)});
        return List("strl", Join({Chunk("strh", head), Chunk("strf", format)}));
    }
};

struct AviFile {
    unsigned               microSecPerFrame = 40000, totalFrames = 0, extendedFrames = 0;
    std::vector<AviStream> streams      = {};
    Bytes                  beforeHeader = {}, index = {};
    std::size_t            mainHeaderBytes = 56;

    Bytes HeaderList() const {
        const Bytes main    = Join({Little(microSecPerFrame), Bytes(12), Little(totalFrames), Bytes(36)});
        Bytes       content = Chunk("avih", First(main, mainHeaderBytes));
        for (const AviStream& stream : streams) content = Join({content, stream.Get()});
        return List("hdrl", Join({content, List("odml", Chunk("dmlh", Little(extendedFrames)))}));
    }

    Bytes Get() const {
        const Bytes movie = Join({Chunk("JUNK", Bytes(37)), List("movi", Bytes(1000, 'm'))});
        return Chunk("RIFF", Join({Text("AVI "), beforeHeader, HeaderList(), movie, Chunk("idx1", index)}));
    }
};

constexpr unsigned kHuge = 0xFFFFFFFF;

// 2 s and 3 s
const AviStream kFilm{.length = 50}, kSound{.type = "auds", .rate = 44100, .length = 132300};

void ExpectMeasures(const AviFile& file, unsigned long frames, float seconds) {
    const Media  media = Identify(file.Get());
    const double bits  = static_cast<double>(file.Get().size()) * 8;
    const auto   rate  = static_cast<unsigned long>(seconds > 0 ? bits / seconds : 0);
    EXPECT_EQ(media, (Media{kKivFmt_Avi, frames, seconds, rate}));
}

TEST(AviParser, MeasuresByTheBestThatTheFileTells) {
    // the first video stream and the longest of all; sound alone by its blocks
    ExpectMeasures({.streams = {kSound, kFilm, {.length = 400}}}, 50, 16);
    ExpectMeasures({.streams = {{.scale = kHuge, .rate = 1, .length = kHuge}}}, kHuge, 1.8446744e19F);
    ExpectMeasures({.streams = {{.type = "iavs", .length = 25}}}, 25, 1);
    ExpectMeasures({.totalFrames = 9, .streams = {kSound}}, 132300, 3);
    // rate or scale missing: the main header's time a frame, the sound's nAvgBytesPerSec and nBlockAlign
    ExpectMeasures({.microSecPerFrame = 20000, .streams = {{.rate = 0, .length = 50}}}, 50, 1);
    ExpectMeasures({.microSecPerFrame = 0, .streams = {{.scale = 0, .length = 50}}}, 50, 0);
    const Bytes format = Join({Bytes(8), Little(1000), Little(10, 2), Bytes(2)});
    ExpectMeasures({.streams = {{.type = "auds", .rate = 0, .length = 300, .format = format}}}, 300, 3);
    // length missing, as in a recording that was broken off: all RIFF lists', then the first one's
    ExpectMeasures({.totalFrames = 25, .extendedFrames = 75, .streams = {{}}}, 75, 3);
    ExpectMeasures({.totalFrames = 25}, 25, 1);
    // pictures that the index lists as empty; an index of part of the stream
    const Bytes listed = Join({IndexEntry("00wb", 0), IndexEntry("01dc", 100), IndexEntry("01pc", 0),
                               IndexEntry("01dc", 0), IndexEntry("00dc", 0), IndexEntry("01db", 5)});
    ExpectMeasures({.streams = {kSound, {.length = 3}}, .index = listed}, 2, 3);
    ExpectMeasures({.streams = {kSound, {.length = 4}}, .index = listed}, 4, 3);
    // no more than it needs, behind a chunk of odd size
    ExpectMeasures({.streams = {kFilm}, .beforeHeader = Chunk("JUNK", {1}), .mainHeaderBytes = 40}, 50, 2);
}

TEST(AviParser, WantsRiffFormAndMainHeader) {
    for (const auto& [at, text] :
         {std::pair{0U, "RIFX"}, {8U, "AVIX"}, {8U, "WAVE"}, {12U, "JUNK"}, {20U, "xxxx"}, {24U, "strh"}})
        EXPECT_EQ(Identify(With(AviFile{.streams = {kFilm}}.Get(), at, Text(text))), Media{}) << text;
    EXPECT_EQ(Identify(AviFile{.mainHeaderBytes = 39}.Get()), Media{});
    EXPECT_EQ(Identify(AviFile{.beforeHeader = Bytes(7 * 8)}.Get()).type, kKivFmt_Avi) << "seven chunks";
    EXPECT_EQ(Identify(AviFile{.beforeHeader = Bytes(8 * 8)}.Get()), Media{}) << "too far behind";
}

// Recognised from the main header's last field on, measured as the whole from the header list's end on, and
// never read behind the cut. Every chunk's size made wrong by turns: only a header list or main header that
// ends early is refused, and sizes outside the header list change nothing.
TEST(AviParser, BearsCutsAndLyingSizes) {
    const AviFile     film{.totalFrames = 50, .streams = {kFilm, kSound}, .index = Bytes(16)};
    const Bytes       whole      = film.Get();
    const Media       honest     = IdentifyBlock(whole);
    const std::size_t headersEnd = 12 + film.HeaderList().size();
    for (std::size_t size = 1; size < whole.size(); ++size) {
        const Media media = IdentifyBlock(First(whole, size));
        ASSERT_EQ(media.frames, size < 12 + 12 + 8 + 40 ? 0 : 50) << size;
        ASSERT_TRUE(size < headersEnd || media.seconds == honest.seconds) << size << ": " << media;
    }
    for (std::size_t at = 0; at + 8 <= whole.size(); ++at) {
        const std::string id(whole.data() + at, whole.data() + at + 4);
        if (std::string("RIFF|LIST|avih|strh|strf|dmlh|JUNK|idx1").find(id) == std::string::npos) continue;
        for (const unsigned size : {0U, 1U, 3U, 4U, 39U, 0x7FFFFFFFU, kHuge - 1, kHuge}) {
            const Media media = IdentifyBlock(With(whole, at + 4, Little(size)));
            const bool  early = (at == 12 || id == "avih") && size < 40;
            ASSERT_EQ(media.type, early ? 0 : kKivFmt_Avi) << id << ' ' << size;
            ASSERT_TRUE((at >= 12 && at < headersEnd) || media == honest) << id << size << ": " << media;
        }
    }
}

// A film whose index does not list it: header list, then lists as they come.
struct LooseFilm {
    unsigned length       = 0;
    Bytes    lists        = {}; // behind the header list
    unsigned riffSize     = 0;
    Bytes    openDmlIndex = {};

    Bytes Get() const {
        const AviStream film{.length = length};
        const Bytes     head = Chunk("avih", Join({Little(40000), Bytes(52)}));
        Bytes           list = film.Get();
        if (!openDmlIndex.empty()) {
            const Bytes strh =
                Join({Text(film.type), Bytes(16), Little(1), Little(25), Bytes(4), Little(length)});
            list = List("strl", Join({Chunk("strh", strh), Chunk("indx", openDmlIndex)}));
        }
        return Join({Text("RIFF"), Little(riffSize), Text("AVI "), List("hdrl", Join({head, list})), lists});
    }
};

// Three pictures, one of them empty, and other chunks; in all 68 bytes.
const Bytes kPictures = Join({Chunk("00dc", {1, 2, 3}), Chunk("00dc", {}), Chunk("00pc", {1, 2}),
                              Chunk("01wb", {5, 5}), Chunk("JUNK", Bytes(4)), Chunk("00db", {9, 9})});

struct Measured {
    unsigned long frames, chunks;
    int           origin; // of the frames
    bool          isCut = false;

    bool operator==(const Measured&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Measured& m) {
        return out << m.frames << " frames of " << m.chunks << ", " << m.origin << ", " << m.isCut;
    }
};

Measured Measure(Bytes bytes) {
    bytes.push_back(0);
    CKivBitStream  stream;
    CMObjAviParser parser;
    stream.SourceFromBuffer(bytes.data(), static_cast<int>(bytes.size() - 1));
    parser.ParseFile(&stream);
    return {parser.GetFrames(), static_cast<unsigned long>(std::lround(parser.GetDuration() * 25)),
            parser.GetFramesOrigin(), parser.IsTruncated()};
}

constexpr int kCounted = kKivOrigin_Counted, kDeclared = kKivOrigin_Declared;

TEST(AviParser, CountsChunksWhereNoIndexTellsThem) {
    const Bytes movie = List("movi", kPictures);
    EXPECT_EQ(Measure(LooseFilm{.lists = movie}.Get()), (Measured{2, 3, kCounted}));
    EXPECT_EQ(Measure(LooseFilm{.length = 3, .lists = movie}.Get()), (Measured{2, 3, kCounted}));
    EXPECT_EQ(Measure(LooseFilm{.length = 900, .lists = movie}.Get()), (Measured{2, 3, kCounted}));
    const Bytes index =
        Chunk("idx1", Join({IndexEntry("00dc", 3), IndexEntry("00dc", 0), IndexEntry("00dc", 2)}));
    EXPECT_EQ(Measure(LooseFilm{.length = 3, .lists = Join({movie, index})}.Get()),
              (Measured{2, 3, kDeclared}));
    EXPECT_EQ(Measure(LooseFilm{.length = 4, .lists = Join({movie, index})}.Get()),
              (Measured{2, 3, kCounted}));
    // groups of chunks, further RIFF lists, deep lists
    const Bytes records = List("movi", Join({List("rec ", kPictures), List("rec ", kPictures)}));
    const Bytes further = Chunk("RIFF", Join({Text("AVIX"), records}));
    EXPECT_EQ(Measure(LooseFilm{.lists = Join({records, further, further})}.Get()),
              (Measured{12, 18, kCounted}));
    const Bytes deep = Repeat(Join({Text("LIST"), Little(0x7000), Text("rec ")}), 20000);
    EXPECT_EQ(Measure(LooseFilm{.lists = Join({List("movi", Join({deep, kPictures}))})}.Get()).frames, 2U);
    // a recording that was broken off: untold sizes are no proof of a cut, a chunk's is
    for (const unsigned untold : {0U, kHuge}) {
        const Bytes broken = LooseFilm{.lists = With(movie, 4, Little(untold)), .riffSize = untold}.Get();
        EXPECT_EQ(Measure(broken), (Measured{2, 3, kCounted})) << untold;
        EXPECT_EQ(Measure(First(broken, broken.size() - 1)), (Measured{2, 3, kCounted, true})) << untold;
        EXPECT_EQ(Measure(Join({broken, Bytes(100)})), (Measured{2, 3, kCounted})) << untold;
    }
    // cut: as the whole was
    const Bytes whole = LooseFilm{.length = 3, .lists = movie}.Get();
    EXPECT_EQ(Measure(First(whole, whole.size() - 12)), (Measured{3, 3, kDeclared, true}));
    EXPECT_EQ(Measure(With(whole, 4, Little(whole.size() - 8))).isCut, false);
    EXPECT_EQ(Measure(With(whole, 4, Little(whole.size() - 7))).isCut, true);
}

TEST(AviParser, ReadsOpenDmlIndexes) {
    const auto meta = [](int longs, int type, std::size_t entries) {
        return Join({Little(static_cast<unsigned>(longs), 2),
                     {0, static_cast<unsigned char>(type)},
                     Little(entries),
                     Text("00dc"),
                     Bytes(12)});
    };
    const Bytes chunks =
        Join({Little(8), Little(0x80000003), Little(0), Little(0x80000000), Little(0), Little(2)});
    const Bytes standard = Chunk("ix00", Join({meta(2, 1, 3), chunks}));
    const auto  film     = [&](unsigned length, const std::vector<int>& offsets, const Bytes& first) {
        Bytes super = meta(4, 0, offsets.size());
        for (const int offset : offsets)
            super = Join({super, Little(static_cast<unsigned>(offset), 8), Bytes(8)});
        // the film itself is no chunks, so that the index alone tells them
        return LooseFilm{
                 .length = length, .lists = List("movi", Join({first, standard, Bytes(9)})), .openDmlIndex = super}
            .Get();
    };
    const int at =
        static_cast<int>(film(0, {0, 0}, {}).size() - standard.size() - 10); // of the first standard index
    const int behind = at + static_cast<int>(standard.size());
    EXPECT_EQ(Measure(film(6, {at, behind}, standard)), (Measured{4, 6, kDeclared}));
    EXPECT_EQ(Measure(film(7, {at, behind}, standard)), (Measured{7, 7, kDeclared}))
        << "does not list the film";
    EXPECT_EQ(Measure(film(6, {at, at}, standard)), (Measured{6, 6, kDeclared})) << "the same twice";
    EXPECT_EQ(Measure(film(6, {behind, at}, standard)), (Measured{6, 6, kDeclared})) << "backwards";
    const int self =
        static_cast<int>(film(0, {0, 0}, {}).size()) - static_cast<int>(standard.size()) - 10 - 12 - 64;
    EXPECT_EQ(Measure(film(6, {self, at}, standard)), (Measured{6, 6, kDeclared})) << "itself";
    // an index of chunks in the header list
    const LooseFilm direct{
        .length = 3, .lists = List("movi", Bytes(9)), .openDmlIndex = Join({meta(2, 1, 3), chunks})};
    EXPECT_EQ(Measure(direct.Get()), (Measured{2, 3, kDeclared}));
    const LooseFilm lying{
        .length = 3, .lists = List("movi", Bytes(9)), .openDmlIndex = Join({meta(2, 1, kHuge), chunks})};
    EXPECT_EQ(Measure(lying.Get()), (Measured{2, 3, kDeclared})) << "no further than the index reaches";
}

} // namespace
