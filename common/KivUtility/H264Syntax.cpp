// H.264 parameter sets and slice headers, field by field.
#include "H264Syntax.h"

#include "HeaderBits.h"

#include <algorithm>

namespace kiv::h264 {

namespace {

constexpr std::uint8_t kProfiles[] = {44,  66,  77,  83,  86,  88,  100, 110,
                                      118, 122, 128, 134, 135, 138, 139, 244};

// Those whose sequence parameter sets tell the chroma format and scaling lists.
constexpr std::uint8_t kProfilesWithChroma[] = {44, 83, 86, 100, 110, 118, 122, 128, 134, 135, 138, 139, 244};

constexpr std::uint32_t kMostMacroblocks = 1055; // in a row or column at the highest level, A.3.1
constexpr std::uint32_t kMostCycle       = 255;  // num_ref_frames_in_pic_order_cnt_cycle

// Above the most frames a second of any level (A.3.4.1): encoders that only carry times write the unit of
// those, such as 1/90000 s.
constexpr double kMostFramesPerSecond = 300;

// scaling_list, 7.3.2.1.1.1.
void SkipScalingList(HeaderBits& bits, int size) {
    int next = 8;
    for (int i = 0; i < size && next != 0 && bits.Ok(); ++i) next = (next + (bits.Signed() & 0xFF)) & 0xFF;
}

struct Chroma {
    std::uint32_t format         = 1; // chroma_format_idc: 4:2:0
    bool          separatePlanes = false;
};

Chroma ReadChroma(HeaderBits& bits) {
    Chroma chroma{.format = bits.Unsigned()};
    if (chroma.format == 3) chroma.separatePlanes = bits.Flag();
    bits.Unsigned(); // bit_depth_luma_minus8
    bits.Unsigned(); // bit_depth_chroma_minus8
    bits.Skip(1);    // qpprime_y_zero_transform_bypass_flag
    if (bits.Flag()) {
        const int lists = chroma.format == 3 ? 12 : 8;
        for (int i = 0; i < lists && bits.Ok(); ++i) {
            if (bits.Flag()) SkipScalingList(bits, i < 6 ? 16 : 64);
        }
    }
    return chroma;
}

// pic_order_cnt_type and what hangs on it; false where it is none.
bool SkipPictureOrder(HeaderBits& bits) {
    const std::uint32_t type = bits.Unsigned();
    if (type == 0) return bits.Unsigned() <= 12; // log2_max_pic_order_cnt_lsb_minus4
    if (type == 2) return true;
    bits.Skip(1);  // delta_pic_order_always_zero_flag
    bits.Signed(); // offset_for_non_ref_pic
    bits.Signed(); // offset_for_top_to_bottom_field
    const std::uint32_t cycle = bits.Unsigned();
    if (type != 1 || cycle > kMostCycle) return false;
    for (std::uint32_t i = 0; i < cycle; ++i) bits.Signed();
    return true;
}

// The rate in the video usability information, E.1.1. That is cut short in many recordings, and one that is
// tells nothing.
void ReadFrameRate(HeaderBits& bits, SequenceParameters& sequence) {
    constexpr std::uint32_t kExtendedAspectRatio = 255;
    if (bits.Flag() && bits.Get(8) == kExtendedAspectRatio) bits.Skip(32); // sar_width, sar_height
    if (bits.Flag()) bits.Skip(1);                                         // overscan_appropriate_flag
    if (bits.Flag()) {
        bits.Skip(4);                   // video_format, video_full_range_flag
        if (bits.Flag()) bits.Skip(24); // colour description
    }
    if (bits.Flag()) { // chroma_loc_info_present_flag
        bits.Unsigned();
        bits.Unsigned();
    }
    if (!bits.Flag()) return; // timing_info_present_flag
    SequenceParameters told;
    told.unitsInTick = bits.Get(32);
    told.timeScale   = bits.Get(32);
    if (!bits.Ok() || told.FramesPerSecond() <= 0 || told.FramesPerSecond() > kMostFramesPerSecond) return;
    sequence.unitsInTick = told.unitsInTick;
    sequence.timeScale   = told.timeScale;
}

// Takes `unit` times what is cropped at the two ends off `size`; false where nothing is left.
bool Crop(std::uint32_t& size, std::uint32_t unit, std::uint32_t before, std::uint32_t behind) {
    const std::uint64_t cropped = (std::uint64_t{before} + behind) * unit;
    if (cropped >= size) return false;
    size -= static_cast<std::uint32_t>(cropped);
    return true;
}

// The size in macroblocks, and what is cropped from it. False where there is no picture of that size.
bool ReadSize(HeaderBits& bits, const Chroma& chroma, SequenceParameters& sequence) {
    const std::uint32_t widthLess1  = bits.Unsigned();
    const std::uint32_t heightLess1 = bits.Unsigned();
    sequence.framesOnly             = bits.Flag();
    if (!sequence.framesOnly) bits.Skip(1); // mb_adaptive_frame_field_flag
    bits.Skip(1);                           // direct_8x8_inference_flag
    if (widthLess1 >= kMostMacroblocks || heightLess1 >= kMostMacroblocks) return false;
    const std::uint32_t fields = sequence.framesOnly ? 1 : 2;
    sequence.width             = (widthLess1 + 1) * 16;
    sequence.height            = (heightLess1 + 1) * 16 * fields;
    if (!bits.Flag()) return true; // frame_cropping_flag
    const std::uint32_t left = bits.Unsigned(), right = bits.Unsigned();
    const std::uint32_t top = bits.Unsigned(), bottom = bits.Unsigned();
    const std::uint32_t format = chroma.separatePlanes ? 0 : chroma.format; // 6.2: 4:0:0, 4:2:0, 4:2:2, 4:4:4
    return Crop(sequence.width, format == 1 || format == 2 ? 2 : 1, left, right)
           && Crop(sequence.height, (format == 1 ? 2 : 1) * fields, top, bottom);
}

} // namespace

std::optional<SequenceParameters> ReadSequenceParameters(ByteSpan bytes) {
    HeaderBits          bits(bytes);
    SequenceParameters  sequence;
    const std::uint32_t profile  = bits.Get(8);
    const std::uint32_t flags    = bits.Get(8); // the last two are reserved
    const std::uint32_t level    = bits.Get(8);
    sequence.id                  = bits.Unsigned();
    constexpr std::uint32_t kLow = 9, kHigh = 62; // levels 1b and 6.2
    if (std::ranges::find(kProfiles, profile) == std::end(kProfiles) || (flags & 3) != 0 || level < kLow
        || level > kHigh || sequence.id > 31)
        return std::nullopt;

    Chroma chroma;
    if (std::ranges::find(kProfilesWithChroma, profile) != std::end(kProfilesWithChroma))
        chroma = ReadChroma(bits);
    sequence.separateColourPlanes     = chroma.separatePlanes;
    const std::uint32_t frameNumLess4 = bits.Unsigned(); // log2_max_frame_num_minus4
    if (chroma.format > 3 || frameNumLess4 > 12 || !SkipPictureOrder(bits)) return std::nullopt;
    sequence.frameNumBits = frameNumLess4 + 4;
    bits.Unsigned(); // max_num_ref_frames
    bits.Skip(1);    // gaps_in_frame_num_value_allowed_flag
    if (!ReadSize(bits, chroma, sequence)) return std::nullopt;
    const bool hasUsability = bits.Flag();
    if (!bits.Ok()) return std::nullopt;
    if (hasUsability) ReadFrameRate(bits, sequence);
    return sequence;
}

bool ParameterSets::TakeSequence(ByteSpan bytes) {
    const auto sequence = ReadSequenceParameters(bytes);
    if (sequence) m_sequences[sequence->id] = sequence;
    return sequence.has_value();
}

bool ParameterSets::TakePicture(ByteSpan bytes) {
    HeaderBits          bits(bytes);
    const std::uint32_t id       = bits.Unsigned();
    const std::uint32_t sequence = bits.Unsigned();
    if (!bits.Ok() || id >= m_sequenceOf.size() || sequence >= m_sequences.size()) return false;
    m_sequenceOf[id] = static_cast<std::uint8_t>(sequence);
    return true;
}

// slice_header, 7.3.3, up to bottom_field_flag.
std::optional<SliceHeader> ParameterSets::ReadSlice(ByteSpan bytes) const {
    HeaderBits          bits(bytes);
    const std::uint32_t firstMacroblock = bits.Unsigned();
    const std::uint32_t type            = bits.Unsigned();
    const std::uint32_t pictureSet      = bits.Unsigned();
    if (type > 9 || pictureSet >= m_sequenceOf.size() || !m_sequenceOf[pictureSet]) return std::nullopt;
    const auto& sequence = m_sequences[*m_sequenceOf[pictureSet]];
    if (!sequence) return std::nullopt;

    const std::uint32_t colourPlane = sequence->separateColourPlanes ? bits.Get(2) : 0;
    SliceHeader         slice{};
    slice.beginsPicture   = firstMacroblock == 0 && colourPlane == 0;
    slice.frameNum        = bits.Get(sequence->frameNumBits);
    slice.isField         = !sequence->framesOnly && bits.Flag();
    slice.isBottomField   = slice.isField && bits.Flag();
    slice.framesPerSecond = sequence->FramesPerSecond();
    return bits.Ok() ? std::optional(slice) : std::nullopt;
}

} // namespace kiv::h264
