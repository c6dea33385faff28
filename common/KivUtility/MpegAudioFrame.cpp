// The tables behind MPEG audio frame headers.
#include "MpegAudioFrame.h"

#include "ByteFields.h"

#include <algorithm>
#include <array>

namespace kiv::mpeg {

namespace {

constexpr std::size_t kBitRateIndices = 15; // index 15 is forbidden

// Kilobits per second by bit_rate_index; index 0 stands for the free format.
using BitRates = std::array<std::uint16_t, kBitRateIndices>;

// ISO/IEC 11172-3, 2.4.2.3, Layers I to III.
constexpr std::array<BitRates, 3> kMpeg1BitRates = {{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
}};

// ISO/IEC 13818-3, 2.4.2.3, Layers I to III; MPEG-2.5 has the same.
constexpr std::array<BitRates, 3> kMpeg2BitRates = {{
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
}};

constexpr bool EachRises(const std::array<BitRates, 3>& layers) {
    return std::ranges::all_of(layers, [](const BitRates& rates) {
        return std::ranges::adjacent_find(rates, std::ranges::greater_equal{}) == rates.end();
    });
}

static_assert(EachRises(kMpeg1BitRates) && EachRises(kMpeg2BitRates));

constexpr std::size_t kSampleRateIndices = 3; // index 3 is reserved

// Samples per second by sampling_frequency, of each AudioVersion.
constexpr std::array<std::array<std::uint32_t, kSampleRateIndices>, 3> kSampleRates = {{
    {44100, 48000, 32000},
    {22050, 24000, 16000},
    {11025, 12000, 8000},
}};
static_assert(
    [] {
        for (std::size_t i = 0; i < kSampleRateIndices; ++i) {
            if (kSampleRates[0][i] != 2 * kSampleRates[1][i] || kSampleRates[1][i] != 2 * kSampleRates[2][i])
                return false;
        }
        return true;
    }(),
    "each version halves the rates of the one before");

// The version by the two bits behind the syncword's eleven, of which 01 is reserved.
constexpr std::array<std::optional<AudioVersion>, 4> kVersions = {AudioVersion::Mpeg25, std::nullopt,
                                                                  AudioVersion::Mpeg2, AudioVersion::Mpeg1};

constexpr const BitRates& BitRatesOf(AudioVersion version, unsigned layer) {
    return (version == AudioVersion::Mpeg1 ? kMpeg1BitRates : kMpeg2BitRates)[layer - 1];
}

constexpr std::uint32_t SamplesOf(AudioVersion version, unsigned layer) {
    if (layer == 1) return 384;
    return layer == 3 && version != AudioVersion::Mpeg1 ? 576 : 1152;
}

// ISO/IEC 11172-3, 2.4.3.1: a frame is a whole number of slots, 4 bytes in Layer I and 1 in the others, and
// padding adds one.
constexpr std::uint32_t SlotBytesOf(unsigned layer) { return layer == 1 ? 4 : 1; }

constexpr std::uint32_t SizeOf(AudioVersion version, unsigned layer, std::uint32_t bitRate,
                               std::uint32_t sampleRate, bool padded) {
    const std::uint32_t slotBytes = SlotBytesOf(layer);
    const std::uint32_t slots     = SamplesOf(version, layer) / 8 / slotBytes * bitRate / sampleRate;
    return (slots + (padded ? 1 : 0)) * slotBytes;
}

static_assert(SizeOf(AudioVersion::Mpeg1, 3, 128000, 44100, false) == 417);
static_assert(SizeOf(AudioVersion::Mpeg1, 1, 448000, 44100, true) == 488);
static_assert(kMostAudioFrameBytes == [] {
    std::uint32_t most = 0;
    for (const AudioVersion version : {AudioVersion::Mpeg1, AudioVersion::Mpeg2, AudioVersion::Mpeg25}) {
        for (unsigned layer = 1; layer <= 3; ++layer) {
            if (version == AudioVersion::Mpeg25 && layer != 3) continue;
            for (const std::uint32_t sampleRate : kSampleRates[static_cast<std::size_t>(version)]) {
                const std::uint32_t bitRate = BitRatesOf(version, layer).back() * 1000U;
                most = std::max(most, SizeOf(version, layer, bitRate, sampleRate, true));
            }
        }
    }
    return most;
}());

// The header's bits, of 32.
constexpr std::uint32_t Bits(std::uint32_t header, unsigned first, unsigned count) {
    return header >> (32 - first - count) & ((1U << count) - 1);
}

constexpr unsigned kXingFlagFrames = 1; // what is there, in this order
constexpr unsigned kXingFlagBytes  = 2;

constexpr std::size_t kXingNumbers = 8; // behind the identifier and the flags

// Where Xing and Info begin: behind the side information (ISO/IEC 11172-3, 2.4.1.7), as if there were no
// CRC, which is how players look for it.
std::size_t XingOffset(const AudioFrame& frame) {
    const bool mpeg1 = frame.version == AudioVersion::Mpeg1;
    if (frame.mono) return kAudioHeaderBytes + (mpeg1 ? 17 : 9);
    return kAudioHeaderBytes + (mpeg1 ? 32 : 17);
}

constexpr std::size_t kVbriOffset = kAudioHeaderBytes + 32; // of every version, mono or not

} // namespace

std::optional<AudioFrame> ReadAudioFrame(ByteSpan bytes) noexcept {
    const auto header = BigEndian<std::uint32_t>(bytes, 0);
    if (Bits(header, 0, 11) != 0x7FF) return std::nullopt;
    const auto     version           = kVersions[Bits(header, 11, 2)];
    const unsigned layer             = 4 - Bits(header, 13, 2); // 4: reserved, and what an ADTS header shows
    const auto     bitRateIndex      = Bits(header, 16, 4);
    const auto     sampleRateIndex   = Bits(header, 20, 2);
    const bool     padded            = Bits(header, 22, 1) != 0;
    const auto     mode              = Bits(header, 24, 2);
    const auto     emphasis          = Bits(header, 30, 2);
    constexpr auto kSingleChannel    = 3U;
    constexpr auto kReservedEmphasis = 2U;
    if (!version || layer > 3 || (*version == AudioVersion::Mpeg25 && layer != 3)) return std::nullopt;
    if (bitRateIndex == 0 || bitRateIndex >= kBitRateIndices) return std::nullopt;
    if (sampleRateIndex >= kSampleRateIndices || emphasis == kReservedEmphasis) return std::nullopt;

    const std::uint32_t bitRate    = BitRatesOf(*version, layer)[bitRateIndex] * 1000U;
    const std::uint32_t sampleRate = kSampleRates[static_cast<std::size_t>(*version)][sampleRateIndex];
    return AudioFrame{.version    = *version,
                      .layer      = static_cast<std::uint8_t>(layer),
                      .mono       = mode == kSingleChannel,
                      .bitRate    = bitRate,
                      .sampleRate = sampleRate,
                      .samples    = SamplesOf(*version, layer),
                      .sizeBytes  = SizeOf(*version, layer, bitRate, sampleRate, padded)};
}

std::uint32_t KilobitRate(AudioVersion version, unsigned layer, unsigned index) noexcept {
    return BitRatesOf(version, layer)[index];
}

std::uint32_t SampleRate(AudioVersion version, unsigned index) noexcept {
    return kSampleRates[static_cast<std::size_t>(version)][index];
}

bool IsSameAudioStream(const AudioFrame& a, const AudioFrame& b) noexcept {
    return a.version == b.version && a.layer == b.layer && a.sampleRate == b.sampleRate;
}

bool IsPossibleFrameSize(const AudioFrame& frame, double bytes) noexcept {
    const BitRates& rates = BitRatesOf(frame.version, frame.layer);
    return bytes >= SizeOf(frame.version, frame.layer, rates[1] * 1000U, frame.sampleRate, false)
           && bytes <= SizeOf(frame.version, frame.layer, rates.back() * 1000U, frame.sampleRate, true);
}

std::optional<AudioInformation> ReadAudioInformation(ByteSpan bytes, const AudioFrame& frame) noexcept {
    if (frame.layer != 3) return std::nullopt;
    const ByteSpan      inFrame = bytes.first(std::min<std::size_t>(bytes.size(), frame.sizeBytes));
    const std::size_t   xing    = XingOffset(frame);
    const std::uint32_t id      = BigEndian<std::uint32_t>(inFrame, xing);
    if (id == FourCc("Xing") || id == FourCc("Info")) {
        const auto        flags  = BigEndian<std::uint32_t>(inFrame, xing + 4);
        const bool        frames = (flags & kXingFlagFrames) != 0;
        const std::size_t at     = xing + kXingNumbers;
        return AudioInformation{.isConstantBitRate = id == FourCc("Info"),
                                .frames            = frames ? BigEndian<std::uint32_t>(inFrame, at) : 0,
                                .bytes             = (flags & kXingFlagBytes) != 0
                                                         ? BigEndian<std::uint32_t>(inFrame, at + (frames ? 4 : 0))
                                                         : 0};
    }
    if (BigEndian<std::uint32_t>(inFrame, kVbriOffset) == FourCc("VBRI")) {
        return AudioInformation{.isConstantBitRate = false,
                                .frames            = BigEndian<std::uint32_t>(inFrame, kVbriOffset + 14),
                                .bytes             = BigEndian<std::uint32_t>(inFrame, kVbriOffset + 10)};
    }
    return std::nullopt;
}

} // namespace kiv::mpeg
