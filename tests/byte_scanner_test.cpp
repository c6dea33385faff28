// The scanner against a naive loop.
#include "ByteScanner.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

using test::Bytes;

std::size_t NaiveStartCode(const Bytes& bytes, std::size_t from) {
    for (std::size_t i = from; i + 2 < bytes.size(); ++i) {
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1) return i;
    }
    return bytes.size();
}

// A lone prefix at every place of spans of every length around the scanner's block, begun at every index: the
// span is exactly as long as it says, so a stray read is caught.
TEST(StartCodeScanner, FindsALonePrefixWhereverItLies) {
    for (std::size_t size = 3; size < 300; size += size < 150 ? 1 : 37) {
        for (std::size_t place = 0; place + 3 <= size; ++place) {
            Bytes bytes(size, 0xFF);
            bytes[place] = bytes[place + 1] = 0;
            bytes[place + 2]                = 1;
            for (const std::size_t from : {std::size_t{0}, place / 2, place, place + 1}) {
                ASSERT_EQ(kiv::FindStartCode(bytes, from), from <= place ? place : size)
                    << size << ' ' << from;
            }
        }
    }
}

// Bytes of few values make prefixes, near misses and overlaps in every alignment.
TEST(StartCodeScanner, AgreesWithANaiveLoopOnDenseData) {
    std::mt19937 random(20260);
    for (unsigned round = 0; round < 400; ++round) {
        Bytes bytes(round < 5 ? round : random() % 700);
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random() % (2 + round % 3));
        for (std::size_t from = 0; from <= bytes.size();) {
            const std::size_t found = kiv::FindStartCode(bytes, from);
            ASSERT_EQ(found, NaiveStartCode(bytes, from)) << "round " << round << " from " << from;
            from = found + 1;
        }
    }
}

TEST(ByteScanner, FindsTheFirstByteThatIsOrDiffers) {
    const Bytes bytes = {0, 0, 7, 0, 0};
    EXPECT_EQ(kiv::FindOtherThan(bytes, 0, 0), 2U);
    EXPECT_EQ(kiv::FindOtherThan(bytes, 3, 0), 5U);
    EXPECT_EQ(kiv::FindOtherThan({}, 0, 0), 0U);
    EXPECT_EQ(kiv::FindByte({}, 0, 0), 0U);
}

} // namespace
