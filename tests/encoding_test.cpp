// Bytes as text and back, and scrambled bytes.
#include "KivUtility.h"

#include "media.h"

#include <gtest/gtest.h>

namespace {

using test::Bytes, test::BytesIn, test::Text;

struct Encoding {
    int (*encode)(const void*, unsigned long, CKivString&);
    int (*decode)(const char*, CKivDynaBuffer&);
};

constexpr Encoding kHex = {KivEncodeHex, KivDecodeHex}, kBase64 = {KivEncodeBase64, KivDecodeBase64};

std::string Encoded(const Encoding& encoding, const Bytes& bytes) {
    CKivString text;
    EXPECT_EQ(encoding.encode(bytes.data(), static_cast<unsigned long>(bytes.size()), text), 1);
    return std::string(text);
}

TEST(Encoding, WritesTheExamplesOfTheStandard) { // RFC 4648, 10
    const char* const rows[][3] = {{"", "", ""},
                                   {"f", "66", "Zg=="},
                                   {"foob", "666f6f62", "Zm9vYg=="},
                                   {"fooba", "666f6f6261", "Zm9vYmE="},
                                   {"\xfb\xff\xfe", "fbfffe", "+//+"}};
    for (const auto& [bytes, hex, base64] : rows) {
        EXPECT_EQ(Encoded(kHex, Text(bytes)), hex);
        EXPECT_EQ(Encoded(kBase64, Text(bytes)), base64);
    }
}

TEST(Encoding, GivesAnyBytesBack) {
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 300; ++size) {
        const Bytes bytes = test::RandomBytes(random, size);
        for (const auto& encoding : {kHex, kBase64}) {
            CKivDynaBuffer decoded("old", 3);
            EXPECT_EQ(encoding.decode(Encoded(encoding, bytes).c_str(), decoded), 1);
            EXPECT_EQ(BytesIn(decoded), bytes);
        }
    }
}

TEST(Encoding, TakesNothingThatItWouldNotWrite) {
    const auto expectNone = [](const Encoding& encoding, const char* text) {
        CKivDynaBuffer bytes("old", 3);
        EXPECT_EQ(encoding.decode(text, bytes), 0) << text;
        EXPECT_EQ(BytesIn(bytes), Text("old"));
    };
    for (const char* text : {"6", "6g", "66 ", " 66", "0x66", "6\xc3", static_cast<const char*>(nullptr)})
        expectNone(kHex, text);
    for (const char* text : {"Zg", "Zg=", "Zg==\n", "Z===", "====", "Zh==", "Zm9=", "Zg==Zg==", "Zm9v Zm9",
                             "Zm-_", "Z=g=", "=Zg=", static_cast<const char*>(nullptr)})
        expectNone(kBase64, text);
    CKivDynaBuffer upper;
    EXPECT_TRUE(KivDecodeHex("fAFf", upper) == 1 && BytesIn(upper) == (Bytes{0xFA, 0xFF}));
}

// Computed from the declaration's description by a program in another language.
TEST(Scrambling, IsTheSameEverywhereAndForEver) {
    CKivDynaBuffer bytes("password", 8);
    EXPECT_EQ(KivScramble(bytes, "Halvorn"), 1);
    EXPECT_EQ(Encoded(kHex, BytesIn(bytes)), "582a0517f9c261fb");
}

TEST(Scrambling, IsUndoneByItsKeyAlone) {
    std::mt19937 random(2);
    const Bytes  clear = test::RandomBytes(random, 1000);
    for (const char* key : {"k", "another key", "\xff"}) {
        CKivDynaBuffer bytes(clear.data(), 1000);
        EXPECT_EQ(KivScramble(bytes, key), 1);
        CKivDynaBuffer wrong(bytes);
        EXPECT_TRUE(KivUnscramble(bytes, key) == 1 && BytesIn(bytes) == clear);
        EXPECT_TRUE(KivUnscramble(wrong, "wrong") == 1 && BytesIn(wrong) != clear);
        EXPECT_EQ(KivScramble(bytes, "") + KivScramble(bytes, nullptr), 0);
        EXPECT_EQ(BytesIn(bytes), clear);
    }
    CKivDynaBuffer empty;
    EXPECT_TRUE(KivScramble(empty, "k") == 1 && empty.GetSize() == 0);
}

} // namespace
