// The bit stream reader and the bit fields of byte arrays, against bit-by-bit oracles.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

using test::Bytes;

bool BitAt(const Bytes& bytes, std::size_t bit) { return (bytes[bit / 8] >> (7 - bit % 8) & 1) != 0; }

unsigned long NaiveField(const Bytes& bytes, std::size_t bitPos, unsigned n) {
    unsigned long field = 0;
    for (unsigned i = 0; i < n; ++i) field = field << 1 | (BitAt(bytes, bitPos + i) ? 1U : 0U);
    return field;
}

// Each field stands in an allocation of exactly the bytes that it covers, so a wider access is caught.
TEST(BufferBits, ReadAndWriteEveryFieldAndNothingElse) {
    std::mt19937 random(1);
    for (unsigned at = 0; at < 16; ++at) {
        for (int n = 0; n <= 32; ++n) {
            const unsigned width  = n == 0 ? 32 : static_cast<unsigned>(n); // 0 means 32, kept
            const Bytes    before = test::RandomBytes(random, (at + width + 7) / 8);
            Bytes          after  = before;
            ASSERT_EQ(KivGetBufferBits(after.data(), at, n), NaiveField(before, at, width)) << at << ' ' << n;

            const auto value = static_cast<unsigned long>(random());
            KivSetBufferBits(after.data(), at, n, value);
            for (std::size_t bit = 0; bit < after.size() * 8; ++bit) {
                const bool inside = bit >= at && bit < at + width;
                const bool wanted = inside ? (value >> (at + width - 1 - bit) & 1) != 0 : BitAt(before, bit);
                ASSERT_EQ(BitAt(after, bit), wanted) << at << ' ' << n << ' ' << bit;
            }
        }
    }
    unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(KivGetBufferBits(bytes, 0, 33), 0U);
    KivSetBufferBits(bytes + 4, static_cast<unsigned long long>(-12LL), 8, 0xAB); // a negative position
    EXPECT_TRUE(bytes[2] == 0x0A && bytes[3] == 0xB4);
}

struct BitStream : testing::Test {
    void ReadFrom(const Bytes& file) { ASSERT_EQ(s.SourceFromFile(folder.Write("file", file).c_str()), 1); }

    test::TempFolder folder;
    CKivBitStream    s;
};

// Random reads, looks, skips and jumps over files whose sizes lie around the reader's fills.
TEST_F(BitStream, AFileReadsAsItsBytesWhateverTheBuffer) {
    constexpr std::size_t kFill = 32764;
    std::mt19937          random(2);
    for (const std::size_t size : {std::size_t{1}, kFill - 1, kFill, kFill + 3, 3 * kFill + 2}) {
        const Bytes bytes = test::RandomBytes(random, size);
        ReadFrom(bytes);
        std::size_t at = 0;
        for (int step = 0; step < 30000; ++step) {
            const std::size_t left = size * 8 - at;
            const auto        n    = static_cast<unsigned char>(std::min<std::size_t>(random() % 33, left));
            const auto jump = std::min<std::size_t>(left, random() % (step % 100 == 0 ? 600000 : 3000));
            switch (random() % 16) {
            case 0: ASSERT_EQ(s.BytesJump((at = random() % size * 8) / 8), 1); break;
            case 1:
                ASSERT_EQ(s.SkipBits(static_cast<unsigned long>(jump)), 1);
                at += jump;
                break;
            case 2:
                ASSERT_EQ(s.BitsAlignment(8), 1);
                at = (at + 7) / 8 * 8;
                break;
            default:
                ASSERT_EQ(s.ShowBits(n), NaiveField(bytes, at, n)) << "size " << size << " bit " << at;
                ASSERT_EQ(s.GetBits(n), NaiveField(bytes, at, n));
                at += n;
            }
            ASSERT_EQ(s.GetOutBitCount(), at);
            ASSERT_EQ(s.BitsEOF(), 0);
        }
    }
}

TEST_F(BitStream, AFileEndsWithTheFlagAndItsLastBytesStillRead) {
    ReadFrom({1, 2, 3, 4, 5});
    EXPECT_EQ(s.GetBits(33), 0U);
    EXPECT_EQ(s.GetBits(32), 0x01020304U);
    EXPECT_EQ(s.ShowBits(9), 0U);
    EXPECT_EQ(s.BitsEOF(), 1);
    EXPECT_EQ(s.GetBits(8), 5U);
    EXPECT_EQ(s.BytesJump(3), 1);
    EXPECT_EQ(s.BitsEOF(), 0);
    EXPECT_EQ(s.GetOutBitCount(), 24U);
    EXPECT_EQ(s.SkipBits(static_cast<unsigned long>(-8L)), 0) << "32 bits: far ahead, never back";
    EXPECT_EQ(s.BytesJump(1000), 1) << "behind the end: the next read finds out";
    EXPECT_EQ(s.GetBits(1), 0U);
    EXPECT_EQ(s.BitsEOF(), 1);
    EXPECT_EQ(s.BytesJump(~0ULL), 0);
}

TEST_F(BitStream, LooksAheadOnlyInWhatIsBuffered) {
    ReadFrom(Bytes(40000, 0xA5));
    EXPECT_EQ(s.ShowBits(8, 0), 0U) << "nothing was read yet";
    EXPECT_EQ(s.ShowBits(8), 0xA5U);
    EXPECT_EQ(s.ShowBits(8, 4), 0x5AU);
    EXPECT_EQ(s.ShowBits(33, 4), 0U);
    s.SkipBits(32000 * 8);
    EXPECT_EQ(s.ShowBits(8, 756 * 8), 0xA5U);
    EXPECT_EQ(s.ShowBits(16, 764 * 8), 0U) << "the buffer ends there, the file does not";
}

TEST_F(BitStream, AMemoryBlockIsServedInPlaceToItsEndAndOneByteBeyond) {
    unsigned char block[11] = {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE, 0x01, 0x23, 0xC4};
    ASSERT_EQ(s.SourceFromBuffer(block, 10), 1);
    s.SkipBits(3);
    EXPECT_EQ(s.BitsAlignment(0) + s.BitsAlignment(33), 0);
    EXPECT_EQ(s.BitsAlignment(4), 1);
    s.SkipBits(72);
    EXPECT_EQ(s.GetBits(8), 0x3CU) << "the low half is the byte behind the block";
    EXPECT_EQ(s.BitsEOF(), 0);

    ASSERT_EQ(s.SourceFromBuffer(block, 10), 1);
    s.SkipBits(80);
    EXPECT_EQ(s.GetBits(8), 0U);
    EXPECT_EQ(s.BitsEOF(), 1);
    const unsigned char carried[] = {0xDC, 0xFE, 0x01, 0x23, 0x98};
    EXPECT_TRUE(std::equal(std::begin(carried), std::end(carried), block));
    EXPECT_EQ(s.BytesJump(4), 1);
    EXPECT_EQ(s.BitsEOF(), 1) << "a jump clears the flag of a file only";
    EXPECT_EQ(s.GetOutBitCount(), 80U);
    EXPECT_EQ(s.GetBits(8), 0x98U);
}

TEST_F(BitStream, WithoutASourceNothingReads) {
    unsigned char byte = 1;
    for (const std::string& path : {std::string(), folder.Path("none"), folder.Path(".")})
        EXPECT_EQ(s.SourceFromFile(path.c_str()), 0) << path;
    EXPECT_EQ(s.SourceFromFile(nullptr) + s.SourceFromBuffer(nullptr, 1) + s.SourceFromBuffer(&byte, 0), 0);
    EXPECT_EQ(s.BitsEOF(), 1);
    EXPECT_EQ(s.GetBits(8) + s.GetBits(1), 0U);
    EXPECT_EQ(s.SkipBits(1) + s.BytesJump(0), 0);
}

TEST_F(BitStream, ACopySharesTheSourceAndOutlivesTheOriginal) {
    ReadFrom({1, 2, 3});
    s.GetBits(8);
    CKivBitStream second;
    second = s;
    EXPECT_EQ(s.SourceFromFile(nullptr), 0);
    EXPECT_EQ(second.GetBits(16), 0x0203U);
}

} // namespace
