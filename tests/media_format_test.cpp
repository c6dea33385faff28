// The format table, looked up from both ends.
#include "KivUtility.h"

#include <gtest/gtest.h>

namespace {

Kiv_MEDIA_FORMAT_TYPE Format(int value) { return static_cast<Kiv_MEDIA_FORMAT_TYPE>(value); }

// Every name leads back to a format of the same name; where several share one, to the first in the table.
TEST(MediaFormat, NamesLeadToTheFirstFormatThatHasThem) {
    for (int value = 0; value <= 26; ++value) {
        const CKivString abbreviation = Kiv_FormatTypeToAbbreviation(Format(value));
        const auto       first        = Kiv_AbbreviationToFormatType(abbreviation);
        EXPECT_TRUE(Kiv_FormatTypeToAbbreviation(first) == abbreviation) << value;
        const CKivString extension = Kiv_FormatTypeToExtension(Format(value), 0);
        const auto       guess     = Kiv_GuessFormatTypeByExtension(extension);
        EXPECT_TRUE(Kiv_FormatTypeToExtension(guess, 0) == extension) << value;
    }
    for (const auto& [name, value] : {std::pair{"MPG2", 14}, {"mpg4", 17}, {"H264", 18}, {"none", 0}})
        EXPECT_EQ(Kiv_AbbreviationToFormatType(name), value) << name;
    for (const auto& [extension, value] :
         {std::pair{"MP2", 14}, {"mov", 9}, {"qt", 9}, {"RmVb", 19}, {"mpgx", 0}, {"mp", 0}, {"", 1}})
        EXPECT_EQ(Kiv_GuessFormatTypeByExtension(extension), value) << extension;
}

TEST(MediaFormat, UnusedValuesAndIndicesGiveTheFallbacks) {
    for (const int unused : {11, 15, 16, 21, -1, 27}) {
        EXPECT_TRUE(Kiv_FormatTypeToAbbreviation(Format(unused)) == "UNK");
        EXPECT_TRUE(Kiv_FormatTypeToExtension(Format(unused), 4) == "unk");
        EXPECT_TRUE(Kiv_FormatTypeToMediaType(Format(unused)) == Kiv_FormatTypeToMediaType(kKivFmt_Unknown));
    }
    for (const int index : {-1, 3, 5}) EXPECT_TRUE(Kiv_FormatTypeToExtension(kKivFmt_Avi, index) == "");
    EXPECT_EQ(Kiv_GuessFormatTypeByExtension(nullptr) + Kiv_AbbreviationToFormatType(nullptr), 0);
    const GUID avs = {0x5621A68A, 0, 0x10, {0, 0, 0xAA, 0, 0x38, 0x9B, 0x71, 0}};
    EXPECT_TRUE(Kiv_FormatTypeToMediaType(kKivFmt_Avs) == avs);
}

} // namespace
