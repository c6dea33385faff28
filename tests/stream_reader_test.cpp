// The reader of bytes at offsets, over a file and over a memory block.
#include "StreamReader.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

using kiv::StreamReader;
using test::Bytes;

constexpr std::size_t kSize = 100001; // of more than three fills

Bytes Content() {
    std::mt19937 random(17);
    return test::RandomBytes(random, kSize);
}

// Asks for n bytes at an offset and compares: whatever was asked before.
void ExpectBytes(StreamReader& reader, const Bytes& content, std::uint64_t offset, std::size_t n) {
    const kiv::ByteSpan bytes = reader.At(offset, n);
    if (offset > content.size() || n > content.size() - offset) {
        ASSERT_TRUE(bytes.empty()) << offset << ", " << n;
        return;
    }
    ASSERT_GE(bytes.size(), n) << offset;
    ASSERT_LE(bytes.size(), content.size() - offset);
    ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(offset)))
        << offset;
}

class StreamReaderOver : public testing::TestWithParam<bool> {
protected:
    StreamReaderOver() {
        if (GetParam())
            m_stream.SourceFromFile(m_folder.Write("content", m_content).c_str());
        else
            m_stream.SourceFromBuffer(m_block.data(), static_cast<int>(m_block.size()));
    }

    const test::TempFolder m_folder;
    const Bytes            m_content = Content();
    Bytes                  m_block   = m_content;
    CKivBitStream          m_stream;
};

TEST_P(StreamReaderOver, GivesTheBytesOfAnyOffsetInAnyOrder) {
    StreamReader reader(m_stream);
    std::mt19937 random(4);
    for (int i = 0; i < 3000; ++i) {
        const std::size_t most = i % 2 == 0 ? 40 : StreamReader::kMost;
        ExpectBytes(reader, m_content, random() % (kSize + 50), 1 + random() % most);
    }
    for (std::size_t step : {1U, 7U, 4000U}) {
        for (std::size_t at = 0; at < kSize; at += step) ExpectBytes(reader, m_content, at, 1 + step / 2);
    }
    EXPECT_EQ(m_block, m_content) << "no read failed, which would overwrite the block's start";
}

TEST_P(StreamReaderOver, EndsWhereTheStreamEnds) {
    StreamReader reader(m_stream);
    for (std::size_t back = 0; back < 40; ++back) {
        for (std::size_t n = 1; n < 42; ++n) ExpectBytes(reader, m_content, kSize - back, n);
    }
    ExpectBytes(reader, m_content, ~std::uint64_t{0}, 1);
    ExpectBytes(reader, m_content, ~std::uint64_t{0} - 8, 16);
    ExpectBytes(reader, m_content, 0, 16);
    EXPECT_EQ(m_block, m_content);
}

TEST_P(StreamReaderOver, CountsFromWhereTheStreamStood) {
    m_stream.BytesJump(10);
    (void)m_stream.GetBits(32);
    StreamReader reader(m_stream);
    const Bytes  rest(m_content.begin() + 14, m_content.end());
    EXPECT_EQ(reader.Size(), rest.size());
    for (const std::size_t offset :
         {std::size_t{0}, std::size_t{50000}, std::size_t{1}, rest.size() - 1, rest.size()})
        ExpectBytes(reader, rest, offset, 1);
}

// Others may write to the file meanwhile: what it gained is not shown, what it lost is missed.
TEST(StreamReader, SeesNoMoreThanTheFileHadAndHas) {
    const test::TempFolder folder;
    const Bytes            content = Content();
    const std::string      path    = folder.Write("content", content);
    CKivBitStream          stream;
    ASSERT_EQ(stream.SourceFromFile(path.c_str()), 1);
    StreamReader reader(stream);
    std::filesystem::resize_file(path, kSize + 1000);
    EXPECT_EQ(reader.At(kSize - 10, 10).size(), 10U);
    EXPECT_TRUE(reader.At(kSize - 10, 11).empty());
    std::filesystem::resize_file(path, 50000);
    EXPECT_TRUE(reader.At(60000, 1).empty());
    EXPECT_TRUE(reader.At(49990, 11).empty());
    ExpectBytes(reader, Bytes(content.begin(), content.begin() + 50000), 49990, 10);
}

INSTANTIATE_TEST_SUITE_P(Sources, StreamReaderOver, testing::Values(true, false),
                         [](const auto& source) { return source.param ? "File" : "Block"; });

} // namespace
