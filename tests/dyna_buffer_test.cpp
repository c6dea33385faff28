// The byte buffer's growth, cutting and bit access.
#include "KivUtility.h"

#include "media.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using test::Bytes, test::BytesIn;

TEST(DynaBuffer, GrowsToTheGivenTargets) {
    const Bytes    bytes(3000, 1);
    CKivDynaBuffer byByte, byIndex, byAppend, bySet;
    EXPECT_TRUE(byByte.AddByte(7) && byIndex.SetByte(10, 1) && byAppend.Append(bytes.data(), 3000));
    EXPECT_EQ(byAppend.GetCapacity(), 3000);
    EXPECT_TRUE(bySet.SetBuffer(bytes.data(), 30) && byAppend.Append(bytes.data(), 1));
    EXPECT_EQ(byByte.GetCapacity(), 1024);
    EXPECT_EQ(byIndex.GetCapacity(), 1035);
    EXPECT_EQ(bySet.GetCapacity(), 1054);
    EXPECT_EQ(byAppend.GetCapacity(), 4024);
    EXPECT_EQ(CKivDynaBuffer(5).GetCapacity(), 1029);
}

TEST(DynaBuffer, CopiesTakeOrLeaveTheIncrement) {
    CKivDynaBuffer source("abc", 3), assigned("old content", 11);
    source.SetBufferIncrementalSize(4096);
    source.SetBufferIncrementalSize(0);
    const CKivDynaBuffer copy(source);
    assigned = source;
    EXPECT_EQ(copy.GetInsBufferByBytes(), 1024);
    EXPECT_EQ(copy.GetCapacity(), 1027);
    EXPECT_EQ(assigned.GetInsBufferByBytes(), 4096);
    EXPECT_EQ(assigned.GetCapacity(), 4099);
    EXPECT_EQ(BytesIn(assigned), BytesIn(copy));
    assigned = CKivDynaBuffer();
    EXPECT_EQ(assigned.GetCapacity(), 0);
}

TEST(DynaBuffer, RefusesWhatItCannotHold) {
    constexpr auto kMost = std::numeric_limits<unsigned long>::max();
    CKivDynaBuffer buffer("abc", 3);
    EXPECT_FALSE(buffer.Append("x", 0) || buffer.Append("x", kMost) || buffer.SetByte(kMost, 1));
    EXPECT_FALSE(buffer.SetBuffer("x", kMost) || buffer.ChopHead(4) || buffer.ChopTail(4));
    EXPECT_EQ(BytesIn(buffer), test::Text("abc"));
    EXPECT_EQ(CKivDynaBuffer("x", kMost).GetSize(), 0);
}

// Any mix of edits leaves the bytes that a plain vector has, and zeros behind them.
TEST(DynaBuffer, AgreesWithAVectorAndKeepsItsRoomZero) {
    std::mt19937   random(7);
    CKivDynaBuffer buffer;
    Bytes          model;
    buffer.SetBufferIncrementalSize(13);
    for (int step = 0; step < 20000; ++step) {
        const std::size_t n = random() % 40;
        const Bytes       piece(n, static_cast<unsigned char>(random() | 1));
        switch (random() % 5) {
        case 0:
            buffer.SetByte(n, 9);
            model.resize(std::max(model.size(), n + 1));
            model[n] = 9;
            break;
        case 1:
            EXPECT_EQ(buffer.Append(piece.data(), n), n != 0);
            model = test::Join({model, piece});
            break;
        case 2:
            if (buffer.ChopHead(n)) model = {model.data() + n, model.data() + model.size()};
            break;
        case 3:
            if (buffer.ChopTail(n)) model.resize(n);
            break;
        default: // its own bytes
            buffer.ChopTail(std::min<std::size_t>(model.size(), 50));
            buffer.AddByte(8);
            model.resize(std::min<std::size_t>(model.size(), 50));
            model.push_back(8);
            buffer.Append(buffer.GetBufferPtr(), model.size());
            model = test::Repeat(model, 2);
        }
        ASSERT_EQ(BytesIn(buffer), model);
        const auto* bytes = static_cast<const unsigned char*>(buffer.GetBufferPtr());
        ASSERT_EQ(std::count(bytes + buffer.GetSize(), bytes + buffer.GetCapacity(), 0),
                  buffer.GetCapacity() - buffer.GetSize());
    }
}

TEST(DynaBuffer, BitFieldsOutsideTheStorageReadAsZeroAndAreNotWritten) {
    CKivDynaBuffer none, buffer("\x12\x34", 2);
    none.SetBits(0, 8, 0xFF);
    EXPECT_EQ(none.GetBits(0, 32), 0U);
    EXPECT_EQ(buffer.GetBits(4, 8), 0x23U);
    EXPECT_EQ(buffer.GetBits(-8, 16), 0x12U);
    const auto lastByte = static_cast<int>(buffer.GetCapacity() - 1) * 8;
    buffer.SetBits(lastByte, 8, 0xAB);
    buffer.SetBits(lastByte + 1, 8, 0xFF);
    EXPECT_EQ(buffer.GetBits(lastByte + 4, 32), 0xB0000000U);
}

} // namespace
