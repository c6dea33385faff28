// Bytes as text and back, and scrambled bytes.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using test::Bytes;

Bytes BytesIn(const CKivDynaBuffer& buffer) {
    const auto* first = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {first, first + buffer.GetSize()};
}

struct Encoding {
    const char* name;
    int (*encode)(const void*, unsigned long, CKivString&);
    int (*decode)(const char*, CKivDynaBuffer&);
};

constexpr Encoding kHex    = {"hex", KivEncodeHex, KivDecodeHex};
constexpr Encoding kBase64 = {"base64", KivEncodeBase64, KivDecodeBase64};

std::string Encoded(const Encoding& encoding, const std::string& bytes) {
    CKivString text;
    EXPECT_EQ(encoding.encode(bytes.data(), static_cast<unsigned long>(bytes.size()), text), 1);
    return std::string(text);
}

TEST(Encoding, WritesTheExamplesOfTheStandard) { // RFC 4648, 10
    const char* const rows[][3] = {{"", "", ""},
                                   {"f", "66", "Zg=="},
                                   {"fo", "666f", "Zm8="},
                                   {"foo", "666f6f", "Zm9v"},
                                   {"foob", "666f6f62", "Zm9vYg=="},
                                   {"fooba", "666f6f6261", "Zm9vYmE="},
                                   {"\xfb\xff\xfe", "fbfffe", "+//+"}};
    for (const auto& [bytes, hex, base64] : rows) {
        EXPECT_EQ(Encoded(kHex, bytes), hex);
        EXPECT_EQ(Encoded(kBase64, bytes), base64);
    }
}

TEST(Encoding, GivesAnyBytesBack) {
    std::mt19937 random(1);
    for (const auto& encoding : {kHex, kBase64}) {
        for (std::size_t size = 0; size < 300; ++size) {
            const Bytes    bytes = test::RandomBytes(random, size);
            CKivString     text;
            CKivDynaBuffer decoded("old", 3);
            EXPECT_EQ(encoding.encode(bytes.data(), static_cast<unsigned long>(size), text), 1);
            EXPECT_EQ(encoding.decode(text, decoded), 1);
            EXPECT_EQ(BytesIn(decoded), bytes) << encoding.name;
        }
    }
}

TEST(Encoding, TakesNothingThatItWouldNotWrite) {
    const std::pair<Encoding, const char*> rows[] = {
        {kHex, "6"},       {kHex, "6g"},      {kHex, "66 "},     {kHex, " 66"},         {kHex, "0x66"},
        {kHex, "6\xc3"},   {kBase64, "Zg"},   {kBase64, "Zg="},  {kBase64, "Zg==\n"},   {kBase64, "Z==="},
        {kBase64, "===="}, {kBase64, "Zh=="}, {kBase64, "Zm9="}, {kBase64, "Zg==Zg=="}, {kBase64, "Zm9v Zm9"},
        {kBase64, "Zm-_"}, {kBase64, "Z=g="}, {kBase64, "=Zg="}, {kBase64, nullptr},    {kHex, nullptr}};
    for (const auto& [encoding, text] : rows) {
        CKivDynaBuffer bytes("old", 3);
        EXPECT_EQ(encoding.decode(text, bytes), 0) << encoding.name << ' ' << text;
        EXPECT_EQ(BytesIn(bytes), (Bytes{'o', 'l', 'd'}));
    }
    CKivDynaBuffer upper;
    EXPECT_TRUE(KivDecodeHex("fAFf", upper) == 1 && BytesIn(upper) == (Bytes{0xFA, 0xFF}));
}

// Computed from the declaration's description by a program in another language.
TEST(Scrambling, IsTheSameEverywhereAndForEver) {
    CKivDynaBuffer bytes("password", 8);
    EXPECT_EQ(KivScramble(bytes, "Halvorn"), 1);
    EXPECT_EQ(Encoded(kHex, std::string(static_cast<const char*>(bytes.GetBufferPtr()), 8)),
              "582a0517f9c261fb");
}

TEST(Scrambling, IsUndoneByItsKeyAlone) {
    std::mt19937 random(2);
    const Bytes  clear = test::RandomBytes(random, 1000);
    const auto   size  = static_cast<unsigned long>(clear.size());
    for (const char* key : {"k", "another key", "\xff"}) {
        CKivDynaBuffer bytes(clear.data(), size);
        EXPECT_EQ(KivScramble(bytes, key), 1);
        CKivDynaBuffer wrong(bytes);
        EXPECT_TRUE(KivUnscramble(bytes, key) == 1 && BytesIn(bytes) == clear);
        EXPECT_TRUE(KivUnscramble(wrong, "wrong") == 1 && BytesIn(wrong) != clear);
    }
    CKivDynaBuffer bytes(clear.data(), size), empty;
    EXPECT_EQ(KivScramble(bytes, "") + KivScramble(bytes, nullptr), 0);
    EXPECT_TRUE(BytesIn(bytes) == clear && KivScramble(empty, "k") == 1 && empty.GetSize() == 0);
}

} // namespace
