// What the library says of a media file's bytes, and pieces of bytes put together.
#ifndef KIVUTILITY_TESTS_MEDIA_H
#define KIVUTILITY_TESTS_MEDIA_H

#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <ostream>
#include <string_view>

namespace test {

inline Bytes Join(std::initializer_list<Bytes> pieces) {
    Bytes whole;
    for (const Bytes& piece : pieces) whole.insert(whole.end(), piece.begin(), piece.end());
    return whole;
}

inline Bytes Text(std::string_view text) { return {text.begin(), text.end()}; }

inline Bytes First(const Bytes& bytes, std::size_t n) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n)};
}

// A number in `size` bytes, least or most significant first.
inline Bytes Little(unsigned long long number, std::size_t size = 4) {
    Bytes bytes;
    for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(number >> (8 * i)));
    return bytes;
}

inline Bytes Big(unsigned long long number, std::size_t size = 4) {
    Bytes bytes = Little(number, size);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

inline void Put(Bytes& bytes, std::size_t at, const Bytes& piece) {
    std::copy(piece.begin(), piece.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

struct Media {
    int           type    = 0;
    unsigned long frames  = 0;
    float         seconds = 0;
    unsigned long bitRate = 0;

    bool operator==(const Media&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Media& m) {
    return out << "type " << m.type << ", " << m.frames << " frames, " << m.seconds << " s, " << m.bitRate
               << " bit/s";
}

inline Media MediaOf(CMObjBaseParser& parser) {
    return {parser.GetMediaType(), parser.GetFrames(), parser.GetDuration(), parser.GetBitRate()};
}

// As a memory block, exactly as long as it is.
inline Media IdentifyBlock(const Bytes& bytes) {
    CMObjParserMgr manager;
    const int      size = static_cast<int>(bytes.size());
    const Media    full = MediaOf(*manager.parse(bytes.data(), size));
    EXPECT_EQ(manager.checkFormat(bytes.data(), size), full.type) << "quick and full disagree";
    return full;
}

// As a file and as a block, which must agree.
inline Media Identify(const Bytes& bytes) {
    static const TempFolder folder;
    const std::string       path = folder.Write("media", bytes);
    CMObjParserMgr          manager;
    const Media             full = MediaOf(*manager.parse(path.c_str()));
    EXPECT_EQ(manager.checkFormat(path.c_str()), full.type) << "quick and full disagree";
    EXPECT_EQ(IdentifyBlock(bytes), full) << "block and file disagree";
    return full;
}

} // namespace test

#endif
