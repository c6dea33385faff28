// Splicing: what a seam of each kind of format looks like, and everything else against a plain model.
#include "KivUtility.h"

#include "concat_model.h"
#include "media.h"
#include "mpeg_builder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using test::Bytes;
using test::ConcatModel;
using test::Join;
using test::MpegBuilder;

std::vector<std::string> g_reports;

class MpgConcat : public testing::Test {
protected:
    MpgConcat() {
        KivSetPopUpHandler([](const char*, const char* text) { g_reports.emplace_back(text); });
    }

    ~MpgConcat() override { KivSetPopUpHandler(nullptr); }
};

CKivDynaBuffer Buffer(const Bytes& bytes) { return {bytes.data(), static_cast<unsigned long>(bytes.size())}; }

Bytes Content(const CKivDynaBuffer& buffer) {
    const auto* data = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {data, data + buffer.GetSize()};
}

// The library's object, its steps within reach.
class Concat : public CMpegStreamConcatenator {
public:
    using CMpegStreamConcatenator::findMPASyncWord;
    using CMpegStreamConcatenator::findMTSSyncWord;
    using CMpegStreamConcatenator::GetPack;

    std::string Status() {
        CKivString text;
        ReportStatus(text);
        return static_cast<const char*>(text);
    }

    Bytes Drain() {
        constexpr long kMuch = 1000000;
        CKivDynaBuffer data;
        OutputData(data, kMuch - CanPullData(kMuch));
        return Content(data);
    }
};

#define SAME(got, expected) ASSERT_EQ(got, expected) << "seed " << seed << ", format " << model.headerFormat

// The library's object and the model, driven alike.
struct Pair {
    Concat      real;
    ConcatModel model;
    unsigned    seed;

    explicit Pair(unsigned number) : seed(number) { g_reports.clear(); }

    void SetHeader(int format, const Bytes& head) {
        CKivDynaBuffer buffer = Buffer(head);
        real.SetHeader(buffer, static_cast<Kiv_MEDIA_FORMAT_TYPE>(format));
        model.SetHeader(head, format);
    }

    void Deliver(bool pull, Bytes data, long wanted) {
        CKivDynaBuffer buffer = Buffer(data);
        const long     result = pull ? real.PullData(buffer, wanted) : real.OutputData(buffer, wanted);
        SAME(result, pull ? model.PullData(data, wanted) : model.OutputData(data, wanted));
        SAME(Content(buffer), data);
        SAME(g_reports, model.reports);
        for (const long size : {5L, 100000L}) SAME(real.CanPullData(size), model.CanPullData(size));
    }
};

// ---- Seams by example.

// A pack header of the given clock.
Bytes Pack(bool mpeg2, std::uint32_t clock) {
    Bytes pack = (mpeg2 ? MpegBuilder().Mpeg2Pack() : MpegBuilder().Mpeg1Pack()).Get();
    KivSetBufferBits(pack.data(), mpeg2 ? 34 : 36, 3, clock >> 30);
    KivSetBufferBits(pack.data(), mpeg2 ? 38 : 40, 15, clock >> 15 & 0x7FFF);
    KivSetBufferBits(pack.data(), mpeg2 ? 54 : 56, 15, clock & 0x7FFF);
    return pack;
}

const Bytes kEarly = {0x21, 0, 1, 0, 1}, kMiddle = {0x21, 0, 5, 8, 1}, kLate = {0x21, 0, 9, 0, 1};
const Bytes kPicture = MpegBuilder().Picture().Get(), kJunk = {1, 2, 3, 0, 0, 1};
const Bytes kSequence = MpegBuilder().Sequence().Group(0, 0, 1).Picture().Get();
const Bytes kFrames   = MpegBuilder().AudioFrame(1).AudioFrame(2).AudioFrame(3).Get();

Bytes Pes(int id, const Bytes& stamp, const Bytes& payload, int lengthError = 0) {
    return MpegBuilder().Pes(id, stamp, payload, lengthError).Get();
}

Bytes AsfHeader(int propertiesAt, int flags, bool corrected, int tail) {
    const Bytes guidTail = {0xCF, 0x11, 0xA6, 0xD9, 0, 0xAA, 0, 0x62, 0xCE, 0x6C};
    MpegBuilder b;
    b.Add({0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66}).Add(guidTail);
    b.Fill(static_cast<std::size_t>(propertiesAt - 16), 7);
    b.Add({0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9, 0xCF, 0x11, 0x8E, 0xE4, 0, 0xC0, 0x0C, 0x20, 0x53, 0x65});
    b.Fill(72, 2).Add({flags, 2, 2, 2, 40, 0, 0, 0}).Fill(8, 9);
    if (corrected) b.Add({0x35, 0x26, 0xB2, 0x75, 0x8E, 0x66}).Add(guidTail);
    return b.Fill(static_cast<std::size_t>(tail), 0).Get();
}

Bytes TransportPacket(int counter) {
    return MpegBuilder().Add({0x47, 0, 0, 0x10 | counter}).Fill(184, 3).Get();
}

struct Seam {
    int   format;
    Bytes head, file, output;
};

// A program stream: the clock moves to the pack of the group, the audio begins with a frame, and the picture
// in front of the sequence header goes.
Seam ProgramSeam(bool mpeg2, int format) {
    const Bytes before = Join({kJunk, Pack(mpeg2, 500), Pes(0xC0, kEarly, Join({kJunk, kFrames}))});
    const Bytes behind = Join({kSequence, Pes(0xC0, kLate, kFrames)});
    return {format, Join({Pack(mpeg2, 90000), kJunk}),
            Join({before, Pack(mpeg2, 7), Pes(0xE0, kMiddle, kPicture), behind}),
            Join({Pack(mpeg2, 7U - 1248), kJunk, Pes(0xC0, kEarly, kFrames, 6), Pack(mpeg2, 7),
                  Pes(0xE0, kMiddle, {}, static_cast<int>(kPicture.size()) - 11), behind})};
}

std::vector<Seam> Seams() {
    const Bytes asf = Bytes(40, 0x82), copied = {1, 0, 5, 2, 1};
    const auto  packet = [](int b1, int b2) { return MpegBuilder().Add({0x82, b1, b2}).Fill(37).Get(); };
    const Bytes late   = Join({Pack(true, 5), Pes(0xC0, kLate, kFrames)});
    return {
        {1, Join({Pack(false, 1), Pes(0xC0, {}, kFrames), Pes(0xE0, {}, kSequence)}),
         Join({kJunk, Pack(false, 9), kFrames}),
         Join({Pack(false, 1), Pes(0xE0, {}, kSequence), Pack(false, 9), kFrames})},
        {4, Join({Pack(true, 1), Pes(0xE0, kEarly, {}), Pes(0xC0, kEarly, {})}),
         Join({kJunk, Pack(true, 2), Pes(0xC0, kEarly, {}), Pes(0xE0, kMiddle, Join({kPicture, kSequence})),
               Pack(true, 3), Pes(0xC0, kEarly, kFrames), Pack(true, 4), Pes(0xE0, kLate, kPicture),
               Pes(0xC0, kEarly, kFrames), late, late}),
         Join({Pack(true, 1), Pes(0xE0, copied, {}), Pes(0xC0, copied, {}), Pack(true, 2),
               Pes(0xE0, kMiddle, kSequence, 0), Pack(true, 4), Pes(0xE0, kLate, kPicture), late, late})},
        {6, {}, Join({kJunk, kFrames}), kFrames},
        {8, AsfHeader(50, 2, false, 80), Join({asf, packet(0, 0), packet(0, 0)}),
         Join({AsfHeader(50, 1, false, 80), packet(0, 0), packet(0, 0)})},
        {20, AsfHeader(50, 7, true, 80), Join({packet(0, 0), packet(0x11, 1), packet(0x11, 1)}),
         Join({AsfHeader(50, 5, true, 80), packet(0x11, 1), packet(0x11, 1)})},
        {8, AsfHeader(30, 2, false, 17), Join({packet(0, 0), packet(0, 0)}),
         Join({AsfHeader(30, 1, false, 17), packet(0, 0), packet(0, 0)})},
        {8, AsfHeader(30, 2, false, 16), packet(0, 0), {}}, // one byte short of a header
        {13, Join({kJunk, Pes(0xC0, {}, kFrames)}),
         Join({TransportPacket(14), TransportPacket(15), TransportPacket(0), TransportPacket(1)}),
         Join({kJunk, TransportPacket(0), TransportPacket(1)})},
        {13, kJunk, Join({TransportPacket(0), TransportPacket(1), TransportPacket(2)}), {}},
        {23, kJunk, kFrames, kFrames},
        ProgramSeam(false, 24),
        ProgramSeam(true, 24),
        ProgramSeam(true, 0),
    };
}

TEST_F(MpgConcat, SeamsLookAsTheyShould) {
    for (const Seam& seam : Seams()) {
        SCOPED_TRACE("format " + std::to_string(seam.format));
        Concat         concat;
        CKivDynaBuffer head = Buffer(seam.head), data = Buffer(seam.file);
        concat.SetHeader(head, static_cast<Kiv_MEDIA_FORMAT_TYPE>(seam.format));
        concat.PullData(data, 0);
        EXPECT_EQ(concat.Drain(), seam.output);
    }
}

// Program streams, cut in two anywhere, and so again behind a rewind.
TEST_F(MpgConcat, SeamsMayLieAnywhereInThePieces) {
    for (const Seam& seam : Seams()) {
        if (!ConcatModel::Knows(seam.format)) continue;
        for (unsigned seed = 0; seed <= seam.file.size(); ++seed) { // where it is cut
            Pair pair(seed);
            pair.SetHeader(seam.format, seam.head);
            for (int file = 0; file < 2; ++file) {
                pair.Deliver(true, ConcatModel::Part(seam.file, 0, seed), 3);
                pair.Deliver(true, ConcatModel::Part(seam.file, seed, 9999), 100);
                pair.real.Rewinded();
                pair.model.Rewinded();
            }
            if (HasFatalFailure()) return;
        }
    }
}

// The others, cut likewise: the place to join begins behind some junk, and some formats only see it where one
// piece holds all that tells it.
TEST_F(MpgConcat, OtherFormatsJoinAnywhereOrWhereOnePieceHoldsThePlace) {
    const Bytes packet = MpegBuilder().Add({0x82, 0, 0}).Fill(37).Get();
    const Bytes head = Pack(false, 1), packets = Join({TransportPacket(0), TransportPacket(1), kJunk});

    const struct {
        int                format;
        Bytes              head, sent, file;
        ConcatModel::Index together; // bytes that tell the place
    } rows[] = {{1, head, head, Join({Pack(false, 2), kFrames}), 4},
                {6, {}, {}, kFrames, 0},
                {8, AsfHeader(30, 2, false, 99), AsfHeader(30, 1, false, 99), Join({packet, packet}), 43},
                {13, kJunk, kJunk, Join({packets, packets}), 0}};

    for (const auto& row : rows) {
        const Bytes junk = row.format == 13 ? TransportPacket(9) : kJunk, file = Join({junk, row.file});
        const auto  from = ConcatModel::Size(junk);
        for (ConcatModel::Index at = 0; at <= ConcatModel::Size(file); ++at) {
            Concat         concat;
            CKivDynaBuffer header = Buffer(row.head);
            concat.SetHeader(header, static_cast<Kiv_MEDIA_FORMAT_TYPE>(row.format));
            for (int again = 0; again < (row.together == 0 ? 1 : 2); ++again) {
                for (const Bytes& piece :
                     {ConcatModel::Part(file, 0, at), ConcatModel::Part(file, at, 9999)}) {
                    CKivDynaBuffer data = Buffer(piece);
                    concat.PullData(data, 0);
                }
                const bool found = at <= from || at >= from + row.together;
                ASSERT_EQ(concat.Drain(), found ? Join({row.sent, row.file}) : row.sent)
                    << row.format << ' ' << at;
                concat.Rewinded();
            }
        }
    }
}

// Dropped, sent and pending bytes of a file are those that went in and those that were added.
TEST_F(MpgConcat, CountsWhatBecameOfEveryByte) {
    const Seam     seam  = ProgramSeam(true, 24);
    const Bytes    audio = Pes(0xC0, kEarly, kFrames);
    Concat         concat;
    CKivDynaBuffer head = Buffer(seam.head), data = Buffer(seam.file);
    concat.SetHeader(head, kKivFmt_Avs);
    EXPECT_EQ(concat.Status(), "status=COLLECTING_DATA;NotignoreAudioHeader;headerLen=20;audioPack=0;"
                               "AudioPackNotFound;DataPackNotFound;SeqHeadNotFound;");
    concat.PullData(data, 0);
    EXPECT_EQ(concat.Status(), "status=PIPING_DATA;NotignoreAudioHeader;headerLen=20;audioPack=0;"
                               "AudioPackFound;DataPackFound;SeqHeadFound;");
    concat.EndOfStream();
    const KivSpliceCounts& counts = concat.GetSpliceCounts();
    EXPECT_EQ(counts.headerBytes, seam.head.size());
    EXPECT_EQ(counts.audioBytes, audio.size());
    EXPECT_EQ(counts.endBytes, 12U);
    EXPECT_EQ(counts.droppedVideo, kPicture.size());
    EXPECT_EQ(counts.clock, std::uint32_t{7} - 1248);
    EXPECT_EQ(counts.rewritten, 2U);
    EXPECT_EQ(concat.Drain().size() + counts.droppedEarly + counts.droppedVideo,
              seam.file.size() + seam.head.size() + audio.size() + 12);
}

TEST_F(MpgConcat, DeliversExactlyWhatIsAskedForAndEndsTheStream) {
    Concat         concat;
    CKivDynaBuffer data("12345678", 8);
    EXPECT_EQ(concat.PullData(data, 10), 2);
    EXPECT_EQ(data.GetSize(), 0);
    EXPECT_EQ(concat.CanPullData(5), 0);
    EXPECT_EQ(concat.CanPullData(11), 3);
    concat.EndOfStream();
    EXPECT_EQ(concat.PullData(data, 10), 0);
    EXPECT_EQ(Content(data), Bytes({'1', '2', '3', '4', '5', '6', '7', '8', 0xFF, 0xFF}));
    EXPECT_EQ(concat.Drain(), Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 1, 0xB9}));
}

TEST_F(MpgConcat, OneFrameBehindIsEnoughWithTheFlagOtherwiseTheChainReachesTheEnd) {
    Concat               concat;
    const CKivDynaBuffer frames = Buffer(kFrames);
    const int            size   = static_cast<int>(kFrames.size());
    EXPECT_EQ(concat.findMPASyncWord(frames, 0, 0, size, 1), 0);
    EXPECT_EQ(concat.findMPASyncWord(frames, 0, 0, size, 0), size - 48);
    EXPECT_EQ(concat.findMPASyncWord(frames, 48, 0, 48, 1), -1);
    EXPECT_EQ(concat.findMPASyncWord(frames, 0, 0, size + 48, 0), -1);
}

TEST_F(MpgConcat, APackIsCompleteWhenTheNextBeginsAndThreeTransportPacketsWhenTheyAreThere) {
    Concat         concat;
    CKivDynaBuffer pack, buffer = Buffer(Join({kJunk, Pack(true, 1), kSequence}));
    EXPECT_EQ(concat.GetPack(pack, buffer), 0);
    buffer.Append(Pack(true, 2).data(), 4);
    EXPECT_EQ(concat.GetPack(pack, buffer), 1);
    EXPECT_EQ(Content(pack), Join({Pack(true, 1), kSequence}));
    EXPECT_EQ(Content(buffer), MpegBuilder().Code(0xBA).Get());
    const CKivDynaBuffer packets =
        Buffer(Join({kJunk, TransportPacket(1), TransportPacket(1), TransportPacket(0), TransportPacket(1)}));
    EXPECT_EQ(concat.findMTSSyncWord(packets, 0, 563), 0);
    EXPECT_EQ(concat.findMTSSyncWord(packets, 0, 758), 6 + 376);
    EXPECT_EQ(concat.findMTSSyncWord(packets, 7, 751), 6 + 376);
}

// ---- Program streams against the model.

// Files glued of slices of those above, whole and damaged; a seed gives the same in every run.
class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}

    int Below(int n) { return static_cast<int>(m_engine() % static_cast<unsigned>(n)); }

    bool OneIn(int n) { return Below(n) == 0; }

    int Of(std::initializer_list<int> values) {
        return values.begin()[Below(static_cast<int>(values.size()))];
    }

    // A pack of audio packets, each with the next ones in it, with few frames that are followed by one. The
    // group behind makes it a splice, which keeps what was written into them.
    Bytes OverlappingPackets() {
        MpegBuilder b;
        b.Mpeg2Pack();
        for (int n = 3 + Below(25); n > 0; --n) {
            b.Code(0xC0).Add({Of({0, 1, 2, 3, 11, 12, 13}), Below(256), 0x80, 0, Of({0, 0, 200})});
            for (int frames = Below(4); frames > 0; --frames)
                b.Add({0xFF, 0xF3, Of({0x14, 0x14, 0xA4, 0x1C}), 0})
                    .Fill(44, static_cast<unsigned char>(Of({0, 0xFF})));
            b.Fill(static_cast<std::size_t>(Below(150)), 0);
        }
        return b.Group(0, 0, 1).Fill(4).Get();
    }

    Bytes Slice() {
        static const std::vector<Seam> seams = Seams();
        const Seam&  seam  = seams[static_cast<std::size_t>(Below(static_cast<int>(seams.size())))];
        const Bytes& whole = OneIn(4) ? seam.head : seam.file;
        const int    size  = static_cast<int>(whole.size());
        const int    begin = OneIn(2) ? 0 : Below(size + 1);
        return ConcatModel::Part(whole, begin, OneIn(2) ? size : begin + Below(size - begin + 1));
    }

    // Damage is of bytes that start codes, sync words and time stamps are made of.
    Bytes File(int slices) {
        MpegBuilder b;
        while (slices-- > 0) b.Add(OneIn(20) ? OverlappingPackets() : Slice());
        Bytes file = b.Get();
        for (int n = Below(20); n > 0 && !file.empty(); --n) {
            const int at = Below(static_cast<int>(file.size()));
            const int to = Of({0, 0, 1, 1, 5, 9, 0xFF, 0xBA, 0xC0, 0xC1, 0xE0, 0xE1, 0xB3, 0xB8});

            file[static_cast<std::size_t>(at)] = static_cast<unsigned char>(OneIn(6) ? Below(256) : to);
        }
        return file;
    }

private:
    std::mt19937 m_engine;
};

void CompareCalls(unsigned seed) {
    Random random(seed);
    Pair   pair(seed);
    for (int file = 0; file < 4; ++file) {
        if (file == 0 || random.OneIn(4)) {
            pair.SetHeader(random.Of({4, 24}), random.File(random.Below(5)));
        } else {
            pair.real.Rewinded();
            pair.model.Rewinded();
        }
        const Bytes bytes = random.File(1 + random.Below(8));
        const int   size  = random.Of({1, 3, 17, 100, 400, 3000});
        int         calls = 0;
        for (ConcatModel::Index at = 0, end; at < ConcatModel::Size(bytes); at = end) {
            end = ++calls > 60 ? ConcatModel::Size(bytes) : at + random.Below(2 * size);
            pair.Deliver(!random.OneIn(60), ConcatModel::Part(bytes, at, end),
                         random.Of({0, 1, 5, size, size, 2 * size, random.OneIn(5) ? -1 : 5}));
            if (random.OneIn(50)) {
                Concat copy(pair.real);
                pair.real.reset(0);
                pair.real = copy;
                pair.real.EndOfStream();
                pair.model.EndOfStream();
            }
            if (testing::Test::HasFatalFailure()) return;
        }
        pair.Deliver(false, {}, static_cast<long>(pair.model.pending.size()));
    }
}

// Repetitions (--gtest_repeat) take further seeds.
TEST_F(MpgConcat, EverySequenceOfCallsGivesWhatTheModelGives) {
    static unsigned seed = 0;
    for (int i = 0; i < 3000 && !HasFatalFailure(); ++i) CompareCalls(++seed);
}

} // namespace
