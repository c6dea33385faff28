// Splicing: the whole object against a plain model of it, and what a seam of each kind of format looks like.
#include "KivUtility.h"

#include "concat_model.h"
#include "mpeg_builder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using test::Bytes;
using test::MpegBuilder;

std::vector<std::string> g_reports;

class CatchReports {
public:
    CatchReports() {
        g_reports.clear();
        KivSetPopUpHandler([](const char*, const char* text) { g_reports.emplace_back(text); });
    }
    ~CatchReports() { KivSetPopUpHandler(nullptr); }
    CatchReports(const CatchReports&)            = delete;
    CatchReports& operator=(const CatchReports&) = delete;
};

CKivDynaBuffer Buffer(const Bytes& bytes) {
    return {bytes.data(), static_cast<unsigned long>(bytes.size())};
}

Bytes Content(const CKivDynaBuffer& buffer) {
    const auto* data = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {data, data + buffer.GetSize()};
}

// The library's object, its steps within reach.
class Concat : public CMpegStreamConcatenator {
public:
    using CMpegStreamConcatenator::AdjustGopPack;
    using CMpegStreamConcatenator::AdjustHeader;
    using CMpegStreamConcatenator::AsfHeadAnalyse;
    using CMpegStreamConcatenator::AsfPackHandler;
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
};

// Pseudo-random media, whole and damaged. The same on every system.
class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}

    int  Below(int n) { return static_cast<int>(m_engine() % static_cast<unsigned>(n)); }
    bool OneIn(int n) { return Below(n) == 0; }
    int  Of(std::initializer_list<int> values) { return values.begin()[Below(static_cast<int>(values.size()))]; }

    // Bytes that start codes, sync words and packets are made of.
    int Byte() {
        return OneIn(6) ? Below(256) : Of({0, 0, 0, 1, 1, 0xFF, 0xBA, 0xC0, 0xE0, 0xB3, 0xB8, 0x47, 0x82, 0x11});
    }

    Bytes Noise(int n) {
        MpegBuilder b;
        for (int i = 0; i < n; ++i) b.Add({Byte()});
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
            switch (Below(5)) {
            case 0: b.Sequence(); break;
            case 1: b.Group(0, 0, 1); break;
            case 2:
            case 3: b.Picture(); break;
            default: b.Add(Noise(Below(9)));
            }
        }
        return b.Get();
    }

    Bytes Pes(int id, const Bytes& payload) {
        const Bytes fields = OneIn(3) ? Noise(Below(4)) : Stamp();
        if (OneIn(8)) return MpegBuilder().Code(id).Add({0, Below(40), 0x0F}).Add(payload).Get(); // MPEG-1
        return MpegBuilder().Pes(id, fields, payload, OneIn(8) ? Below(60) - 20 : 0).Get();
    }

    Bytes Pack() {
        MpegBuilder b;
        b.Code(0xBA).Add({OneIn(2) ? 0x44 | Below(64) : 0x21}).Add(Noise(7 + Of({0, 2})));
        for (int n = Below(4); n > 0; --n)
            b.Add(OneIn(2) ? Pes(Of({0xC0, 0xC0, 0xC1}), Audio()) : Pes(Of({0xE0, 0xE0, 0xE1}), Video()));
        return b.Get();
    }

    Bytes TransportPackets() {
        MpegBuilder b;
        for (int n = Below(9), counter = Of({0, 13, 15}); n > 0; --n, ++counter)
            b.Add({0x47, 0, Byte(), 0x10 | (counter & 15)}).Fill(184, 0x33);
        return b.Get();
    }

    Bytes AsfPackets(int size, bool corrected) {
        MpegBuilder b;
        for (int n = Below(5); n > 0; --n)
            b.Add({0x82, corrected ? 0x11 : 0, corrected ? 1 : 0}).Fill(static_cast<std::size_t>(size - 3), 0x82);
        return b.Get();
    }

    Bytes Header(int format) {
        if ((format != 8 && format != 20 && format != 21) || OneIn(6)) return File(format, 1 + Below(4));
        return AsfHeader(30 + Below(40), Of({40, 40, 3, 0, -1}), OneIn(2), Below(200));
    }

    static Bytes AsfHeader(int propertiesAt, int packetSize, bool corrected, int tail) {
        MpegBuilder b;
        b.Add({0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11, 0xA6, 0xD9, 0, 0xAA, 0, 0x62, 0xCE, 0x6C});
        b.Fill(static_cast<std::size_t>(propertiesAt - 16), 7);
        b.Add({0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9, 0xCF, 0x11, 0x8E, 0xE4, 0, 0xC0, 0x0C, 0x20, 0x53, 0x65});
        b.Fill(72, 2).Add({packetSize == 40 ? 2 : 3, 2, 2, 2}).Add({packetSize & 0xFF, packetSize < 0 ? 0xFF : 0, 0});
        b.Add({packetSize < 0 ? 0xFF : 0}).Fill(8, 9);
        if (corrected)
            b.Add({0x35, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11, 0xA6, 0xD9, 0, 0xAA, 0, 0x62, 0xCE, 0x6C});
        return b.Fill(static_cast<std::size_t>(tail), 0).Get();
    }

    Bytes File(int format, int pieces) {
        MpegBuilder b;
        const int   kind = OneIn(10) ? Below(5) : format == 13 ? 0 : format == 6 ? 1 : format == 8 || format == 20 || format == 21 ? 2 : 3;
        while (pieces-- > 0) {
            if (OneIn(4)) b.Add(Noise(Below(30)));
            b.Add(kind == 0 ? TransportPackets() : kind == 1 ? Audio() : kind == 2 ? AsfPackets(40, OneIn(2)) : Pack());
        }
        Bytes file = b.Get();
        for (int n = OneIn(2) ? Below(6) : 0; n > 0 && !file.empty(); --n)
            file[static_cast<std::size_t>(Below(static_cast<int>(file.size())))] = static_cast<unsigned char>(Byte());
        return file;
    }

private:
    std::mt19937 m_engine;
};

#define SAME(got, expected) ASSERT_EQ(got, expected) << "seed " << seed << " format " << model.headerFormat << " state " << model.status << " " << model.format

void CompareStates(Concat& real, test::ConcatModel& model, unsigned seed) {
    SAME(real.Status(), model.ReportStatus());
    SAME(g_reports, model.reports);
    for (const long wanted : {0L, 5L, 100000L}) SAME(real.CanPullData(wanted), model.CanPullData(wanted));
}

void CompareCalls(unsigned seed) {
    CatchReports      caught;
    Random            random(seed);
    Concat            real;
    test::ConcatModel model;
    for (int file = 0; file < 4; ++file) {
        const int format = random.Below(28);
        if (file == 0 || random.OneIn(3)) {
            Bytes          head = random.Header(format);
            CKivDynaBuffer headBuffer(Buffer(head));
            SAME(real.SetHeader(headBuffer, static_cast<Kiv_MEDIA_FORMAT_TYPE>(format)), model.SetHeader(head, format));
            SAME(Content(headBuffer), head);
        } else {
            real.Rewinded();
            model.Rewinded();
        }
        const Bytes bytes  = random.File(model.headerFormat, 1 + random.Below(24));
        const int   size   = random.Of({1, 3, 17, 100, 400, 3000});
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t end = std::min(at + static_cast<std::size_t>(random.Below(2 * size)), bytes.size());
            Bytes             data(bytes.data() + at, bytes.data() + end);
            CKivDynaBuffer    buffer(Buffer(data));
            at = end;
            const long wanted = random.Of({0, 1, size, size, 2 * size, static_cast<int>(data.size()), random.OneIn(9) ? -1 : 5});
            if (random.OneIn(60)) {
                SAME(real.OutputData(buffer, wanted), model.OutputData(data, wanted));
            } else {
                SAME(real.PullData(buffer, wanted), model.PullData(data, wanted));
            }
            if(getenv("DBG")) printf("%d %zu %ld\n",model.headerFormat,at,wanted);
            SAME(Content(buffer), data);
            CompareStates(real, model, seed);
            if (testing::Test::HasFatalFailure()) return;
            if (random.OneIn(100)) {
                real.EndOfStream();
                model.EndOfStream();
            }
            if (random.OneIn(50)) {
                Concat copy(real);
                real.reset(0);
                real = copy;
            }
        }
        Bytes          data;
        CKivDynaBuffer buffer;
        const long     all = static_cast<long>(model.pending.size());
        SAME(real.OutputData(buffer, all), model.OutputData(data, all));
        SAME(Content(buffer), data);
    }
}

// Every step on buffers of its own, in any state.
void CompareSteps(unsigned seed) {
    CatchReports      caught;
    Random            random(seed);
    Concat            real;
    test::ConcatModel model;
    const int         format = random.Of({6, 13, 24});
    Bytes             head   = random.OneIn(4) ? Bytes() : random.File(24, 1), none;
    CKivDynaBuffer    headBuffer(Buffer(head)), noBuffer;
    real.SetHeader(headBuffer, static_cast<Kiv_MEDIA_FORMAT_TYPE>(format));
    model.SetHeader(head, format);
    if (random.OneIn(3)) {
        real.OutputData(noBuffer, 0);
        model.OutputData(none, 0);
    }

    Bytes          data = random.File(format, 1 + random.Below(6)), audio = random.Noise(random.Below(4));
    Bytes          out  = random.OneIn(3) ? Bytes() : test::ConcatModel::Part(head, 0, 9999), gop = random.Stamp();
    CKivDynaBuffer dataBuffer(Buffer(data)), audioBuffer(Buffer(audio)), outBuffer(Buffer(out)), gopBuffer(Buffer(gop));
    const int      size   = static_cast<int>(data.size());
    long           wanted = 0;
    switch (random.Below(8)) {
    case 0:
        model.in      = data;
        model.pending = out;
        model.audio   = audio;
        if (random.OneIn(2)) {
            SAME(real.CollectData(dataBuffer, outBuffer, audioBuffer), model.CollectData());
        } else {
            SAME(real.ConcatAudioHead(dataBuffer, outBuffer, audioBuffer), model.ConcatAudioHead());
        }
        data  = model.in;
        out   = model.pending;
        audio = model.audio;
        break;
    case 1:
        wanted = random.Below(9) - 1;
        SAME(real.PipeData(dataBuffer, wanted), model.PipeData(data, wanted));
        break;
    case 2: {
        gop.clear();
        gopBuffer.ClearBuffer();
        int realFlag = random.Below(2), flag = realFlag;
        SAME(real.GetGop(dataBuffer, gopBuffer, realFlag), model.GetGop(data, gop, flag));
        SAME(realFlag, flag);
        break;
    }
    case 3:
        real.AdjustHeader(dataBuffer, gopBuffer, 0);
        model.AdjustHeader(data, gop);
        break;
    case 4: SAME(real.GetPack(outBuffer, dataBuffer), model.GetPack(out, data)); break;
    case 5: SAME(real.CutAudio(dataBuffer, gopBuffer), model.CutAudio(data, gop)); break;
    case 6: SAME(real.EjectBFramesInOutBuffer(dataBuffer), model.EjectBFrames(data)); break;
    default: {
        const int start = random.Below(99), from = random.Below(9), to = random.Below(size + 9), flag = random.Below(2);
        SAME(real.findMPASyncWord(dataBuffer, start, from, to, flag), model.FindAudio(data, start, from, to, flag));
        SAME(real.findMTSSyncWord(dataBuffer, start, to), model.FindTransport(data, start, to, 0));
    }
    }
    SAME(Content(dataBuffer), data);
    SAME(Content(outBuffer), out);
    SAME(Content(audioBuffer), audio);
    SAME(Content(gopBuffer), gop);
    SAME(g_reports, model.reports);
}

// Further repetitions (--gtest_repeat) take further seeds.
TEST(MpgConcat, GivesWhatTheModelGives) {
    static unsigned seed = 0;
    for (int i = 0; i < 2000 ; ++i) CompareCalls(++seed);
}

TEST(MpgConcat, EveryStepGivesWhatThatOfTheModelGives) {
    static unsigned seed = 0;
    for (int i = 0; i < 20000; ++i) CompareSteps(++seed);
}

} // namespace
