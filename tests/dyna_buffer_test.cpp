// The byte buffer's growth, cutting and bit access.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Content(const CKivDynaBuffer& buffer) {
    const auto* data = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {data, data + buffer.GetSize()};
}

TEST(DynaBuffer, GrowsToTheGivenTargets) {
    CKivDynaBuffer byBytes;
    EXPECT_TRUE(byBytes.AddByte(7));
    EXPECT_EQ(byBytes.GetCapacity(), 1024);
    CKivDynaBuffer byIndex;
    EXPECT_TRUE(byIndex.SetByte(10, 1));
    EXPECT_EQ(byIndex.GetSize(), 11);
    EXPECT_EQ(byIndex.GetCapacity(), 1035);
    const Bytes    long3000(3000, 1);
    CKivDynaBuffer byAppend;
    EXPECT_TRUE(byAppend.Append(long3000.data(), 3000));
    EXPECT_EQ(byAppend.GetCapacity(), 3000);
    EXPECT_TRUE(byAppend.Append(long3000.data(), 1));
    EXPECT_EQ(byAppend.GetCapacity(), 4024);
    CKivDynaBuffer bySet;
    EXPECT_TRUE(bySet.SetBuffer(long3000.data(), 30));
    EXPECT_EQ(bySet.GetCapacity(), 1054);
    EXPECT_EQ(CKivDynaBuffer(5).GetCapacity(), 1029);
    EXPECT_EQ(CKivDynaBuffer(0UL).GetBufferPtr(), nullptr);
}

TEST(DynaBuffer, CopiesTakeOrLeaveTheIncrement) {
    CKivDynaBuffer source("abc", 3);
    source.SetBufferIncrementalSize(4096);
    source.SetBufferIncrementalSize(0);
    const CKivDynaBuffer copy(source);
    CKivDynaBuffer       assigned("old content", 11);
    assigned = source;
    EXPECT_EQ(copy.GetInsBufferByBytes(), 1024);
    EXPECT_EQ(copy.GetCapacity(), 1027);
    EXPECT_EQ(assigned.GetInsBufferByBytes(), 4096);
    EXPECT_EQ(assigned.GetCapacity(), 4099);
    EXPECT_EQ(Content(assigned), Content(copy));
    assigned = CKivDynaBuffer();
    EXPECT_EQ(assigned.GetCapacity(), 0);
    EXPECT_EQ(assigned.GetSize(), 0);
}

TEST(DynaBuffer, RefusesWhatItCannotHold) {
    constexpr auto kMost = std::numeric_limits<unsigned long>::max();
    CKivDynaBuffer buffer("abc", 3);
    EXPECT_FALSE(buffer.Append("x", 0));
    EXPECT_FALSE(buffer.SetByte(kMost, 1));
    EXPECT_FALSE(buffer.Append("x", kMost));
    EXPECT_FALSE(buffer.SetBuffer("x", kMost));
    EXPECT_FALSE(buffer.ChopHead(4));
    EXPECT_FALSE(buffer.ChopTail(4));
    EXPECT_EQ(Content(buffer), (Bytes{'a', 'b', 'c'}));
    EXPECT_EQ(buffer[3], 0);
    EXPECT_EQ(CKivDynaBuffer("x", kMost).GetSize(), 0);
}

// Any mix of edits leaves the bytes that a plain vector has, and zeros behind them.
TEST(DynaBuffer, AgreesWithAVectorAndKeepsItsRoomZero) {
    std::mt19937   random(7);
    CKivDynaBuffer buffer;
    Bytes          model;
    buffer.SetBufferIncrementalSize(13);
    for (int step = 0; step < 20000; ++step) {
        const auto value = static_cast<unsigned char>(random() | 1);
        const auto n     = random() % 40;
        const auto cut   = static_cast<std::ptrdiff_t>(n);
        switch (random() % 6) {
        case 0:
            buffer.AddByte(value);
            model.push_back(value);
            break;
        case 1:
            buffer.SetByte(n, value);
            if (model.size() <= n) model.resize(n + 1);
            model[n] = value;
            break;
        case 2: {
            const Bytes piece(n, value);
            EXPECT_EQ(buffer.Append(piece.data(), n), n != 0);
            model.insert(model.end(), piece.begin(), piece.end());
            break;
        }
        case 3:
            if (buffer.ChopHead(n)) model.erase(model.begin(), model.begin() + cut);
            break;
        case 4:
            if (buffer.ChopTail(n)) model.resize(n);
            break;
        default:
            if (!model.empty() && buffer.Append(buffer.GetBufferPtr(), model.size())) { // its own bytes
                const Bytes twice = model;
                model.insert(model.end(), twice.begin(), twice.end());
            }
            buffer.ChopTail(std::min<std::size_t>(model.size(), 100));
            model.resize(std::min<std::size_t>(model.size(), 100));
        }
        ASSERT_EQ(Content(buffer), model);
        const auto* data = static_cast<const unsigned char*>(buffer.GetBufferPtr());
        for (long i = buffer.GetSize(); i < buffer.GetCapacity(); ++i) ASSERT_EQ(data[i], 0);
    }
}

TEST(DynaBuffer, BitFieldsOutsideTheStorageReadAsZeroAndAreNotWritten) {
    CKivDynaBuffer none;
    EXPECT_EQ(none.GetBits(0, 32), 0U);
    none.SetBits(0, 8, 0xFF);
    CKivDynaBuffer buffer("\x12\x34", 2);
    buffer.SetBufferIncrementalSize(1);
    EXPECT_EQ(buffer.GetBits(4, 8), 0x23U);
    const auto lastByte = static_cast<int>(buffer.GetCapacity() - 1) * 8;
    buffer.SetBits(lastByte, 8, 0xAB);
    buffer.SetBits(lastByte + 1, 8, 0xFF);
    EXPECT_EQ(buffer.GetBits(lastByte + 4, 32), 0xB0000000U);
    EXPECT_EQ(buffer.GetBits(-8, 16), 0x12U);
    EXPECT_EQ(buffer.GetSize(), 2);
}

} // namespace
