// Splicing: what a seam of each kind of format looks like, and everything else against a plain model.
#include "asf_builder.h"
#include "concat_model.h"
#include "mpeg_builder.h"

#include <random>
#include <string>

namespace {

using namespace test;

std::vector<std::string> g_reports;

class MpgConcat : public testing::Test {
protected:
    MpgConcat() {
        KivSetPopUpHandler([](const char*, const char* text) { g_reports.emplace_back(text); });
    }

    ~MpgConcat() override { KivSetPopUpHandler(nullptr); }
};

CKivDynaBuffer Buffer(const Bytes& bytes) { return {bytes.data(), static_cast<unsigned long>(bytes.size())}; }

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

    void Rewinded() {
        real.Rewinded();
        model.Rewinded();
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

// A pack header of the given clock.
Bytes Pack(bool mpeg2, std::uint32_t clock) {
    Bytes pack = (mpeg2 ? MpegBuilder().Mpeg2Pack() : MpegBuilder().Mpeg1Pack()).Get();
    ConcatModel::PutClock(pack, mpeg2, clock);
    return pack;
}

const Bytes kEarly = {0x21, 0, 1, 0, 1}, kMiddle = {0x21, 0, 5, 8, 1}, kLate = {0x21, 0, 9, 0, 1};
const Bytes kPicture = MpegBuilder().Picture().Get(), kJunk = {1, 2, 3, 0, 0, 1};
const Bytes kSequence = MpegBuilder().Sequence().Group(0, 0, 1).Picture().Get();
const Bytes kFrames   = MpegBuilder().AudioFrame(1).AudioFrame(2).AudioFrame(3).Get();

Bytes Pes(int id, const Bytes& stamp, const Bytes& payload, int lengthError = 0) {
    return MpegBuilder().Pes(id, stamp, payload, lengthError).Get();
}

Bytes AsfHeader(std::size_t propertiesAt, unsigned flags, bool corrected, std::size_t tail) {
    const Bytes correction = AsfGuid(0x75B22635, 0x668E, kAsfTail),
                properties = AsfProperties{.flags = flags, .packetSize = 40}.Get();
    return Join(
        {kAsfHeader, Bytes(propertiesAt - 16, 7), properties, corrected ? correction : Bytes(), Bytes(tail)});
}

Bytes AsfPacket(int b1, int b2) { return MpegBuilder().Add({0x82, b1, b2}).Fill(37).Get(); }

Bytes TransportPackets(std::initializer_list<int> counters) {
    MpegBuilder b;
    for (const int counter : counters) b.Add({0x47, 0, 0, 0x10 | counter}).Fill(184, 3);
    return b.Get();
}

// How a format joins: `sent` ahead of what follows the junk, cut anywhere. Some see the place to join only
// where one piece holds all the bytes that tell it.
struct Seam {
    int                format;
    Bytes              head, sent, junk, file;
    ConcatModel::Index together = 0;
};

std::vector<Seam> Seams() {
    const Bytes video = Pes(0xE0, {}, kSequence), asf = Bytes(40, 0x82), plain = AsfPacket(0, 0),
                other = AsfPacket(0x11, 1);
    return {
        {1, Join({Pack(false, 1), Pes(0xC0, {}, kFrames), video}), Join({Pack(false, 1), video}), kJunk,
         Join({Pack(false, 9), kFrames}), 4},
        {6, {}, {}, kJunk, kFrames},
        {8, AsfHeader(50, 2, false, 80), AsfHeader(50, 1, false, 80), asf, Join({plain, plain}), 43},
        {20, AsfHeader(50, 7, true, 80), AsfHeader(50, 5, true, 80), plain, Join({other, other}), 43},
        {8, AsfHeader(30, 2, false, 17), AsfHeader(30, 1, false, 17), {}, Join({plain, plain}), 43},
        {8, AsfHeader(30, 2, false, 16), {}, plain, {}}, // one byte short of a header
        {13, Join({kJunk, Pes(0xC0, {}, kFrames)}), kJunk, TransportPackets({14, 0, 15}),
         TransportPackets({0, 1, 0, 1})},
        {13, kJunk, {}, TransportPackets({0, 1, 2}), {}},
        {23, kJunk, {}, {}, kFrames},
    };
}

TEST_F(MpgConcat, OtherFormatsJoinAnywhereOrWhereOnePieceHoldsThePlace) {
    for (const Seam& seam : Seams()) {
        const Bytes whole = Join({seam.junk, seam.file});
        const auto  from  = ConcatModel::Size(seam.junk);
        for (ConcatModel::Index at = 0; at <= ConcatModel::Size(whole); ++at) {
            Concat         concat;
            CKivDynaBuffer head = Buffer(seam.head);
            concat.SetHeader(head, static_cast<Kiv_MEDIA_FORMAT_TYPE>(seam.format));
            for (int again = 0; again < (seam.together == 0 ? 1 : 2); ++again) {
                for (const Bytes& piece :
                     {ConcatModel::Part(whole, 0, at), ConcatModel::Part(whole, at, 9999)}) {
                    CKivDynaBuffer data = Buffer(piece);
                    concat.PullData(data, 0);
                }
                const bool found = at <= from || at >= from + seam.together;
                ASSERT_EQ(concat.Drain(), found ? Join({seam.sent, seam.file}) : seam.sent)
                    << seam.format << ' ' << at;
                concat.Rewinded();
            }
        }
    }
}

// What a program stream is cut from: the clock moves to the pack of the group, the audio begins with a frame,
// and the picture in front of the sequence header goes.
struct Program {
    int   format;
    Bytes head, file;
};

Program ProgramOf(bool mpeg2, int format) {
    return {format, Join({Pack(mpeg2, 90000), kJunk}),
            Join({kJunk, Pack(mpeg2, 500), Pes(0xC0, kEarly, Join({kJunk, kFrames})), Pack(mpeg2, 7),
                  Pes(0xE0, kMiddle, kPicture), kSequence, Pes(0xC0, kLate, kFrames)})};
}

std::vector<Program> Programs() {
    const Bytes late = Join({Pack(true, 5), Pes(0xC0, kLate, kFrames)});
    return {
        {4, Join({Pack(true, 1), Pes(0xE0, kEarly, {}), Pes(0xC0, kEarly, {})}),
         Join({kJunk, Pack(true, 2), Pes(0xC0, kEarly, {}), Pes(0xE0, kMiddle, Join({kPicture, kSequence})),
               Pack(true, 3), Pes(0xC0, kEarly, kFrames), Pack(true, 4), Pes(0xE0, kLate, kPicture),
               Pes(0xC0, kEarly, kFrames), late, late})},
        ProgramOf(false, 24),
        ProgramOf(true, 24),
        ProgramOf(true, 0),
    };
}

// Cut in two anywhere, and so again behind a rewind.
TEST_F(MpgConcat, ProgramStreamsMayBeCutAnywhere) {
    for (const Program& program : Programs()) {
        for (unsigned seed = 0; seed <= program.file.size(); ++seed) { // where it is cut
            Pair pair(seed);
            pair.SetHeader(program.format, program.head);
            for (int file = 0; file < 2; ++file) {
                pair.Deliver(true, ConcatModel::Part(program.file, 0, seed), 3);
                pair.Deliver(true, ConcatModel::Part(program.file, seed, 9999), 100);
                pair.Rewinded();
            }
            if (HasFatalFailure()) return;
        }
    }
}

TEST_F(MpgConcat, TellsItsStatusAndWhatItWrote) {
    const Program  program = ProgramOf(true, 24);
    Concat         concat;
    CKivDynaBuffer head = Buffer(program.head), data = Buffer(program.file);
    concat.SetHeader(head, kKivFmt_Avs);
    EXPECT_EQ(concat.Status(), "status=COLLECTING_DATA;NotignoreAudioHeader;headerLen=20;audioPack=0;"
                               "AudioPackNotFound;DataPackNotFound;SeqHeadNotFound;");
    concat.PullData(data, 0);
    EXPECT_EQ(concat.Status(), "status=PIPING_DATA;NotignoreAudioHeader;headerLen=20;audioPack=0;"
                               "AudioPackFound;DataPackFound;SeqHeadFound;");
    concat.EndOfStream();
    const KivSpliceCounts& counts = concat.GetSpliceCounts();
    EXPECT_EQ(counts.headerBytes, program.head.size());
    EXPECT_EQ(counts.headerRewritten, 5U);
    EXPECT_EQ(counts.endBytes, 12U);
    EXPECT_EQ(counts.audioBytes, Pes(0xC0, kEarly, kFrames).size());
    EXPECT_EQ(counts.droppedVideo, kPicture.size());
    EXPECT_EQ(counts.clock, std::uint32_t{7} - 1248);
    EXPECT_EQ(counts.rewritten, 2U);
}

TEST_F(MpgConcat, GivesItsStepsToSubclasses) {
    Concat               concat;
    const CKivDynaBuffer frames = Buffer(kFrames);
    const int            size   = static_cast<int>(kFrames.size());
    EXPECT_EQ(concat.findMPASyncWord(frames, 0, 0, size, 1), 0);
    EXPECT_EQ(concat.findMPASyncWord(frames, 0, 0, size, 0), size - 48) << "the chain reaches the end";
    EXPECT_EQ(concat.findMPASyncWord(frames, 48, 0, 48, 1), -1);
    EXPECT_EQ(concat.findMPASyncWord(frames, 0, 0, size + 48, 0), -1);

    CKivDynaBuffer pack, buffer = Buffer(Join({kJunk, Pack(true, 1), kSequence}));
    EXPECT_EQ(concat.GetPack(pack, buffer), 0);
    buffer.Append(Pack(true, 2).data(), 4);
    EXPECT_EQ(concat.GetPack(pack, buffer), 1);
    EXPECT_EQ(Content(pack), Join({Pack(true, 1), kSequence}));
    EXPECT_EQ(Content(buffer), MpegBuilder().Code(0xBA).Get());

    const CKivDynaBuffer packets = Buffer(Join({kJunk, TransportPackets({1, 1, 0, 1})}));
    EXPECT_EQ(concat.findMTSSyncWord(packets, 0, 563), 0);
    EXPECT_EQ(concat.findMTSSyncWord(packets, 0, 758), 6 + 376);
}

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
        static const std::vector<Program> programs = Programs();
        const Program& program = programs[static_cast<std::size_t>(Below(static_cast<int>(programs.size())))];
        const Bytes&   whole   = OneIn(4) ? program.head : program.file;
        const int      size    = static_cast<int>(whole.size());
        const int      begin   = OneIn(2) ? 0 : Below(size + 1);
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
            pair.Rewinded();
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
