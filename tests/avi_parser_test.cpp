// The AVI parser: what the headers tell, and what wrong ones do.
#include "measured.h"

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
    Bytes       format = Bytes(40), openDmlIndex = {};

    Bytes Get() const {
        const auto head =
            Join({Text(type), Bytes(16), Little(scale), Little(rate), Bytes(4), Little(length)});
        const Bytes index = openDmlIndex.empty() ? Bytes() : Chunk("indx", openDmlIndex);
        return List("strl", Join({Chunk("strh", head), Chunk("strf", format), index}));
    }
};

struct AviFile {
    unsigned               microSecPerFrame = 40000, totalFrames = 0, extendedFrames = 0;
    std::vector<AviStream> streams         = {};
    Bytes                  beforeHeader    = {};
    Bytes                  behindHeader    = Join({Chunk("JUNK", Bytes(37)), List("movi", Bytes(1000, 'm'))});
    Bytes                  index           = {};
    std::size_t            mainHeaderBytes = 56;

    Bytes HeaderList() const {
        const Bytes main    = Join({Little(microSecPerFrame), Bytes(12), Little(totalFrames), Bytes(36)});
        Bytes       content = Chunk("avih", First(main, mainHeaderBytes));
        for (const AviStream& stream : streams) content = Join({content, stream.Get()});
        return List("hdrl", Join({content, List("odml", Chunk("dmlh", Little(extendedFrames)))}));
    }

    Bytes Get() const {
        const Bytes listed = index.empty() ? Bytes() : Chunk("idx1", index);
        return Chunk("RIFF", Join({Text("AVI "), beforeHeader, HeaderList(), behindHeader, listed}));
    }
};

constexpr unsigned kHuge = 0xFFFFFFFF;

// 2 s and 3 s
const AviStream kFilm{.length = 50}, kSound{.type = "auds", .rate = 44100, .length = 132300};

const auto        kExpect = ExpectMeasured<CMObjAviParser>;
const std::string kNone   = "0: 0 none, 0 none";

TEST(AviParser, MeasuresByTheBestThatTheFileTells) {
    const Bytes format = Join({Bytes(8), Little(1000), Little(10, 2), Bytes(2)});
    const Bytes listed = Join({IndexEntry("00wb", 0), IndexEntry("01dc", 100), IndexEntry("01pc", 0),
                               IndexEntry("01dc", 0), IndexEntry("00dc", 0), IndexEntry("01db", 5)});
    for (const auto& [file, measured] : std::initializer_list<std::pair<AviFile, std::string>>{
             // the first video stream and the longest of all; sound alone by its blocks
             {{.streams = {kSound, kFilm, {.length = 400}}}, "50 declared, 16 declared"},
             {{.streams = {{.scale = kHuge, .rate = 1, .length = kHuge}}},
              "4294967295 declared, 1.84467e+19 declared"},
             {{.streams = {{.type = "iavs", .length = 25}}}, "25 declared, 1 declared"},
             {{.totalFrames = 9, .streams = {kSound}}, "132300 declared, 3 declared"},
             // rate or scale missing: the main header's time a frame, the sound's nAvgBytesPerSec and
             // nBlockAlign
             {{.microSecPerFrame = 20000, .streams = {{.rate = 0, .length = 50}}}, "50 declared, 1 declared"},
             {{.microSecPerFrame = 0, .streams = {{.scale = 0, .length = 50}}}, "50 declared, 0 none"},
             {{.streams = {{.type = "auds", .rate = 0, .length = 300, .format = format}}},
              "300 declared, 3 declared"},
             // length missing, as in a recording that was broken off: all RIFF lists', then the first one's
             {{.totalFrames = 25, .extendedFrames = 75, .streams = {{}}}, "75 declared, 3 declared"},
             {{.totalFrames = 25}, "25 declared, 1 declared"},
             // pictures that the index lists as empty; an index of part of the stream
             {{.streams = {kSound, {.length = 3}}, .index = listed}, "2 declared, 3 declared"},
             {{.streams = {kSound, {.length = 4}}, .index = listed}, "4 declared, 3 declared"},
             // no more than it needs, behind a chunk of odd size
             {{.streams = {kFilm}, .beforeHeader = Chunk("JUNK", {1}), .mainHeaderBytes = 40},
              "50 declared, 2 declared"},
         })
        kExpect({{file.Get(), "7: " + measured}});
}

TEST(AviParser, WantsRiffFormAndMainHeader) {
    for (const auto& [at, text] :
         {std::pair{0U, "RIFX"}, {8U, "AVIX"}, {12U, "JUNK"}, {20U, "xxxx"}, {24U, "strh"}})
        kExpect({{With(AviFile{.streams = {kFilm}}.Get(), at, Text(text)), kNone}});
    kExpect({{AviFile{.mainHeaderBytes = 39}.Get(), kNone},
             {AviFile{.totalFrames = 25, .beforeHeader = Bytes(7 * 8)}.Get(), "7: 25 declared, 1 declared"},
             {AviFile{.totalFrames = 25, .beforeHeader = Bytes(8 * 8)}.Get(), kNone}});
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

// A film of one stream in an unfinished RIFF list, with whatever lists behind the headers.
Bytes LooseFilm(unsigned length, const Bytes& lists, const Bytes& openDmlIndex = {}) {
    const AviStream film{.length = length, .openDmlIndex = openDmlIndex};
    return With(AviFile{.streams = {film}, .behindHeader = lists}.Get(), 4, Bytes(4));
}

// Three pictures, one of them empty, and other chunks; in all 68 bytes.
const Bytes kPictures = Join({Chunk("00dc", {1, 2, 3}), Chunk("00dc", {}), Chunk("00pc", {1, 2}),
                              Chunk("01wb", {5, 5}), Chunk("JUNK", Bytes(4)), Chunk("00db", {9, 9})});

TEST(AviParser, CountsChunksWhereNoIndexTellsThem) {
    const std::string counted = "7: 2 counted, 0.12 counted", declared = "7: 3 declared, 0.12 declared, cut";
    const Bytes       movie = List("movi", kPictures), whole = LooseFilm(3, movie);
    const Bytes       index =
        Chunk("idx1", Join({IndexEntry("00dc", 3), IndexEntry("00dc", 0), IndexEntry("00dc", 2)}));
    // groups of chunks, further RIFF lists, deep lists
    const Bytes records = List("movi", Join({List("rec ", kPictures), List("rec ", kPictures)}));
    const Bytes further = Chunk("RIFF", Join({Text("AVIX"), records}));
    const Bytes deep    = Repeat(Join({Text("LIST"), Little(0x7000), Text("rec ")}), 20000);
    kExpect({
        {LooseFilm(0, movie), counted},
        {LooseFilm(900, movie), counted},
        {LooseFilm(3, Join({movie, index})), "7: 2 declared, 0.12 declared"},
        {LooseFilm(4, Join({movie, index})), counted},
        {LooseFilm(0, Join({records, further, further})), "7: 12 counted, 0.72 counted"},
        {LooseFilm(0, List("movi", Join({deep, kPictures}))), counted},
        // cut: as the whole was
        {First(whole, whole.size() - 12), declared},
        {With(whole, 4, Little(whole.size() - 8)), counted},
        {With(whole, 4, Little(whole.size() - 7)), counted + ", cut"},
    });
    // a recording that was broken off: untold sizes are no proof of a cut, a chunk's is
    for (const unsigned untold : {0U, kHuge}) {
        const Bytes broken = With(LooseFilm(0, With(movie, 4, Little(untold))), 4, Little(untold));
        kExpect({{broken, counted},
                 {First(broken, broken.size() - 1), counted + ", cut"},
                 {Join({broken, Bytes(100)}), counted}});
    }
}

TEST(AviParser, ReadsOpenDmlIndexes) {
    const auto meta = [](unsigned longs, unsigned type, std::size_t entries) {
        return Join({Little(longs, 2), Bytes(1), Little(type, 1), Little(entries), Text("00dc"), Bytes(12)});
    };
    const Bytes chunks =
        Join({Little(8), Little(0x80000003), Little(0), Little(0x80000000), Little(0), Little(2)});
    const Bytes standard = Chunk("ix00", Join({meta(2, 1, 3), chunks})), movie = List("movi", Bytes(9));
    // the film itself is no chunks, so that the index alone tells them
    const auto film = [&](unsigned length, std::size_t first, std::size_t second) {
        const Bytes super = Join({meta(4, 0, 2), Little(first, 8), Bytes(8), Little(second, 8), Bytes(8)});
        return LooseFilm(length, List("movi", Join({standard, standard, Bytes(9)})), super);
    };
    const auto find = [&](std::string_view id) {
        const Bytes file = film(0, 0, 0);
        return static_cast<std::size_t>(std::search(file.begin(), file.end(), id.begin(), id.end())
                                        - file.begin());
    };
    const std::size_t at = find("ix00"), behind = at + standard.size(), self = find("indx");
    const std::string unlisted = "7: 6 declared, 0.24 declared", listed = "7: 2 declared, 0.12 declared";
    kExpect({
        {film(6, at, behind), "7: 4 declared, 0.24 declared"},
        {film(7, at, behind), "7: 7 declared, 0.28 declared"}, // does not list the film
        {film(6, at, at), unlisted},                           // the same twice
        {film(6, behind, at), unlisted},
        {film(6, self, at), unlisted},
        // an index of chunks in the header list, which is read no further than it reaches
        {LooseFilm(3, movie, Join({meta(2, 1, 3), chunks})), listed},
        {LooseFilm(3, movie, Join({meta(2, 1, kHuge), chunks})), listed},
    });
}

} // namespace
