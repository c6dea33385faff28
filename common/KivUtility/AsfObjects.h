// The objects of ASF files (Advanced Systems Format specification, revision 01.20.03): their identifiers, and
// what those of the header tell.
#ifndef KIVUTILITY_ASFOBJECTS_H
#define KIVUTILITY_ASFOBJECTS_H

#include "KivPlatform.h"
#include "StreamReader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace kiv::asf {

inline constexpr GUID kHeaderObject = {
    0x75B22630, 0x668E, 0x11CF, {0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C}};
inline constexpr GUID kErrorCorrectionObject = {
    0x75B22635, 0x668E, 0x11CF, {0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C}};
inline constexpr GUID kDataObject = {
    0x75B22636, 0x668E, 0x11CF, {0xA6, 0xD9, 0x00, 0xAA, 0x00, 0x62, 0xCE, 0x6C}};
inline constexpr GUID kFilePropertiesObject = {
    0x8CABDCA1, 0xA947, 0x11CF, {0x8E, 0xE4, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65}};
inline constexpr GUID kStreamPropertiesObject = {
    0xB7DC0791, 0xA9B7, 0x11CF, {0x8E, 0xE6, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65}};
inline constexpr GUID kHeaderExtensionObject = {
    0x5FBF03B5, 0xA92E, 0x11CF, {0x8E, 0xE3, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65}};
inline constexpr GUID kExtendedStreamPropertiesObject = {
    0x14E6A5CB, 0xC672, 0x4332, {0x83, 0x99, 0xA9, 0x69, 0x52, 0x06, 0x5B, 0x5A}};
inline constexpr GUID kVideoMedia = {
    0xBC19EFC0, 0x5B4D, 0x11CF, {0xA8, 0xFD, 0x00, 0x80, 0x5F, 0x5C, 0x44, 0x2B}};
inline constexpr GUID kAudioMedia = {
    0xF8699E40, 0x5B4D, 0x11CF, {0xA8, 0xFD, 0x00, 0x80, 0x5F, 0x5C, 0x44, 0x2B}};

inline constexpr std::size_t kGuidBytes           = 16;
inline constexpr std::size_t kObjectBytes         = 24; // identifier and size, which counts itself
inline constexpr std::size_t kFirstObjectInHeader = 30; // behind the header object's own fields

// The identifier at bytes[at]; all zeros where the bytes do not hold it wholly. Any thread.
GUID ReadGuid(ByteSpan bytes, std::size_t at) noexcept;

struct Object {
    GUID          id;
    std::uint64_t begin; // of its identifier
    std::uint64_t size;  // as it declares it, whatever surrounds it

    // Where its bytes end that lie in front of `limit`.
    std::uint64_t EndBefore(std::uint64_t limit) const {
        return begin + std::min(size, limit - std::min(begin, limit));
    }
};

// The objects between two offsets, one after the other. One whose size does not lead on is the last.
class Objects {
public:
    Objects(StreamReader& reader, std::uint64_t begin, std::uint64_t end)
        : m_reader(reader), m_next(begin), m_end(std::min(end, reader.Size())) {}

    // Nothing behind the last one.
    std::optional<Object> Next();

    // Where the next one begins; behind every end where a size did not lead on.
    std::uint64_t At() const { return m_next; }

private:
    StreamReader& m_reader;
    std::uint64_t m_next;
    std::uint64_t m_end;
};

// File properties object, 3.2. Of a broadcast only packet sizes, preroll and bit rate are to be believed.
struct FileProperties {
    static constexpr std::size_t   kBytes     = 104;
    static constexpr std::size_t   kFlagsAt   = 88; // from the object's identifier on
    static constexpr std::uint32_t kBroadcast = 1;
    static constexpr std::uint32_t kSeekable  = 2;

    std::uint64_t fileSize        = 0;
    std::uint64_t playDuration    = 0; // units of 100 ns, the preroll included
    std::uint64_t prerollMs       = 0;
    std::uint32_t flags           = 0;
    std::uint32_t leastPacketSize = 0;
    std::uint32_t mostPacketSize  = 0;
    std::uint32_t mostBitRate     = 0;

    bool IsBroadcast() const { return (flags & kBroadcast) != 0; }
};

// From the bytes of the object, its identifier first; fields that they do not reach are 0. Any thread.
FileProperties ReadFileProperties(ByteSpan object) noexcept;

enum class Media : std::uint8_t { None, Video, Audio, Other };

// Stream properties object, 3.3, and extended stream properties object, 4.1. Width, height and codec (a
// four-character code, first character in the lowest byte) are those of video, the rest those of audio.
struct Stream {
    Media         media         = Media::None;
    std::uint64_t frameTime     = 0; // average, units of 100 ns; 0 where it is not told
    std::uint32_t width         = 0;
    std::uint32_t height        = 0;
    std::uint32_t codec         = 0;
    std::uint16_t formatTag     = 0;
    std::uint32_t samplesSecond = 0;
};

struct Header {
    std::uint64_t                 end     = 0;     // of the header object, as it declares it
    bool                          isWhole = false; // its objects lead to its end
    std::optional<FileProperties> file;
    std::array<Stream, 128>       streams; // by number, from 1 on

    // The number of the first stream of this kind, or 0.
    unsigned First(Media media) const;
};

// The header at `begin`, with what it tells up to an object that does not fit into it or into the file;
// nothing where there is none.
std::optional<Header> ReadHeader(StreamReader& reader, std::uint64_t begin);

} // namespace kiv::asf

#endif
