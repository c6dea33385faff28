// The reader of bytes at offsets, over a file and over a memory block.
#include "StreamReader.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

using namespace test;
using kiv::ByteSpan, kiv::StreamReader;

constexpr std::size_t kMost = StreamReader::kMost, kSize = 3 * kMost + 1709; // of more than three fills

// Asks for n bytes at an offset and compares: whatever was asked before.
void ExpectBytes(StreamReader& reader, ByteSpan content, std::uint64_t offset, std::size_t n) {
    const ByteSpan bytes = reader.At(offset, n);
    const ByteSpan there =
        content.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(offset, content.size())));
    ASSERT_TRUE(there.size() < n ? bytes.empty() : bytes.size() >= n) << n << " at " << offset;
    ASSERT_TRUE(bytes.size() <= there.size() && std::ranges::equal(bytes, there.first(bytes.size())));
}

TEST(StreamReader, GivesTheBytesOfAnyOffsetInAnyOrderUpToTheEnd) {
    const TempFolder  folder;
    std::mt19937      random(17);
    Bytes             block   = RandomBytes(random, kSize);
    const Bytes       content = block;
    const std::string path    = folder.Write("content", content);
    for (const auto& [isFile, start] : {std::pair{true, 0U}, {true, 14U}, {false, 0U}, {false, 14U}}) {
        CKivBitStream stream;
        isFile ? stream.SourceFromFile(path.c_str()) : stream.SourceFromBuffer(block.data(), int{kSize});
        for (unsigned i = 0; i < start; ++i) stream.SkipBits(8);
        StreamReader   reader(stream);
        const ByteSpan rest = ByteSpan(content).subspan(start);
        for (unsigned i = 0; i < 3000; ++i)
            ExpectBytes(reader, rest, random() % (kSize + 50), 1 + random() % (i < 1500 ? 40 : kMost));
        for (const std::size_t step : {1U, 7U, 4000U})
            for (std::size_t at = 0; at < kSize; at += step) ExpectBytes(reader, rest, at, 1 + step / 2);
        for (std::size_t i = 0; i < 40 * 42; ++i) ExpectBytes(reader, rest, rest.size() - i % 40, 1 + i / 40);
        for (const std::size_t n : {1U, 16U}) ExpectBytes(reader, rest, ~std::uint64_t{8}, n);
        EXPECT_EQ(block, content) << "no read failed, which would overwrite the block's start";
    }
}

// Others may write to the file meanwhile: what it gained is not shown, what it lost is missed.
TEST(StreamReader, SeesNoMoreThanTheFileHadAndHas) {
    const TempFolder  folder;
    const Bytes       content(kSize, 'c');
    const std::string path = folder.Write("content", content);
    CKivBitStream     stream;
    stream.SourceFromFile(path.c_str());
    StreamReader reader(stream);
    std::filesystem::resize_file(path, kSize + 1000);
    for (const std::size_t n : {10U, 11U}) ExpectBytes(reader, content, kSize - 10, n);
    std::filesystem::resize_file(path, 50000);
    for (const std::size_t n : {10U, 11U}) ExpectBytes(reader, ByteSpan(content).first(50000), 49990, n);
    ExpectBytes(reader, {}, 60000, 1);
}

} // namespace
