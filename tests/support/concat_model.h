// How CMpegStreamConcatenator joins program streams, one plain step behind the other and without regard to
// speed: what the library's is held against.
#ifndef KIVUTILITY_TESTS_CONCAT_MODEL_H
#define KIVUTILITY_TESTS_CONCAT_MODEL_H

#include "mpeg_builder.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace test {

struct ConcatModel {
    using Index = std::ptrdiff_t;

    enum { kUnknown, kCollecting, kConcatenating, kPiping };

    Bytes pending, in, header, audio, gop, remainder;
    int   status, headerFormat = 0, stage;
    bool  ignoreAudio, gopHasSeqHead;

    std::vector<std::string> reports;

    ConcatModel() { Reset(0); }

    // Bytes.
    static Index Size(const Bytes& b) { return static_cast<Index>(b.size()); }

    static int At(const Bytes& b, Index i) { return i >= 0 && i < Size(b) ? b.data()[i] : 0; }

    static int Word(const Bytes& b, Index i) { return At(b, i) * 256 + At(b, i + 1); }

    static Bytes Part(const Bytes& b, Index from, Index to) {
        to = std::clamp<Index>(to, 0, Size(b));
        return from < to ? Bytes(b.data() + from, b.data() + to) : Bytes();
    }

    static void Append(Bytes& to, const Bytes& b) { to.insert(to.end(), b.begin(), b.end()); }

    static void Remove(Bytes& b, Index from, Index to) {
        b.erase(b.begin() + from, b.begin() + std::min(to, Size(b)));
    }

    static void Put(Bytes& b, Index i, Index value) {
        if (i >= 0 && i < Size(b)) b.data()[i] = static_cast<unsigned char>(value & 0xFF);
    }

    static void PutWord(Bytes& b, Index i, Index value) {
        Put(b, i, value >> 8);
        Put(b, i + 1, value);
    }

    // Start codes: of the kinds lo..hi at i; the first one from `from` on and before `end`, or -1.
    static bool Code(const Bytes& b, Index i, int lo, int hi) {
        return At(b, i) == 0 && At(b, i + 1) == 0 && At(b, i + 2) == 1 && At(b, i + 3) >= lo
               && At(b, i + 3) <= hi && i + 3 < Size(b);
    }

    static Index First(const Bytes& b, int lo, int hi, Index from = 0, Index end = 1 << 30) {
        for (Index i = from; i < std::min(end, Size(b) - 3); ++i)
            if (Code(b, i, lo, hi)) return i;
        return -1;
    }

    // A pack header's clock, but for its highest bit.
    static void PutClock(Bytes& pack, bool mpeg2, std::uint32_t clock) {
        KivSetBufferBits(pack.data(), mpeg2 ? 34 : 36, 3, clock >> 30);
        KivSetBufferBits(pack.data(), mpeg2 ? 38 : 40, 15, clock >> 15 & 0x7FFF);
        KivSetBufferBits(pack.data(), mpeg2 ? 54 : 56, 15, clock & 0x7FFF);
    }

    void Check(bool holds, int line, const char* text) {
        if (!holds) reports.push_back("MpgConcat(" + std::to_string(line) + ") : " + text + " Failed");
    }

    // Driving.
    void Reset(int keepHeader) {
        if (keepHeader == 0) {
            header.clear();
            headerFormat = 0;
        }
        stage = 4;
        for (Bytes* buffer : {&gop, &remainder, &pending, &in, &audio}) buffer->clear();
        ignoreAudio = gopHasSeqHead = false;
        status                      = kPiping;
    }

    void Rewinded() {
        Reset(1);
        if (!header.empty()) status = kCollecting;
    }

    void SetHeader(const Bytes& head, int type) {
        Reset(0);
        headerFormat = type;
        status       = kCollecting;
        header       = head;
    }

    long CanPullData(long wanted) { return std::max(0L, wanted - static_cast<long>(pending.size())); }

    void EndOfStream() { Append(pending, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 1, 0xB9}); }

    long PullData(Bytes& data, long wanted) {
        Check(wanted >= 0, 516, "bytesWants>=0");
        wanted = std::max(wanted, 0L);
        if (headerFormat == 4) return Mp2ConcatHandler(data, wanted);
        if (status == kCollecting || status == kConcatenating) {
            Append(in, data);
            data.clear();
            if (status == kCollecting) status = CollectData();
            if (status == kConcatenating) status = ConcatAudioHead();
            if (status != kPiping) return wanted;
        }
        return PipeData(data, wanted);
    }

    long OutputData(Bytes& data, long wanted) {
        status = kPiping;
        return PipeData(data, wanted);
    }

    long PipeData(Bytes& data, long wanted) {
        Check(wanted >= 0, 476, "bytesWants>=0");
        wanted           = std::max(wanted, 0L);
        const long total = static_cast<long>(pending.size() + data.size());
        Append(pending, data);
        data.clear();
        if (total < wanted) return wanted - total;
        data = Part(pending, 0, wanted);
        Remove(pending, 0, wanted);
        return 0;
    }

    int CollectData() {
        Check(!header.empty(), 303, "m_header.GetSize()");
        const Index size         = Size(in);
        Index       partialAudio = -1, save = -1, lastPack = -1;
        for (Index i = 0; i < size - 3; ++i) {
            if (Code(in, i, 0xBA, 0xBA)) {
                save = lastPack = i;
            } else if (Code(in, i, 0xC0, 0xC0)) {
                if (i + 7 <= size) ignoreAudio = At(in, i + 6) >> 6 != 2;
                if (i + 7 <= size && ignoreAudio) {
                    audio.clear();
                    continue;
                }
                if (i + 9 > size || i + Word(in, i + 4) + 6 > size) {
                    partialAudio = i;
                    continue;
                }
                const Index packet = Word(in, i + 4) + 6, payload = At(in, i + 8) + 9;
                const Index frame = FindAudio(in, i, payload, packet);
                if (frame >= 0) {
                    const Index length = i + packet - frame;
                    Check(length != 0, 347, "audioDataLen");
                    PutWord(in, i + 4, length + payload);
                    audio = Part(in, i, i + payload);
                    Append(audio, Part(in, frame, frame + length));
                }
                Check(!audio.empty(), 353, "audioBuffer.GetSize()");
            } else if (Code(in, i, 0xB8, 0xB8)) {
                if ((!ignoreAudio && audio.empty()) || lastPack < 0) continue;
                if (i + 12 <= size) return Splice(lastPack);
                save = i;
            }
        }
        const Index a   = partialAudio < 1 ? size : partialAudio;
        const Index b   = save < 1 ? size : save;
        const Index cut = size < 4 ? size : a < b ? a : b;
        Check(cut > 0, 462, "saveDataIdx>0");
        Remove(in, 0, cut);
        return kCollecting;
    }

    int Splice(Index lastPack) {
        pending = header;
        Append(pending, audio);
        const Bytes pack = Part(in, lastPack, lastPack + 12);
        Remove(in, 0, lastPack + 12);
        Append(pending, pack);
        const auto bits = [&](unsigned from, int n) {
            return std::uint32_t(KivGetBufferBits(pack.data(), from, n));
        };
        const bool mpeg2 = bits(32, 2) == 1;
        const auto high = bits(mpeg2 ? 34 : 36, 3), middle = bits(mpeg2 ? 38 : 40, 15);
        PutClock(pending, mpeg2, ((high << 15 | middle) << 15 | bits(mpeg2 ? 54 : 56, 15)) - 1248);
        return kConcatenating;
    }

    int ConcatAudioHead() {
        if (ignoreAudio) {
            audio.clear();
            Append(pending, in);
            return kPiping;
        }
        Check(!audio.empty(), 219, "audioBuffer.GetSize()");
        if (First(in, 0xC0, 0xC0) >= 0) {
            Append(pending, in);
            audio.clear();
            EjectBFrames(pending);
            return kPiping;
        }
        Check(Size(in) >= 5, 255, "inBuffer.GetSize()>4");
        Append(pending, Part(in, 0, Size(in) - 4));
        Remove(in, 0, std::max<Index>(Size(in) - 4, 0));
        return kConcatenating;
    }

    void EjectBFrames(Bytes& out) {
        Index video = -1, sequence = -1;
        for (Index i = Size(header); i < Size(out) - 3 && sequence <= 0; ++i) {
            if (Code(out, i, 0xE0, 0xE0)) video = i;
            if (Code(out, i, 0xB3, 0xB3)) sequence = i;
        }
        Check(video > 0 && sequence > video, 1432, "VideoPackIndex>0 && SeqHeaderIndex>VideoPackIndex");
        if (video < 0 || sequence <= video) return;
        const Index length = At(out, video + 8);
        PutWord(out, video + 4, Word(out, video + 4) - sequence + length + video + 6);
        const Bytes rest = Part(out, sequence, Size(out));
        out.resize(static_cast<std::size_t>(video + length + 9));
        Append(out, rest);
    }

    // MPEG-2 program streams.
    long Mp2ConcatHandler(Bytes& data, long wanted) {
        if (stage == 4) {
            if (!GetGop(data)) return wanted;
            AdjustHeader(header, gop);
            Append(pending, header);
            stage = 5;
        }
        if (stage == 5) {
            in = remainder;
            Append(in, data);
            data.clear();
            for (Bytes pack; stage == 5;) {
                if (!GetPack(pack, in)) {
                    remainder = in;
                    return OutputData(data, wanted);
                }
                if (CutAudio(pack, gop) == 0) stage = 3;
                Append(pending, pack);
            }
            Append(pending, in);
        }
        return OutputData(data, wanted);
    }

    bool GetGop(Bytes& data) {
        Index pack = -1, sequence = -1, group = -1;
        for (Index i = 0; i < Size(data) - 3 && group < 0; ++i) {
            if (Code(data, i, 0xBA, 0xBA)) pack = i;
            if (pack >= 0 && Code(data, i, 0xB3, 0xB3)) sequence = i;
            if (pack >= 0 && Code(data, i, 0xB8, 0xB8)) group = i;
        }
        gopHasSeqHead |= sequence >= 0;
        if (group < 0) {
            data.clear();
            return false;
        }
        Remove(data, 0, pack);
        Index video = group - pack;
        while (video >= 0 && !Code(data, video, 0xE0, 0xEF)) --video;
        if (video < 0) return true;
        Append(gop, Part(data, video + 9, video + 14));
        AdjustGopPack(data, video, (gopHasSeqHead ? sequence : group) - pack);
        return true;
    }

    static void AdjustGopPack(Bytes& pack, Index video, Index cut) {
        const Index picture = First(pack, 0, 0xAF, video + 1, cut - 3);
        if (video < picture && picture < cut) {
            PutWord(pack, video + 4, picture + Word(pack, video + 4) - cut);
            Remove(pack, picture, cut);
        }
        const Index packet = First(pack, 0xC0, 0xEF, 0, video - 3);
        if (packet >= 0) Remove(pack, packet, video);
    }

    static void AdjustHeader(Bytes& header, const Bytes& gop) {
        for (const int kind : {0xE0, 0xC0}) {
            const Index at = First(header, kind, kind == 0xE0 ? 0xEF : 0xDF);
            if (at < 0 || at + 13 > Size(header) + 1) return;
            Put(header, at + 9, At(header, at + 9) != 0 || At(gop, 0) != 0 ? 1 : 0);
            Put(header, at + 10, At(gop, 1));
            Put(header, at + 11, At(gop, 2));
            Put(header, at + 12, At(gop, 3) >> 2);
            Put(header, at + 13, At(gop, 4));
        }
    }

    static bool GetPack(Bytes& pack, Bytes& buffer) {
        const Index at   = First(buffer, 0xBA, 0xBA);
        const Index next = at < 0 ? -1 : First(buffer, 0xBA, 0xBA, at + 1);
        if (next < 0) return false;
        pack = Part(buffer, at, next);
        Remove(buffer, 0, next);
        return true;
    }

    static int CutAudio(Bytes& pack, const Bytes& gop) {
        Index at = -1;
        for (Index i = 0; i < Size(pack) - 3; ++i)
            if (Code(pack, i, 0xC0, 0xDF)) at = i;
        const bool hasVideo = First(pack, 0xE0, 0xEF) >= 0;
        if (Size(pack) < 4 || at < 0 || at + 13 > Size(pack) + 1) return 1;
        const bool audioTop = At(pack, at + 9) != 0, gopTop = At(gop, 0) != 0;
        if (audioTop && !gopTop) return 0;
        if (audioTop == gopTop) {
            if (Word(pack, at + 10) > Word(gop, 1)) return 0;
            if (Word(pack, at + 10) == Word(gop, 1) && Word(pack, at + 12) >= Word(gop, 3)) return 0;
        }
        if (!hasVideo) {
            pack.clear();
            return 1;
        }
        const Index video = First(pack, 0xE0, 0xEF, at);
        Remove(pack, at, video < 0 ? Size(pack) : video);
        return 1;
    }

    static Index FrameLength(const Bytes& b, Index at) {
        static const int kRates[3][3] = {{44100, 48000, 32000}, {22050, 24000, 16000}, {11025, 12000, 8000}};
        static const int kBitRates[][14] = {
            {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
            {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
            {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
            {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
            {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};
        static const int kVersions[] = {3, 1, 2, 1}, kLayers[] = {0, 3, 2, 1};

        const int version = kVersions[At(b, at + 1) >> 3 & 3], layer = kLayers[At(b, at + 1) >> 1 & 3];
        const int index = At(b, at + 2) >> 4, sampling = At(b, at + 2) >> 2 & 3, pad = At(b, at + 2) >> 1 & 1;
        const int rate  = sampling == 3 ? -1000 : kRates[version - 1][sampling];
        const int table = version == 1 ? layer - 1 : layer == 1 ? 3 : 4;

        int bitRate = index == 0 || index == 15 ? 1 : kBitRates[std::max(table, 0)][index - 1];
        if (layer == 0) bitRate = std::max(index, 1);
        return layer == 1 ? (bitRate * 12000 / rate + pad) * 4 : bitRate * 144000 / rate + pad;
    }

    // From `start` + `from` on, up to `start` + `to`.
    static Index FindAudio(const Bytes& b, Index start, Index from, Index to) {
        const Index end = start + to;
        for (Index at = start + from; at < end - 4; ++at) {
            if (At(b, at) != 0xFF || (At(b, at + 1) & 1) == 0) continue;
            const Index next = at + FrameLength(b, at);
            if (next >= end) return -1;
            if (next > at && At(b, next) == 0xFF && At(b, next + 1) >= 0xE0) return at;
        }
        return -1;
    }
};

} // namespace test

#endif
