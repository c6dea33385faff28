// What of H.264 streams (ISO/IEC 14496-10) tells pictures apart and how fast they follow: parameter sets and
// the beginnings of slice headers.
#ifndef KIVUTILITY_H264SYNTAX_H
#define KIVUTILITY_H264SYNTAX_H

#include "ByteScanner.h"

#include <array>
#include <cstdint>
#include <optional>

namespace kiv::h264 {

// The header byte of a NAL unit, 7.3.1.
struct NalHeader {
    bool     forbiddenBit;
    unsigned type;

    explicit NalHeader(std::uint8_t byte) : forbiddenBit(byte >> 7 != 0), type(byte & 31U) {}
};

// nal_unit_type, table 7-1.
inline constexpr unsigned kSlice              = 1;
inline constexpr unsigned kSlicePartitionA    = 2; // the one of the three partitions that holds the header
inline constexpr unsigned kSliceOfIdr         = 5;
inline constexpr unsigned kSequenceParameters = 7;
inline constexpr unsigned kPictureParameters  = 8;

// A sequence parameter set, 7.3.2.1.1.
struct SequenceParameters {
    std::uint32_t id                   = 0;
    std::uint32_t width                = 0; // of the pictures as shown, in pixels
    std::uint32_t height               = 0;
    bool          separateColourPlanes = false;
    unsigned      frameNumBits         = 0;
    bool          framesOnly           = false; // no picture is a single field
    std::uint32_t unitsInTick          = 0;     // both 0 where the rate is not told
    std::uint32_t timeScale            = 0;

    // A frame takes two ticks. 0 where it is not told.
    double FramesPerSecond() const { return unitsInTick > 0 ? timeScale / (2.0 * unitsInTick) : 0; }
};

// The most bytes of a sequence parameter set that are read: it has hundreds at worst, but for a picture order
// cycle of 255 long offsets.
inline constexpr std::size_t kMostSequenceBytes = 4096;

// Of each unit the bytes behind its header byte, without emulation prevention. Nothing where they are cut
// or break a rule of the standard.
std::optional<SequenceParameters> ReadSequenceParameters(ByteSpan bytes);

struct SliceHeader {
    bool          beginsPicture; // has the picture's first macroblock, of its first colour plane
    bool          isField;
    bool          isBottomField;
    std::uint32_t frameNum;
    double        framesPerSecond; // of its sequence
};

// The parameter sets that a stream has brought so far; a later one replaces that of its number.
class ParameterSets {
public:
    // Keep one; false, and nothing changes, where it cannot be one. Of a picture parameter set, the
    // beginning.
    bool TakeSequence(ByteSpan bytes);
    bool TakePicture(ByteSpan bytes);

    // Nothing also for a slice whose parameter sets are not there.
    std::optional<SliceHeader> ReadSlice(ByteSpan bytes) const;

private:
    std::array<std::optional<SequenceParameters>, 32> m_sequences;
    std::array<std::optional<std::uint8_t>, 256>      m_sequenceOf; // by the picture parameter set's number
};

// The most bytes of a slice header, or of a picture parameter set, that are read.
inline constexpr std::size_t kMostHeaderBytes = 24;

} // namespace kiv::h264

#endif
