// Messages, formatting, and return codes in words.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <set>
#include <string>

namespace {

// FNV-1a of all texts, the terminators included.
std::uint64_t SumOf(CKivString (*text)(int)) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (int id = 0; id < 111; ++id) {
        for (const char c : std::string(text(id)) + '\0')
            sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    return sum;
}

// The sums are those of the source's texts in another program's GBK and UTF-8: this compiler has made the
// same bytes, and they are converted back as there.
TEST(Messages, AreTheSameBytesWhateverCompilerMadeThem) {
    EXPECT_EQ(SumOf(KivGetStrRes), 0x74DFBB125A337011U);
    EXPECT_EQ(SumOf(KivGetStrResUtf8), 0x58C4EACBFA99D52AU);
    EXPECT_EQ(KivChkStrRes(), 0);
}

TEST(Messages, OutsideTheTableAreUnknown) {
    for (const int id : {111, -1, INT_MAX, INT_MIN}) {
        EXPECT_STREQ(KivGetStrRes(id), "Unknown Message");
        EXPECT_STREQ(KivGetStrResUtf8(id), "Unknown Message");
        EXPECT_STREQ(KivFmtStrRes(id), "Unknown Message");
    }
}

TEST(Formatting, BearsFormatsAndResultsOfAnyLength) {
    const std::string format(510, 'x');
    EXPECT_EQ(std::string(KivFmtStr((format + "%d").c_str(), 1234)), format + "1234");
    EXPECT_STREQ(KivFmtStr((format + "x%d").c_str(), 1234), "KivFmtStrV receive format which is too long");
    for (const int width : {1022, 1023, 1024, 5000}) {
        const std::string whole = std::string(static_cast<std::size_t>(width) - 1, ' ') + "7";
        EXPECT_EQ(std::string(KivFmtStr("%*d", width, 7)), whole.substr(0, 1023));
    }
    const char* none = nullptr;
    EXPECT_STREQ(KivFmtStr(none, 0), "Kiv_FormatString receive NULL format");
    EXPECT_STREQ(KivFmtStr("%s|%d|%lld|%zu|%.2f", "a", -1, LLONG_MIN, sizeof(char), 1.5),
                 "a|-1|-9223372036854775808|1|1.50");
    EXPECT_NE(std::string(KivFmtStrRes(109, "a", 5, 255)).find(" a 5 ff "), std::string::npos);
}

TEST(ReturnCodes, HaveTheirTextsAndNoOtherNumberHasOne) {
    std::set<unsigned long> known;
    for (int row = 0; row < KivReturnCodeRows; ++row) known.insert(KivReturnCodeTable[row].code);
    for (unsigned long code = 0; code < 0x3000; ++code)
        EXPECT_EQ(KivFindNetErrorMsg(code) != "Unknown Error", known.contains(code)) << code;
    EXPECT_STREQ(KivFindNetErrorMsg(7013), "Stream stopped for 10 sec");
    EXPECT_STREQ(KivFindNetErrorMsg(7011), "Kiv_NET_EndOfStream");
    // 0 where there are but 32 bits
    const auto behind32Bits = std::numeric_limits<unsigned long>::max() - 0xFFFFFFFF;
    for (const unsigned long code : {0xFFFFFFFFUL, behind32Bits + 7013})
        EXPECT_EQ(KivFindNetErrorMsg(code) == "Unknown Error", code != 7013) << code;
}

} // namespace
