// What the library says of a media file's bytes, and pieces of bytes put together.
#ifndef KIVUTILITY_TESTS_MEDIA_H
#define KIVUTILITY_TESTS_MEDIA_H

#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <string_view>

namespace test {

inline Bytes Join(std::initializer_list<Bytes> pieces) {
    Bytes whole;
    for (const Bytes& piece : pieces) whole.insert(whole.end(), piece.begin(), piece.end());
    return whole;
}

inline Bytes Repeat(const Bytes& piece, int times) {
    Bytes whole;
    for (int i = 0; i < times; ++i) whole.insert(whole.end(), piece.begin(), piece.end());
    return whole;
}

inline Bytes Text(std::string_view text) { return {text.begin(), text.end()}; }

inline Bytes BytesIn(const CKivDynaBuffer& buffer) {
    const auto* first = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {first, first + buffer.GetSize()};
}

inline Bytes First(const Bytes& bytes, std::size_t n) { return {bytes.data(), bytes.data() + n}; }

// The bytes with others written over them at an offset.
inline Bytes With(Bytes bytes, std::size_t at, const Bytes& others) {
    std::ranges::copy(others, bytes.data() + at);
    return bytes;
}

inline Bytes SampleBytes(const char* name) {
    return ReadWholeFile(std::filesystem::path(KIV_SAMPLES_DIR) / name);
}

inline Bytes Content(const CKivDynaBuffer& buffer) {
    const auto* data = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {data, data + buffer.GetSize()};
}

// A number in `size` bytes, least or most significant first.
inline Bytes Little(unsigned long long number, std::size_t size = 4) {
    Bytes bytes;
    for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(number >> (8 * i)));
    return bytes;
}

inline Bytes Big(unsigned long long number, std::size_t size = 4) {
    const Bytes bytes = Little(number, size);
    return {bytes.rbegin(), bytes.rend()};
}

struct Media {
    int           type    = 0;
    unsigned long frames  = 0;
    float         seconds = 0;
    unsigned long bitRate = 0;

    bool operator==(const Media&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Media& m) {
        return out << m.type << ": " << m.frames << " frames, " << m.seconds << " s, " << m.bitRate << " b/s";
    }
};

inline Media MediaOf(CMObjBaseParser& parser) {
    return {parser.GetMediaType(), parser.GetFrames(), parser.GetDuration(), parser.GetBitRate()};
}

// What `ask` says of a stream over a copy of the bytes as a block, exactly as long but for the byte behind
// it.
template <class AskStream> auto OfBlock(const Bytes& bytes, AskStream ask) {
    Bytes block(bytes.size() + 1);
    std::ranges::copy(bytes, block.begin());
    CKivBitStream stream;
    stream.SourceFromBuffer(block.data(), static_cast<int>(bytes.size()));
    return ask(stream);
}

template <class AskStream> auto OfFile(const std::string& path, AskStream ask) {
    CKivBitStream stream;
    stream.SourceFromFile(path.c_str());
    return ask(stream);
}

// What a file by name, or a block with its size, is.
template <class... Source> Media Ask(const Source&... source) {
    CMObjParserMgr manager;
    const Media    full = MediaOf(*manager.parse(source...));
    EXPECT_EQ(manager.checkFormat(source...), full.type) << "quick and full disagree";
    return full;
}

// As a memory block, exactly as long as it is.
inline Media IdentifyBlock(const Bytes& block) { return Ask(block.data(), static_cast<int>(block.size())); }

// The pieces as a file and as a block, which must agree.
template <class... Pieces> Media Identify(const Pieces&... pieces) {
    static const TempFolder folder;
    const Bytes             bytes = Join({pieces...});
    const Media             block = IdentifyBlock(bytes);
    EXPECT_EQ(Ask(folder.Write("media", bytes).c_str()), block) << "file and block disagree";
    return block;
}

} // namespace test

#endif
