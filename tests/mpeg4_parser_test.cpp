// The MPEG-4 and QuickTime parsers: what tables and fragments tell, and what wrong ones do.
#include "measured.h"

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

const std::string kNone = "0: 0 none, 0 none", kWhole = "17: 50 declared, 2 declared";
const auto        kExpect = ExpectMeasured<CMObjMpeg4Parser>;

std::string ReadBlock(const Bytes& bytes) { return MeasuredBlock<CMObjMpeg4Parser>(bytes); }

// With the data behind the movie.
Bytes Film(const std::vector<Track>& tracks, unsigned clock = 1000) {
    return Join({kType, Movie(tracks, {}, clock), kData});
}

TEST(Mpeg4Parser, MeasuresByTheSampleTables) {
    const Track film,
        sound{.kind = "soun", .clock = 100, .times = Numbers({2, 50, 4, 25, 8}), .sizes = Numbers({9, 75})};
    const std::string edited = "17: 50 declared, 1.5 declared", header = "17: 50 declared, 9 declared";
    kExpect({
        {Film({sound, film, {.sizes = Numbers({9, 7})}}), "17: 50 declared, 4 declared"},
        {Film({sound}), "17: 75 declared, 4 declared"},
        {Film({{.isLong = true}}), kWhole},
        // sizes of 4 bits each
        {Film({{.sizes = Join({Numbers({4, 3}), Bytes(1)}), .isSmall = true}}), "17: 2 declared, 2 declared"},
        // edits, with a pause in front; one that runs to the end of the media; a clock that stands still
        {Film({{.edits = Numbers({3, 500, kOnes, 1, 700, 2, 1, 300, 1, 1})}}), edited},
        {Film({{.edits = Numbers({2, 500, kOnes, 1, 0, 25, 1})}}), edited},
        {Film({{.edits = Join({Big(1), Numbers({1500, 0}, 8), Big(1)}), .isLong = true}}), edited},
        {Film({{.edits = Numbers({1, 500, 0, 1})}}, 0), kWhole},
        {Film({{.clock = 0}}), header},
        {Film({{.times = Numbers({1, 50, kOnes})}}), header}, // a time that goes back
        {Film({{.sizes = Numbers({0, kOnes, 1, 2, 3})}, {.kind = "text"}}), "17: 3 declared, 2 declared"},
        // the first of two movies, behind its data, and padding
        {Join({kType, LongAtom("mdat", Bytes(9)), Movie({film}), Movie({sound}), Bytes(5)}), kWhole},
    });
}

// Whatever the file is cut to, it says so; from the end of a movie in front on its measures are the whole's.
TEST(Mpeg4Parser, TellsACutFile) {
    const Bytes movie = Movie({{}});
    for (const bool isInFront : {true, false}) {
        const Bytes whole = isInFront ? Join({kType, movie, kData}) : Join({kType, kData, movie});
        EXPECT_EQ(ReadBlock(whole), kWhole);
        for (std::size_t size = 1; size < whole.size(); ++size) {
            const std::string measured = ReadBlock(First(whole, size));
            const bool        hasMovie = isInFront && size >= kType.size() + movie.size();
            ASSERT_EQ(measured.substr(0, 3), size < kType.size() ? "0: " : "17:") << size;
            ASSERT_EQ(measured.ends_with(", cut"), size >= kType.size()) << size;
            ASSERT_TRUE(!hasMovie || measured == kWhole + ", cut") << size << ": " << measured;
        }
    }
    // an index lists two parts, behind some bytes that are none, up to the end or a byte further
    const std::size_t end = kData.size();
    for (const auto& [last, measured] : {std::pair{end - 40, kWhole}, {end - 39, kWhole + ", cut"}}) {
        const Bytes narrow = Join({Bytes(16), Numbers({10, 2, 30, 0, 0, last, 0, 0})});
        const Bytes wide   = Join({Big(1U << 24), Bytes(16), Big(10, 8), Numbers({2, 30, 0, 0, last, 0, 0})});
        for (const Bytes& index : {narrow, wide})
            kExpect({{Join({kType, movie, Atom("sidx", index), kData}), measured}});
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
    const auto file = [&](const std::vector<Fragment>& fragments, unsigned id = 1,
                          const Track& track = {.times = Big(0), .sizes = Numbers({0, 0})}) {
        Bytes bytes = Join({kType, Movie({track}, extension(id))});
        for (const Fragment& fragment : fragments) bytes = Join({bytes, fragment.Get()});
        return bytes;
    };
    const std::string ten = "17: 10 counted, 2 timestamps", twenty = "17: 20 counted, 4 timestamps";
    const Bytes       fragment = Fragment().Get(), noData = First(fragment, fragment.size() - kData.size());
    kExpect({
        {file({{}, {}}), twenty},                       // as the track has it, one behind the other
        {file({{}}, 2), "17: 10 counted, 9 declared"},  // as no track has it: the movie's header
        {file({{}, {.header = Numbers({0, 7})}}), ten}, // of a track that is none
        // behind the samples of the tables
        {file({{}}, 1, {.edits = Numbers({1, 200, 25, 1})}), "17: 60 counted, 3 timestamps"},
        // as the fragment has it
        {file({{.header = Numbers({0xB, 1, 0, 0, 0, 10})}}), "17: 10 counted, 4 timestamps"},
        {file({{.before = Atom("trun", Numbers({0, 5}))}}), "17: 15 counted, 3 timestamps"},
        // clocks that began long before, of 32 and 64 bits, not in order
        {file({{.time = Numbers({0, 5050})}, {.time = Numbers({0, 5000})}}), twenty},
        {file({{.time = Join({Big(1U << 24), Big(1ULL << 40, 8)})}}), ten},
        // as each sample has it: durations, offsets on their own, and both behind the fields of all
        {file({{.flags = 0x800, .samples = Numbers({2, 10, 25})}}), "17: 2 counted, 1 timestamps"},
        {file({{.flags = 0xF05, .samples = Numbers({2, 0, 0, 25, 1, 0, 0, 25, 1, 0, kOnes - 23})}}),
         "17: 2 counted, 1.04 timestamps"},
        // more than there are
        {file({{.flags = 0x100, .samples = Numbers({kOnes, 5, 15, 5})}}), "17: 3 counted, 1 timestamps"},
        {file({{.samples = Big(kOnes)}}), "17: 4294967295 counted, 8.58993e+08 timestamps"},
        {Join({kType, Movie({{}}), kData, noData}), "17: 60 counted, 2 timestamps, cut"},
        {Join({kType, Movie({}, Header("mvhd", false, 1000, kOnes)), extension(1)}), "17: 0 none, 0 none"},
    });
}

TEST(Mpeg4Parser, KnowsItsFilesAndNoOthers) {
    const auto        expectQuickTime = ExpectMeasured<CMObjQTParser>;
    const std::string measures        = ": 50 declared, 2 declared";
    const Bytes       movie = Movie({{}}), compressed = Atom("moov", Atom("cmov", Bytes(40)));
    for (const auto& [brand, type] :
         {std::pair{"isom", "17"}, {"qt  ", "17"}, {"3gp6", "25"}, {"3g2a", "25"}, {"3gr6", "17"}}) {
        const Bytes file = Join({With(kType, 8, Text(brand)), kData, movie});
        kExpect({{file, type + measures}});
        expectQuickTime({{file, "9" + measures}});
    }
    for (const char* first : {"wide", "free", "skip", "pnot", "mdat", "uuid"}) {
        const Bytes start = Atom(first, Bytes(12));
        SCOPED_TRACE(first);
        kExpect({{Join({start, kData, movie}), kWhole}, {Join({start, kData}), kNone}});
        expectQuickTime({{Join({start, kData, movie}), "9" + measures},
                         {Join({start, kData}), "9: 0 none, 0 none, cut"}});
    }
    expectQuickTime({{compressed, "9: 0 none, 0 none"}});
    kExpect({
        {compressed, "17: 0 none, 0 none"},
        // a picture, another format's first atom, texts that hold a type by chance, zeros
        {Join({kType, Atom("meta", Bytes(9)), kData}), kNone},
        {Join({Atom("jP  ", Bytes(4)), kType, movie}), kNone},
        {Text("The ftyp of text"), kNone},
        {Text("The moov of text"), kNone},
        {Atom("ftyp", Bytes(5000)), kNone},
        {Bytes(5000), kNone},
    });
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
            const std::string measured = ReadBlock(With(whole, at, Big(size)));
            ASSERT_TRUE(measured.starts_with("17: ")) << at << ' ' << size;
            ASSERT_LE(std::stoul(measured.substr(4)), 60U) << at << ' ' << size;
        }
    }
    const Bytes huge = Join({Big(1), Text("mdat"), Big(~15ULL, 8)});
    Bytes       deep;
    for (unsigned i = 20000; i > 0; --i) {
        const Bytes header = Join({Big(8 * i), Text(i % 2 != 0 ? "moov" : "trak")});
        deep.insert(deep.end(), header.begin(), header.end());
    }
    kExpect({{Join({kType, Movie({{}}), huge}), kWhole + ", cut"},
             {Join({kType, Movie({{}}, deep), kData}), kWhole}});
}

} // namespace
