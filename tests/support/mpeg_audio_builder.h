// Builds MPEG audio streams frame by frame, and the tags around them.
#ifndef KIVUTILITY_TESTS_MPEG_AUDIO_BUILDER_H
#define KIVUTILITY_TESTS_MPEG_AUDIO_BUILDER_H

#include "media.h"

#include <array>

namespace test {

// Kilobits per second by index, ISO/IEC 11172-3 and 13818-3; [layer - 1], for MPEG-1 and for the others.
using KbitRates = std::array<std::array<unsigned, 14>, 3>;

inline constexpr KbitRates kMpeg1Kbits = {{
    {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
}};
inline constexpr KbitRates kMpeg2Kbits = {{
    {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
}};

struct AudioFormat {
    unsigned sampleRate   = 44100; // decides the version as well
    unsigned layer        = 3;
    unsigned bitRateIndex = 9; // MPEG-1 Layer III: 128 kbit/s
    bool     mono         = false;
    bool     padded       = false;

    bool IsMpeg1() const { return sampleRate >= 32000; }

    bool IsMpeg25() const { return sampleRate < 16000; }

    unsigned BitRate() const {
        return 1000 * (IsMpeg1() ? kMpeg1Kbits : kMpeg2Kbits)[layer - 1][bitRateIndex - 1];
    }

    unsigned Samples() const { return layer == 1 ? 384 : layer == 3 && !IsMpeg1() ? 576 : 1152; }

    double Seconds(double frames) const { return frames * Samples() / sampleRate; }

    std::size_t Size() const {
        const unsigned slot = layer == 1 ? 4 : 1;
        return slot * (Samples() * (BitRate() / 8) / slot / sampleRate + (padded ? 1 : 0));
    }

    Bytes Header() const {
        const unsigned version   = IsMpeg1() ? 3 : IsMpeg25() ? 0 : 2;
        const unsigned rateIndex = sampleRate % 11025 == 0 ? 0 : sampleRate % 12000 == 0 ? 1 : 2;
        return {0xFF, static_cast<unsigned char>(0xE0 | version << 3 | (4 - layer) << 1 | 1),
                static_cast<unsigned char>(bitRateIndex << 4 | rateIndex << 2 | (padded ? 2 : 0)),
                static_cast<unsigned char>(mono ? 0xC0 : 0x00)};
    }

    // Frames with the same byte all over, which is no sync byte.
    Bytes Frames(std::size_t n, unsigned char fill = 0x55) const {
        Bytes whole;
        for (; n > 0; --n) {
            Bytes frame = Header();
            frame.resize(Size(), fill);
            whole.insert(whole.end(), frame.begin(), frame.end());
        }
        return whole;
    }

    // A frame with what stands at `offset` behind the header.
    Bytes FrameWith(std::size_t offset, const Bytes& what) const {
        Bytes frame = Frames(1, 0);
        Put(frame, 4 + offset, what);
        return frame;
    }

    Bytes Xing(std::string_view id, unsigned frames, unsigned bytes) const {
        const std::size_t sideInformation = IsMpeg1() ? (mono ? 17 : 32) : (mono ? 9 : 17);
        return FrameWith(sideInformation, Join({Text(id), Big(3), Big(frames), Big(bytes)}));
    }

    Bytes Vbri(unsigned frames, unsigned bytes) const {
        return FrameWith(32, Join({Text("VBRI"), Bytes(6), Big(bytes), Big(frames)}));
    }
};

// An ID3v2.4 tag that claims `size` bytes of content and holds `content`, with a footer where asked.
inline Bytes Id3v2(std::size_t size, const Bytes& content, bool footer = false) {
    const auto  septet = [&](unsigned shift) { return static_cast<unsigned char>(size >> shift & 0x7F); };
    const Bytes rest   = {
          4, 0, static_cast<unsigned char>(footer ? 0x10 : 0), septet(21), septet(14), septet(7), septet(0)};
    return Join({Text("ID3"), rest, content, footer ? Join({Text("3DI"), rest}) : Bytes()});
}

inline Bytes Id3v1() { return Join({Text("TAG"), Bytes(125, 'x')}); }

// An APEv2 tag with header and footer.
inline Bytes ApeTag(const Bytes& items) {
    const auto mark = [&](unsigned flags) {
        return Join(
            {Text("APETAGEX"), Little(2000), Little(items.size() + 32), Little(1), Little(flags), Bytes(8)});
    };
    return Join({mark(0xA0000000), items, mark(0x80000000)});
}

} // namespace test

#endif
