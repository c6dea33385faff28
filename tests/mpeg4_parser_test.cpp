// The MPEG-4 and QuickTime parsers: what tables and fragments tell, and what wrong ones do.
#include "media.h"

namespace {

using namespace test;

Bytes Atom(std::string_view type, const Bytes& content) {
    return Join({Big(content.size() + 8), Text(type), content});
}

Bytes LongAtom(std::string_view type, const Bytes& content) {
    return Join({Big(1), Text(type), Big(content.size() + 16, 8), content});
}

Bytes Numbers(std::initializer_list<unsigned long long> numbers, std::size_t bytes = 4) {
    Bytes all;
    for (const auto number : numbers) all = Join({all, Big(number, bytes)});
    return all;
}

constexpr unsigned kOnes = 0xFFFFFFFF;

// A header with a clock and a duration, of either version; `front` stands in front of those.
Bytes Header(const char* type, bool isLong, unsigned long long front, unsigned long long duration) {
    return Atom(type, Join({Big(isLong ? 1U << 24 : 0), Bytes(isLong ? 16 : 8), Big(front),
                            Big(duration, isLong ? 8 : 4), Bytes(60)}));
}

struct Track {
    const char* kind  = "vide";
    unsigned    clock = 25;
    Bytes       times = Numbers({1, 50, 1}), sizes = Numbers({1, 50}), edits = {};
    bool        isLong = false, isSmall = false; // stz2

    Bytes Get(unsigned id) const {
        const Bytes stbl = Join({Atom("stts", Join({Bytes(4), times})),
                                 Atom(isSmall ? "stz2" : "stsz", Join({Bytes(4), sizes}))});
        const Bytes edts = Atom("edts", Atom("elst", Join({Big(isLong ? 1U << 24 : 0), edits})));
        const Bytes mdia =
            Join({Header("mdhd", isLong, clock, kOnes), Atom("hdlr", Join({Bytes(8), Text(kind)})),
                  Atom("minf", Join({Atom("hdlr", Bytes(12)), Atom("stbl", stbl)}))});
        return Atom("trak", Join({Header("tkhd", isLong, id, 0), edits.empty() ? Bytes() : edts,
                                  Atom("mdia", mdia)}));
    }
};

const Bytes kType = Atom("ftyp", Join({Text("isom"), Bytes(4), Text("3gp4")})),
            kData = Atom("mdat", Bytes(200));

Bytes Movie(const std::vector<Track>& tracks, const Bytes& front = {}, unsigned clock = 1000) {
    Bytes    content = Join({front, Header("mvhd", false, clock, 9000)});
    unsigned id      = 0;
    for (const Track& track : tracks) content = Join({content, track.Get(++id)});
    return Atom("moov", content);
}

struct Facts {
    int           type      = 0;
    unsigned long frames    = 0;
    float         seconds   = 0;
    bool          truncated = false;

    bool operator==(const Facts&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Facts& f) {
        return out << f.type << ": " << f.frames << " frames, " << f.seconds << " s"
                   << (f.truncated ? ", cut" : "");
    }
};

template <class Parser = CMObjMpeg4Parser> Facts FactsOf(const Bytes& bytes) {
    Bytes         block = Join({bytes, Bytes(1)});
    CKivBitStream stream, again;
    Parser        parser, quick;
    stream.SourceFromBuffer(block.data(), static_cast<int>(bytes.size()));
    parser.ParseFile(&stream);
    again.SourceFromBuffer(block.data(), static_cast<int>(bytes.size()));
    EXPECT_EQ(quick.QuickCheck(&again), parser.GetMediaType());
    return {parser.GetMediaType(), parser.GetFrames(), parser.GetDuration(), parser.IsTruncated()};
}

// The movie in front of its data and behind it.
void ExpectMovie(const Bytes& movie, unsigned long frames, float seconds) {
    EXPECT_EQ(FactsOf(Join({kType, movie, kData})), (Facts{17, frames, seconds}));
    EXPECT_EQ(FactsOf(Join({kType, LongAtom("mdat", Bytes(9)), movie, Bytes(5)})),
              (Facts{17, frames, seconds}));
}

TEST(Mpeg4Parser, MeasuresByTheSampleTables) {
    const Track film,
        sound{.kind = "soun", .clock = 100, .times = Numbers({2, 50, 4, 25, 8}), .sizes = Numbers({9, 75})};
    ExpectMovie(Movie({sound, film, {.sizes = Numbers({9, 7})}}), 50, 4);
    ExpectMovie(Movie({sound}), 75, 4);
    ExpectMovie(Movie({{.isLong = true}}), 50, 2);
    ExpectMovie(Movie({{.sizes = Join({Numbers({4, 3}), Bytes(1)}), .isSmall = true}}), 2, 2); // 4 bits each
    // edits, with a pause in front; one that runs to the end of the media; a clock that stands still
    ExpectMovie(Movie({{.edits = Numbers({3, 500, kOnes, 1, 700, 2, 1, 300, 1, 1})}}), 50, 1.5);
    ExpectMovie(Movie({{.edits = Numbers({2, 500, kOnes, 1, 0, 25, 1})}}), 50, 1.5);
    ExpectMovie(Movie({{.edits = Join({Big(1), Numbers({1500, 0}, 8), Big(1)}), .isLong = true}}), 50, 1.5);
    ExpectMovie(Movie({{.edits = Numbers({1, 500, 0, 1})}}, {}, 0), 50, 2);
    ExpectMovie(Movie({{.clock = 0}}), 50, 9);
    ExpectMovie(Movie({{.times = Numbers({1, 50, kOnes})}}), 50, 9); // a time that goes back
    ExpectMovie(Movie({{.sizes = Numbers({0, kOnes, 1, 2, 3})}, {.kind = "text"}}), 3, 2);
    ExpectMovie(Join({Movie({{}}), Movie({sound})}), 50, 2);
}

// Whatever the file is cut to, it says so; from the end of a movie in front on its measures are the whole's.
TEST(Mpeg4Parser, TellsACutFile) {
    const Bytes movie = Movie({{}});
    for (const bool isInFront : {true, false}) {
        const Bytes whole = isInFront ? Join({kType, movie, kData}) : Join({kType, kData, movie});
        EXPECT_EQ(FactsOf(whole), (Facts{17, 50, 2}));
        for (std::size_t size = 1; size < whole.size(); ++size) {
            const Facts facts = FactsOf(First(whole, size));
            ASSERT_EQ(facts.type, size < kType.size() ? 0 : 17) << size;
            ASSERT_EQ(facts.truncated, facts.type != 0) << size;
            const bool hasMovie = isInFront && size >= kType.size() + movie.size();
            ASSERT_TRUE(!hasMovie || facts.seconds == 2) << size;
        }
    }
    // an index lists two parts, behind some bytes that are none, up to the end or a byte further
    const std::size_t end = kData.size();
    for (const auto& [last, isCut] : {std::pair{end - 40, false}, {end - 39, true}}) {
        const Bytes narrow = Join({Bytes(16), Numbers({10, 2, 30, 0, 0, last, 0, 0})});
        const Bytes wide   = Join({Big(1U << 24), Bytes(16), Big(10, 8), Numbers({2, 30, 0, 0, last, 0, 0})});
        for (const Bytes& index : {narrow, wide})
            EXPECT_EQ(FactsOf(Join({kType, movie, Atom("sidx", index), kData})).truncated, isCut) << last;
    }
}

struct Fragment {
    unsigned flags   = 0;
    Bytes    samples = Big(10);
    Bytes    header = Numbers({0x20000, 1}), time = {}, before = {};

    Bytes Get() const {
        const Bytes tfdt = time.empty() ? Bytes() : Atom("tfdt", time);
        const Bytes trun = Atom("trun", Join({Big(flags), samples}));
        return Join({Atom("moof", Atom("traf", Join({Atom("tfhd", header), tfdt, before, trun}))), kData});
    }
};

TEST(Mpeg4Parser, CountsAndTimesFragments) {
    const auto extension = [](unsigned id) {
        return Atom("mvex",
                    Join({Atom("mehd", Numbers({0, 7000})), Atom("trex", Numbers({0, id, 1, 5, 0, 0}))}));
    };
    const auto expect = [&](const std::vector<Fragment>& fragments, unsigned long frames, float seconds,
                            unsigned     id    = 1,
                            const Track& track = {.times = Big(0), .sizes = Numbers({0, 0})}) {
        Bytes file = Join({kType, Movie({track}, extension(id))});
        for (const Fragment& fragment : fragments) file = Join({file, fragment.Get()});
        EXPECT_EQ(FactsOf(file), (Facts{17, frames, seconds}));
    };
    expect({{}, {}}, 20, 4);                          // as the track has it, one behind the other
    expect({{}}, 10, 9, 2);                           // as no track has it: the movie's header
    expect({{}, {.header = Numbers({0, 7})}}, 10, 2); // of a track that is none
    expect({{}}, 60, 4, 1, {});                       // behind the samples of the tables
    expect({{}}, 60, 3, 1, {.edits = Numbers({1, 200, 25, 1})});
    expect({{.header = Numbers({0xB, 1, 0, 0, 0, 10})}}, 10, 4); // as the fragment has it
    expect({{.before = Atom("trun", Numbers({0, 5}))}}, 15, 3);
    // clocks that began long before, of 32 and 64 bits, not in order
    expect({{.time = Numbers({0, 5050})}, {.time = Numbers({0, 5000})}}, 20, 4);
    expect({{.time = Join({Big(1U << 24), Big(1ULL << 40, 8)})}}, 10, 2);
    // as each sample has it: durations, offsets on their own, and both behind the fields of all
    expect({{.flags = 0x100, .samples = Numbers({3, 5, 15, 5})}}, 3, 1);
    expect({{.flags = 0x800, .samples = Numbers({2, 10, 25})}}, 2, 1);
    expect({{.flags = 0xF05, .samples = Numbers({2, 0, 0, 25, 1, 0, 0, 25, 1, 0, kOnes - 23})}}, 2, 1.04F);
    expect({{.flags = 0x100, .samples = Numbers({kOnes, 25, 25, 25})}}, 3, 3); // more than there are
    expect({{.samples = Big(kOnes)}}, kOnes, 858993459.0F);
    const Bytes fragment = Fragment().Get(), noData = First(fragment, fragment.size() - kData.size());
    EXPECT_TRUE(FactsOf(Join({kType, Movie({{}}), kData, noData})).truncated);
    EXPECT_EQ(FactsOf(Join({kType, Movie({}, Header("mvhd", false, 1000, kOnes)), extension(1)})),
              (Facts{17, 0, 0}));
}

TEST(Mpeg4Parser, KnowsItsFilesAndNoOthers) {
    const Bytes movie = Movie({{}});
    for (const auto& [brand, type] :
         {std::pair{"isom", 17}, {"qt  ", 17}, {"3gp6", 25}, {"3g2a", 25}, {"3gr6", 17}}) {
        const Bytes file = Join({With(kType, 8, Text(brand)), kData, movie});
        EXPECT_EQ(FactsOf(file), (Facts{type, 50, 2})) << brand;
        EXPECT_EQ(FactsOf<CMObjQTParser>(file), (Facts{9, 50, 2})) << brand;
        CMObjParserMgr manager;
        EXPECT_EQ(manager.parse(file.data(), static_cast<int>(file.size()))->GetMediaType(), type)
            << "by content";
    }
    for (const char* first : {"wide", "free", "skip", "pnot", "mdat", "uuid"}) {
        const Bytes start = Atom(first, Bytes(12));
        EXPECT_EQ(FactsOf<CMObjQTParser>(Join({start, kData, movie})), (Facts{9, 50, 2})) << first;
        EXPECT_EQ(FactsOf(Join({start, kData, movie})), (Facts{17, 50, 2})) << first;
        EXPECT_EQ(FactsOf<CMObjQTParser>(Join({start, kData})), (Facts{9, 0, 0, true})) << first;
        EXPECT_EQ(FactsOf(Join({start, kData})), Facts{}) << first;
    }
    const Bytes compressed = Atom("moov", Atom("cmov", Bytes(40)));
    EXPECT_EQ(FactsOf<CMObjQTParser>(compressed), (Facts{9, 0, 0}));
    EXPECT_EQ(FactsOf(compressed), (Facts{17, 0, 0}));
    // a picture, another format's first atom, texts that hold a type by chance, zeros
    for (const Bytes& foreign :
         {Join({kType, Atom("meta", Bytes(9)), kData}), Join({Atom("jP  ", Bytes(4)), kType, movie}),
          Text("The ftyp of text"), Text("The moov of text"), Join({Atom("ftyp", Bytes(5000))}), Bytes(5000)})
        EXPECT_EQ(FactsOf(foreign), Facts{});
}

// Every atom's size made wrong by turns, and atoms 20,000 deep: nothing is read behind the block or for ever.
TEST(Mpeg4Parser, BearsLyingSizesAndDepth) {
    const Track track{.sizes = Join({Numbers({0, kOnes}), Bytes(200)}), .edits = Numbers({1, 500, 0, 1})};
    const Bytes whole = Join({kType, Movie({track}), Fragment().Get(), kData});
    for (std::size_t at = kType.size(); at + 8 <= whole.size(); ++at) {
        if (!std::all_of(whole.data() + at + 4, whole.data() + at + 8,
                         [](int c) { return c >= 'a' && c <= 'z'; }))
            continue;
        for (const unsigned size : {0U, 1U, 2U, 7U, 8U, 15U, 0x7FFFFFFFU, kOnes}) {
            const Facts facts = FactsOf(With(whole, at, Big(size)));
            ASSERT_EQ(facts.type, 17) << at << ' ' << size;
            ASSERT_LE(facts.frames, 60U) << at << ' ' << size;
        }
    }
    const Bytes huge = Join({Big(1), Text("mdat"), Big(~15ULL, 8)});
    EXPECT_EQ(FactsOf(Join({kType, Movie({{}}), huge})), (Facts{17, 50, 2, true}));
    Bytes deep;
    for (unsigned i = 20000; i > 0; --i) {
        const Bytes header = Join({Big(8 * i), Text(i % 2 != 0 ? "moov" : "trak")});
        deep.insert(deep.end(), header.begin(), header.end());
    }
    EXPECT_EQ(FactsOf(Join({kType, Movie({{}}, deep), kData})), (Facts{17, 50, 2}));
}

} // namespace
