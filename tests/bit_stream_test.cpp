// The bit stream reader and the bit fields of byte arrays, against bit-by-bit oracles.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>

namespace {

using test::Bytes;

bool BitAt(const unsigned char* bytes, std::size_t bit) { return (bytes[bit / 8] >> (7 - bit % 8) & 1) != 0; }

unsigned long NaiveField(const Bytes& bytes, std::size_t bitPos, unsigned n) {
    unsigned long field = 0;
    for (unsigned i = 0; i < n; ++i) field = field << 1 | (BitAt(bytes.data(), bitPos + i) ? 1U : 0U);
    return field;
}

// Each field stands in an allocation of exactly the bytes that it covers, so a wider access is caught.
TEST(BufferBits, ReadAndWriteEveryFieldAndNothingElse) {
    std::mt19937 random(1);
    for (unsigned at = 0; at < 16; ++at) {
        for (int n = 0; n <= 32; ++n) {
            const unsigned    width  = n == 0 ? 32 : static_cast<unsigned>(n); // 0 means 32, kept
            const std::size_t size   = (at + width + 7) / 8;
            const Bytes       before = test::RandomBytes(random, size);
            auto              exact  = std::make_unique<unsigned char[]>(size);
            std::copy(before.begin(), before.end(), exact.get());
            ASSERT_EQ(KivGetBufferBits(exact.get(), at, n), NaiveField(before, at, width)) << at << ' ' << n;

            const auto value = static_cast<unsigned long>(random());
            KivSetBufferBits(exact.get(), at, n, value);
            for (std::size_t bit = 0; bit < size * 8; ++bit) {
                const bool inside = bit >= at && bit < at + width;
                const bool wanted =
                    inside ? (value >> (at + width - 1 - bit) & 1) != 0 : BitAt(before.data(), bit);
                ASSERT_EQ(BitAt(exact.get(), bit), wanted) << at << ' ' << n << ' ' << bit;
            }
        }
    }
    unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(KivGetBufferBits(bytes, 0, 33), 0U);
    KivSetBufferBits(bytes + 4, static_cast<unsigned long long>(-12LL), 8, 0xAB); // a negative position
    EXPECT_EQ(bytes[2], 0x0A);
    EXPECT_EQ(bytes[3], 0xB4);
}

// Random reads, looks, skips and jumps over files whose sizes lie around the reader's fills.
TEST(BitStream, AFileReadsAsItsBytesWhateverTheBuffer) {
    constexpr std::size_t kFill = 32764;
    test::TempFolder      folder;
    std::mt19937          random(2);
    for (const std::size_t size :
         {std::size_t{1}, std::size_t{5}, kFill - 1, kFill, kFill + 1, kFill + 3, 3 * kFill + 2}) {
        const Bytes   bytes = test::RandomBytes(random, size);
        CKivBitStream s;
        ASSERT_EQ(s.SourceFromFile(folder.Write("random", bytes).c_str()), 1);
        EXPECT_EQ(s.GetFileSize(), size);
        std::size_t at = 0;
        for (int step = 0; step < 30000; ++step) {
            const auto        n    = static_cast<unsigned char>(random() % 33);
            const std::size_t left = size * 8 - at;
            switch (random() % 16) {
            case 0:
                at = random() % size * 8;
                ASSERT_EQ(s.BytesJump(at / 8), 1);
                break;
            case 1: {
                const std::size_t jump =
                    std::min<std::size_t>(left, random() % (step % 100 == 0 ? 600000 : 3000));
                ASSERT_EQ(s.SkipBits(static_cast<unsigned long>(jump)), 1);
                at += jump;
                break;
            }
            case 2:
                if (left >= 40) {
                    ASSERT_EQ(s.BitsAlignment(8), 1);
                    at = (at + 7) / 8 * 8;
                }
                break;
            default:
                if (n > left) break;
                ASSERT_EQ(s.ShowBits(n), NaiveField(bytes, at, n)) << "size " << size << " bit " << at;
                if (random() % 2 == 0) {
                    ASSERT_EQ(s.GetBits(n), NaiveField(bytes, at, n));
                    at += n;
                }
            }
            ASSERT_EQ(s.GetOutBitCount(), at);
            ASSERT_EQ(s.BitsEOF(), 0);
        }
    }
}

TEST(BitStream, AFileEndsWithTheFlagAndItsLastBytesStillRead) {
    test::TempFolder folder;
    CKivBitStream    s;
    ASSERT_EQ(s.SourceFromFile(folder.Write("five", {1, 2, 3, 4, 5}).c_str()), 1);
    EXPECT_EQ(s.GetBits(33), 0U);
    EXPECT_EQ(s.GetBits(32), 0x01020304U);
    EXPECT_EQ(s.ShowBits(9), 0U);
    EXPECT_EQ(s.BitsEOF(), 1);
    EXPECT_EQ(s.GetBits(8), 5U);
    EXPECT_EQ(s.BytesJump(3), 1);
    EXPECT_EQ(s.BitsEOF(), 0);
    EXPECT_EQ(s.GetOutBitCount(), 24U);
    EXPECT_EQ(s.GetBits(16), 0x0405U);
    EXPECT_EQ(s.SkipBits(1), 0);
    EXPECT_EQ(s.BytesJump(3), 1);
    EXPECT_EQ(s.SkipBits(static_cast<unsigned long>(-8L)), 0) << "32 bits: far ahead, never back";
    EXPECT_EQ(s.BytesJump(1000), 1) << "behind the end: the next read finds out";
    EXPECT_EQ(s.GetBits(1), 0U);
    EXPECT_EQ(s.BitsEOF(), 1);
    EXPECT_EQ(s.BytesJump(~0ULL), 0);
    EXPECT_EQ(s.BitsEOF(), 1);
}

TEST(BitStream, LooksAheadOnlyInWhatIsBuffered) {
    test::TempFolder folder;
    CKivBitStream    s;
    ASSERT_EQ(s.SourceFromFile(folder.Write("bytes", Bytes(40000, 0xA5)).c_str()), 1);
    EXPECT_EQ(s.ShowBits(8, 0), 0U) << "nothing was read yet";
    EXPECT_EQ(s.ShowBits(8), 0xA5U);
    EXPECT_EQ(s.ShowBits(8, 4), 0x5AU);
    EXPECT_EQ(s.ShowBits(33, 4), 0U);
    s.SkipBits(32000 * 8);
    EXPECT_EQ(s.ShowBits(8, 756 * 8), 0xA5U);
    EXPECT_EQ(s.ShowBits(16, 764 * 8), 0U) << "the buffer ends there, the file does not";
}

TEST(BitStream, AMemoryBlockIsServedInPlaceToItsEndAndOneByteBeyond) {
    unsigned char block[11] = {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE, 0x01, 0x23, 0xC4};
    CKivBitStream s;
    ASSERT_EQ(s.SourceFromBuffer(block, 10), 1);
    s.GetBits(4);
    for (int i = 0; i < 9; ++i) s.GetBits(8);
    EXPECT_EQ(s.GetBits(8), 0x3CU) << "the low half is the byte behind the block";
    EXPECT_EQ(s.BitsEOF(), 0);

    ASSERT_EQ(s.SourceFromBuffer(block, 10), 1);
    s.SkipBits(80);
    EXPECT_EQ(s.GetBits(8), 0U);
    EXPECT_EQ(s.BitsEOF(), 1);
    EXPECT_EQ(s.GetOutBitCount(), 80U);
    const unsigned char carried[] = {0xDC, 0xFE, 0x01, 0x23, 0x98};
    EXPECT_TRUE(std::equal(std::begin(carried), std::end(carried), block));
    EXPECT_EQ(s.BytesJump(4), 1);
    EXPECT_EQ(s.BitsEOF(), 1) << "a jump clears the flag of a file only";
    EXPECT_EQ(s.GetOutBitCount(), 80U);
    EXPECT_EQ(s.GetBits(8), 0x98U);
}

TEST(BitStream, AlignsToTheBitsConsumed) {
    unsigned char block[8] = {};
    CKivBitStream s;
    s.SourceFromBuffer(block, 8);
    s.GetBits(3);
    EXPECT_EQ(s.BitsAlignment(0), 0);
    EXPECT_EQ(s.BitsAlignment(33), 0);
    EXPECT_EQ(s.BitsAlignment(8), 1);
    EXPECT_EQ(s.BitsAlignment(8), 1);
    EXPECT_EQ(s.GetOutBitCount(), 8U);
}

TEST(BitStream, WithoutASourceNothingReads) {
    test::TempFolder folder;
    unsigned char    byte = 1;
    CKivBitStream    s;
    for (const int opened :
         {s.SourceFromFile(""), s.SourceFromFile(nullptr), s.SourceFromFile(folder.Path("none").c_str()),
          s.SourceFromFile(folder.Path(".").c_str()), s.SourceFromBuffer(nullptr, 1),
          s.SourceFromBuffer(&byte, 0), s.SourceFromBuffer(&byte, -1)}) {
        EXPECT_EQ(opened, 0);
    }
    EXPECT_EQ(s.BitsEOF(), 1);
    EXPECT_EQ(s.GetBits(8), 0U);
    EXPECT_EQ(s.SkipBits(1), 0);
    EXPECT_EQ(s.BytesJump(0), 0);
}

TEST(BitStream, ACopySharesTheSourceAndOutlivesTheOriginal) {
    test::TempFolder             folder;
    std::optional<CKivBitStream> first(std::in_place);
    first->SourceFromFile(folder.Write("bytes", {1, 2, 3}).c_str());
    first->GetBits(8);
    CKivBitStream second;
    second = *first;
    first.reset();
    EXPECT_EQ(second.GetBits(16), 0x0203U);
}

// After the end, whatever is asked stays inside the buffer: the sanitizers watch.
TEST(BitStream, AnyCallsBehindTheEndAreSafe) {
    std::mt19937     random(3);
    test::TempFolder folder;
    const auto       path = folder.Write("bytes", test::RandomBytes(random, 33000));
    for (int round = 0; round < 200; ++round) {
        Bytes         block = test::RandomBytes(random, 1 + random() % 20);
        const int     size  = static_cast<int>(block.size());
        CKivBitStream s;
        block.push_back(0);
        round % 2 == 0 ? s.SourceFromFile(path.c_str()) : s.SourceFromBuffer(block.data(), size);
        for (int step = 0; step < 300; ++step) {
            switch (random() % 5) {
            case 0: s.ShowBits(static_cast<unsigned char>(random())); break;
            case 1: s.GetBits(static_cast<unsigned char>(random() % 40)); break;
            case 2:
                s.ShowBits(static_cast<unsigned char>(random() % 34), static_cast<unsigned short>(random()));
                break;
            case 3: s.SkipBits(random() % (random() % 2 == 0 ? 100 : 10000000)); break;
            default: s.BytesJump(random() % 4 == 0 ? ~0ULL - random() % 3 : random() % 40000);
            }
        }
    }
}

} // namespace
