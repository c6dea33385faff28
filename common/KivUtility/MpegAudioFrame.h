// The frame headers of MPEG audio: Layers I, II and III of MPEG-1 (ISO/IEC 11172-3, 2.4.1.3) and of MPEG-2's
// lower sampling frequencies (ISO/IEC 13818-3, 2.4.2), and Layer III of MPEG-2.5; and the information frame
// that encoders put in front of a Layer III stream. Everything here is constant; any thread may call it.
#ifndef KIVUTILITY_MPEGAUDIOFRAME_H
#define KIVUTILITY_MPEGAUDIOFRAME_H

#include "ByteScanner.h"

#include <optional>

namespace kiv::mpeg {

enum class AudioVersion : std::uint8_t { Mpeg1, Mpeg2, Mpeg25 };

// What one frame header tells.
struct AudioFrame {
    AudioVersion  version;
    std::uint8_t  layer; // 1 to 3
    bool          mono;
    std::uint32_t bitRate;    // bits per second
    std::uint32_t sampleRate; // per second
    std::uint32_t samples;    // of one channel
    std::uint32_t sizeBytes;  // the header's included
};

inline constexpr std::size_t kAudioHeaderBytes    = 4;
inline constexpr std::size_t kMostAudioFrameBytes = 1729; // Layer II, 384 kbit/s at 32 kHz, padded

// The frame header that the bytes begin with; nothing where they hold none, or fewer than kAudioHeaderBytes.
// The free format (bit rate index 0) is not supported and counts as no header: its frames do not tell their
// size.
std::optional<AudioFrame> ReadAudioFrame(ByteSpan bytes) noexcept;

// The tables behind it. index: 1 to 14, 0 to 2.
std::uint32_t KilobitRate(AudioVersion version, unsigned layer, unsigned index) noexcept;
std::uint32_t SampleRate(AudioVersion version, unsigned index) noexcept;

// Whether both may belong to one stream: version, layer and sampling rate never change within one.
bool IsSameAudioStream(const AudioFrame& a, const AudioFrame& b) noexcept;

// Whether a frame of this stream can have that size on average, at whichever bit rates.
bool IsPossibleFrameSize(const AudioFrame& frame, double bytes) noexcept;

// What an information frame tells of the stream that it stands in front of. It holds no audio, and plays as
// a frame of silence on decoders that do not know it.
struct AudioInformation {
    bool          isConstantBitRate; // as its encoder says
    std::uint32_t frames;            // of audio, without the information frame; 0 where it does not tell
    std::uint32_t bytes;             // of the stream, with the information frame; 0 where it does not tell
};

// How much of a frame ReadAudioInformation looks at.
inline constexpr std::size_t kAudioInformationBytes = 56;

// The information (Xing, Info or VBRI) in the frame of this header that the bytes begin with; nothing for a
// frame of audio.
std::optional<AudioInformation> ReadAudioInformation(ByteSpan bytes, const AudioFrame& frame) noexcept;

} // namespace kiv::mpeg

#endif
