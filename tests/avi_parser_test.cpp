// The AVI parser: what the headers tell, and what wrong ones do.
#include "KivUtility.h"

#include "avi_builder.h"

#include <gtest/gtest.h>

namespace {

using test::AviFile;
using test::AviStream;
using test::Bytes;
using test::Identify;
using test::IndexEntry;
using test::Join;
using test::Little;
using test::Media;

constexpr unsigned kHuge = 0xFFFFFFFF;

const AviStream kFilm{.length = 50};                                                 // 2 s
const AviStream kSound{.type = "auds", .scale = 1, .rate = 44100, .length = 132300}; // 3 s

void ExpectMeasures(const Bytes& bytes, unsigned long frames, double seconds) {
    const Media media = Identify(bytes);
    EXPECT_EQ(media.type, kKivFmt_Avi);
    EXPECT_EQ(media.frames, frames);
    EXPECT_FLOAT_EQ(media.seconds, static_cast<float>(seconds));
    const double bits = static_cast<double>(bytes.size()) * 8;
    EXPECT_EQ(media.bitRate, seconds > 0 ? static_cast<unsigned long>(bits / seconds) : 0);
}

TEST(AviParser, MeasuresByTheFirstVideoStreamAndTheLongestOfAll) {
    ExpectMeasures(AviFile{.streams = {kFilm}}.Get(), 50, 2);
    ExpectMeasures(AviFile{.streams = {kFilm, kSound}}.Get(), 50, 3);
    ExpectMeasures(AviFile{.streams = {kSound, kFilm, {.length = 400}}}.Get(), 50, 16);
    ExpectMeasures(AviFile{.streams = {{.scale = 1001, .rate = 30000, .length = 4294967295U}}}.Get(), kHuge,
                   kHuge * 1001.0 / 30000);
    ExpectMeasures(AviFile{.streams = {{.scale = kHuge, .rate = 1, .length = kHuge}}}.Get(), kHuge,
                   static_cast<double>(kHuge) * kHuge);
    ExpectMeasures(AviFile{.streams = {{.type = "iavs", .length = 25}}}.Get(), 25, 1);
}

TEST(AviParser, MeasuresSoundAloneByItsBlocks) {
    ExpectMeasures(AviFile{.totalFrames = 9, .streams = {kSound}}.Get(), 132300, 3);
}

TEST(AviParser, FallsBackOnWhatElseTellsFramesAndTime) {
    // rate or scale of the stream missing: the main header's time a frame
    ExpectMeasures(AviFile{.microSecPerFrame = 20000, .streams = {{.rate = 0, .length = 50}}}.Get(), 50, 1);
    ExpectMeasures(AviFile{.microSecPerFrame = 20000, .streams = {{.scale = 0, .length = 50}}}.Get(), 50, 1);
    ExpectMeasures(AviFile{.microSecPerFrame = 0, .streams = {{.scale = 0, .rate = 0, .length = 50}}}.Get(),
                   50, 0);
    // sound: its format
    const AviStream sound{
        .type = "auds", .scale = 0, .rate = 0, .length = 300, .format = test::WaveFormat(1000, 10)};
    ExpectMeasures(AviFile{.streams = {sound}}.Get(), 300, 3);
    // length missing, as in a recording that was broken off: all RIFF lists', then the first one's
    ExpectMeasures(AviFile{.totalFrames = 25, .streams = {{.length = 0}}, .extendedFrames = 75}.Get(), 75, 3);
    ExpectMeasures(AviFile{.totalFrames = 25, .streams = {{.length = 0}}}.Get(), 25, 1);
    ExpectMeasures(AviFile{.totalFrames = 25}.Get(), 25, 1);
}

// Empty chunks prolong the picture before; palette changes and other streams are no pictures of this one.
TEST(AviParser, DoesNotCountFramesThatTheIndexListsAsEmpty) {
    const Bytes listed = Join({IndexEntry("00wb", 0), IndexEntry("01dc", 100), IndexEntry("01pc", 0),
                               IndexEntry("01dc", 0), IndexEntry("00dc", 0), IndexEntry("01db", 5)});
    AviFile     film{.streams = {kSound, {.length = 3}}, .index = listed};
    ExpectMeasures(film.Get(), 2, 3);
    film.streams[1].length = 4; // an index of part of the stream
    ExpectMeasures(film.Get(), 4, 3);
}

TEST(AviParser, TakesChunksAsTheyCome) {
    const Bytes odd = test::Chunk("JUNK", Bytes(11, 'x'));
    ExpectMeasures(AviFile{.streams = {kFilm}, .beforeHeader = odd}.Get(), 50, 2);
    Bytes many;
    for (int i = 0; i < 8; ++i) many = Join({many, odd});
    EXPECT_EQ(Identify(AviFile{.streams = {kFilm}, .beforeHeader = many}.Get()).type, 0) << "too far behind";
}

TEST(AviParser, WantsRiffFormAndMainHeader) {
    const AviFile film{.streams = {kFilm}};
    for (const auto& [at, text] :
         {std::pair{0, "RIFX"}, {8, "AVIX"}, {8, "WAVE"}, {12, "JUNK"}, {20, "xxxx"}, {24, "strh"}}) {
        Bytes bytes = film.Get();
        test::Put(bytes, static_cast<std::size_t>(at), test::Text(text));
        EXPECT_EQ(Identify(bytes).type, 0) << text << " at " << at;
    }
    EXPECT_EQ(Identify(AviFile{.streams = {kFilm}, .mainHeaderBytes = 39}.Get()).type, 0);
    ExpectMeasures(AviFile{.streams = {kFilm}, .mainHeaderBytes = 40}.Get(), 50, 2);
}

// Recognised from the main header's last field on, measured as the whole from the header list's end on, and
// never read behind the cut.
TEST(AviParser, TellsOfACutFileWhatItsHeadersTell) {
    const AviFile     film{.totalFrames = 50, .streams = {kFilm, kSound}};
    const Bytes       whole      = film.Get();
    const std::size_t recognised = 12 + 12 + 8 + 40;
    const std::size_t measured   = 12 + film.HeaderList().size();
    for (std::size_t size = 1; size < whole.size(); ++size) {
        const Media media = test::IdentifyBlock(test::First(whole, size));
        ASSERT_EQ(media.type, size < recognised ? 0 : 7) << size;
        if (media.type == 0) continue;
        const bool all = size >= measured; // the second stream may be missing before
        ASSERT_TRUE(media.frames == 50 && (all ? media.seconds == 3 : media.seconds >= 2))
            << size << ": " << media;
    }
}

// Every chunk's size made wrong by turns: only a header list or main header that ends early is refused, and
// sizes outside the header list change nothing.
TEST(AviParser, BearsLyingSizes) {
    const AviFile film{
        .totalFrames = 50, .streams = {kFilm, kSound}, .extendedFrames = 7, .index = IndexEntry("00dc", 0)};
    const Bytes                    whole      = film.Get();
    const std::size_t              headersEnd = 12 + film.HeaderList().size();
    const std::vector<std::string> ids    = {"RIFF", "LIST", "avih", "strh", "strf", "dmlh", "JUNK", "idx1"};
    const Media                    honest = test::IdentifyBlock(whole);
    for (std::size_t at = 0; at + 8 <= whole.size(); ++at) {
        const std::string id(whole.begin() + static_cast<std::ptrdiff_t>(at),
                             whole.begin() + static_cast<std::ptrdiff_t>(at) + 4);
        if (std::ranges::find(ids, id) == ids.end()) continue;
        for (const unsigned size : {0U, 1U, 3U, 4U, 39U, 0x7FFFFFFFU, kHuge - 1, kHuge}) {
            Bytes lying = whole;
            test::Put(lying, at + 4, Little(size));
            const Media media   = test::IdentifyBlock(lying);
            const bool  early   = (at == 12 || id == "avih") && size < 40;
            const bool  outside = at < 12 || at >= headersEnd;
            ASSERT_EQ(media.type, early ? 0 : 7) << id << ' ' << size;
            ASSERT_TRUE(!outside || media == honest) << id << ' ' << size << ": " << media;
        }
    }
}

} // namespace
