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
    using CMpegStreamConcatenator::AdjustHeader;
    using CMpegStreamConcatenator::CollectData;
    using CMpegStreamConcatenator::ConcatAudioHead;
    using CMpegStreamConcatenator::CutAudio;
    using CMpegStreamConcatenator::EjectBFramesInOutBuffer;
    using CMpegStreamConcatenator::findMPASyncWord;
    using CMpegStreamConcatenator::findMTSSyncWord;
    using CMpegStreamConcatenator::GetGop;
    using CMpegStreamConcatenator::GetPack;
    using CMpegStreamConcatenator::PipeData;

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

    void SetHeader(int format, Bytes head) {
        CKivDynaBuffer buffer = Buffer(head);
        SAME(real.SetHeader(buffer, static_cast<Kiv_MEDIA_FORMAT_TYPE>(format)),
             model.SetHeader(head, format));
        SAME(Content(buffer), head);
    }

    void Deliver(bool pull, Bytes data, long wanted) {
        CKivDynaBuffer buffer = Buffer(data);
        const long     result = pull ? real.PullData(buffer, wanted) : real.OutputData(buffer, wanted);
        SAME(result, pull ? model.PullData(data, wanted) : model.OutputData(data, wanted));
        SAME(Content(buffer), data);
        SAME(real.Status(), model.ReportStatus());
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

Bytes AsfHeader(int propertiesAt, int flags, std::uint32_t packetSize, bool corrected, int tail) {
    MpegBuilder b;
    b.Add(ConcatModel::kHeader)
        .Fill(static_cast<std::size_t>(propertiesAt - 16), 7)
        .Add(ConcatModel::kProperties);
    b.Fill(72, 2).Add({flags, 2, 2, 2});
    for (int i = 0; i < 32; i += 8) b.Add({static_cast<int>(packetSize >> i & 0xFF)});
    b.Fill(8, 9).Add(corrected ? ConcatModel::kCorrection : Bytes());
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
        {8, AsfHeader(50, 2, 40, false, 80), Join({asf, packet(0, 0), packet(0, 0)}),
         Join({AsfHeader(50, 1, 40, false, 80), packet(0, 0), packet(0, 0)})},
        {20, AsfHeader(50, 7, 40, true, 80), Join({packet(0, 0), packet(0x11, 1), packet(0x11, 1)}),
         Join({AsfHeader(50, 5, 40, true, 80), packet(0x11, 1), packet(0x11, 1)})},
        {8, AsfHeader(30, 2, 40, false, 17), Join({packet(0, 0), packet(0, 0)}),
         Join({AsfHeader(30, 1, 40, false, 17), packet(0, 0), packet(0, 0)})},
        {8, AsfHeader(30, 2, 40, false, 16), packet(0, 0), {}}, // one byte short of a header
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

// Cut in two anywhere, and so again behind a rewind.
TEST_F(MpgConcat, SeamsMayLieAnywhereInThePieces) {
    for (const Seam& seam : Seams()) {
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

// ---- Everything against the model.

// Pseudo-random media, whole and damaged; a seed gives the same in every run.
class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}

    int Below(int n) { return static_cast<int>(m_engine() % static_cast<unsigned>(n)); }

    bool OneIn(int n) { return Below(n) == 0; }

    int Of(std::initializer_list<int> values) {
        return values.begin()[Below(static_cast<int>(values.size()))];
    }

    // Bytes that start codes, sync words and packets are made of.
    int Byte() {
        return OneIn(6) ? Below(256)
                        : Of({0, 0, 0, 1, 1, 0xFF, 0xBA, 0xC0, 0xE0, 0xB3, 0xB8, 0x47, 0x82, 0x11});
    }

    int Format() { return Of({1, 4, 4, 4, 6, 8, 13, 13, 20, 21, 24, 24, 24, 24, 26, Below(28)}); }

    Bytes Noise(int n) {
        MpegBuilder b;
        while (n-- > 0) b.Add({Byte()});
        return b.Get();
    }

    // Small values, so that equal ones meet.
    Bytes Stamp() {
        MpegBuilder b;
        for (int i = 0; i < 5; ++i) b.Add({Of({0, 0, 1, 5, 0x84})});
        return b.Get();
    }

    Bytes Audio() {
        MpegBuilder b;
        b.Add(Noise(Below(4)));
        for (int n = Below(5); n > 0; --n) b.AudioFrame();
        return b.Add(Noise(Below(3))).Get();
    }

    Bytes Video() {
        MpegBuilder b;
        for (int n = Below(4); n > 0; --n) {
            const Bytes pieces[] = {MpegBuilder().Sequence().Get(), MpegBuilder().Group(0, 0, 1).Get(),
                                    kPicture, Noise(Below(9))};
            b.Add(pieces[Below(4)]);
        }
        return b.Get();
    }

    Bytes Packet(int id, const Bytes& payload) {
        const Bytes fields = OneIn(3) ? Noise(Below(3)) : Stamp();
        if (OneIn(8)) return MpegBuilder().Code(id).Add({0, Below(40), 0x0F}).Add(payload).Get(); // MPEG-1
        return Pes(id, fields, payload, OneIn(8) ? Below(60) - 20 : 0);
    }

    Bytes Packets() {
        MpegBuilder b;
        b.Code(0xBA).Add({OneIn(2) ? 0x44 | Below(64) : 0x21}).Add(Noise(7 + Of({0, 2})));
        for (int n = Below(4); n > 0; --n)
            b.Add(OneIn(2) ? Packet(Of({0xC0, 0xC0, 0xC1}), OneIn(6) ? Bytes() : Audio())
                           : Packet(Of({0xE0, 0xE0, 0xE1}), Video()));
        return b.Get();
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

    Bytes Piece(int format) {
        switch (OneIn(10) ? Of({13, 6, 8, 24}) : format) {
        case 13: {
            MpegBuilder b;
            for (int n = Below(9), counter = Of({0, 13, 15}); n > 0; --n)
                b.Add(TransportPacket(counter++ & 15));
            return b.Get();
        }
        case 6: return Audio();
        case 8:
        case 20:
        case 21: return MpegBuilder().Add({0x82, Of({0, 0x11}), Of({0, 1})}).Fill(37, 0x82).Get();
        default: return Packets();
        }
    }

    Bytes File(int format, int pieces) {
        MpegBuilder b;
        while (pieces-- > 0) b.Add(OneIn(4) ? Noise(Below(30)) : Piece(format));
        Bytes file = b.Get();
        for (int n = OneIn(2) ? Below(6) : 0; n > 0 && !file.empty(); --n)
            file[static_cast<std::size_t>(Below(static_cast<int>(file.size())))] =
                static_cast<unsigned char>(Byte());
        return file;
    }

    Bytes Header(int format) {
        if ((format != 8 && format != 20 && format != 21) || OneIn(6)) return File(format, 1 + Below(4));
        return AsfHeader(30 + Below(40), Byte(), static_cast<std::uint32_t>(Of({40, 40, 3, 0, -1})), OneIn(2),
                         Below(200));
    }

private:
    std::mt19937 m_engine;
};

void CompareCalls(unsigned seed) {
    Random random(seed);
    Pair   pair(seed);
    for (int file = 0; file < 4; ++file) {
        if (file == 0 || random.OneIn(4)) {
            const int format = random.Format();
            pair.SetHeader(format, random.Header(format));
        } else {
            pair.real.Rewinded();
            pair.model.Rewinded();
        }
        const Bytes bytes = random.File(pair.model.headerFormat, 1 + random.Below(24));
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

// Every step on buffers of its own, in any state.
void CompareSteps(unsigned seed) {
    Random       random(seed);
    Pair         pair(seed);
    Concat&      real        = pair.real;
    ConcatModel& model       = pair.model;
    const bool   overlapping = random.OneIn(10);
    const int    format      = overlapping ? 24 : random.Of({6, 13, 24, 24});
    const Bytes  head        = random.OneIn(4) ? Bytes() : random.File(24, 1);
    Bytes        data = overlapping ? random.OverlappingPackets() : random.File(format, 1 + random.Below(6));
    Bytes audio = random.Noise(random.Below(4)), out = random.OneIn(3) ? Bytes() : head, gop = random.Stamp();
    CKivDynaBuffer dataBuffer = Buffer(data), audioBuffer = Buffer(audio), outBuffer = Buffer(out),
                   gopBuffer = Buffer(gop);
    const int number = random.Below(static_cast<int>(data.size()) + 9), small = random.Below(9);
    int       flag = random.Below(2), modelFlag = flag;
    pair.SetHeader(format, head);
    if (random.OneIn(3)) pair.Deliver(false, {}, 0);
    model.in      = data;
    model.pending = out;
    model.audio   = audio;
    switch (overlapping ? 0 : random.Below(10)) {
    case 0: SAME(real.CollectData(dataBuffer, outBuffer, audioBuffer), model.CollectData()); break;
    case 1: SAME(real.ConcatAudioHead(dataBuffer, outBuffer, audioBuffer), model.ConcatAudioHead()); break;
    case 2:
        gop.clear();
        gopBuffer.ClearBuffer();
        SAME(real.GetGop(dataBuffer, gopBuffer, flag), ConcatModel::GetGop(model.in, gop, modelFlag));
        SAME(flag, modelFlag);
        break;
    case 3:
        real.AdjustHeader(dataBuffer, gopBuffer, 0);
        ConcatModel::AdjustHeader(model.in, gop);
        break;
    case 4: SAME(real.GetPack(outBuffer, dataBuffer), ConcatModel::GetPack(model.pending, model.in)); break;
    case 5: SAME(real.CutAudio(dataBuffer, gopBuffer), ConcatModel::CutAudio(model.in, gop)); break;
    case 6: SAME(real.EjectBFramesInOutBuffer(dataBuffer), model.EjectBFrames(model.in)); break;
    case 7:
        model.pending.clear();
        outBuffer.ClearBuffer();
        SAME(real.PipeData(dataBuffer, small - 1), model.PipeData(model.in, small - 1));
        model.pending.clear();
        break;
    case 8:
        SAME(real.findMTSSyncWord(dataBuffer, small, number), model.FindTransport(data, small, number, 0));
        break;
    default:
        SAME(real.findMPASyncWord(dataBuffer, number, small, number, flag),
             ConcatModel::FindAudio(data, number, small, number, flag));
    }
    SAME(Content(dataBuffer), model.in);
    SAME(Content(outBuffer), model.pending);
    SAME(Content(audioBuffer), model.audio);
    SAME(Content(gopBuffer), gop);
    SAME(g_reports, model.reports);
}

// Repetitions (--gtest_repeat) take further seeds.
TEST_F(MpgConcat, EverySequenceOfCallsGivesWhatTheModelGives) {
    static unsigned seed = 0;
    for (int i = 0; i < 1500 && !HasFatalFailure(); ++i) CompareCalls(++seed);
}

TEST_F(MpgConcat, EveryStepGivesWhatThatOfTheModelGives) {
    static unsigned seed = 0;
    for (int i = 0; i < 10000 && !HasFatalFailure(); ++i) CompareSteps(++seed);
}

} // namespace
