// The format table, looked up from both ends.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

Kiv_MEDIA_FORMAT_TYPE Format(int value) { return static_cast<Kiv_MEDIA_FORMAT_TYPE>(value); }

// Every name leads back to a format of the same name; where several share one, to the first in the table.
TEST(MediaFormat, NamesLeadToTheFirstFormatThatHasThem) {
    std::set<std::string> abbreviations;
    for (int value = 0; value <= 26; ++value) {
        const CKivString abbreviation = Kiv_FormatTypeToAbbreviation(Format(value));
        abbreviations.insert(static_cast<const char*>(abbreviation));
        const auto back = Kiv_AbbreviationToFormatType(abbreviation);
        EXPECT_TRUE(Kiv_FormatTypeToAbbreviation(back) == abbreviation) << value;
        for (int index = 0; index < 5; ++index) {
            const CKivString extension = Kiv_FormatTypeToExtension(Format(value), index);
            if (extension == "") continue;
            const auto guess = Kiv_GuessFormatTypeByExtension(extension);
            bool       holds = false;
            for (int i = 0; i < 5; ++i) holds = holds || Kiv_FormatTypeToExtension(guess, i) == extension;
            EXPECT_TRUE(holds) << value << ' ' << extension;
        }
    }
    EXPECT_EQ(abbreviations.size(), 17U);
    for (const auto& [name, value] :
         {std::pair{"MPG2", 14}, {"mpg4", 17}, {"H264", 18}, {"MPG1", 1}, {"none", 0}, {"", 0}}) {
        EXPECT_EQ(Kiv_AbbreviationToFormatType(name), value) << name;
    }
}

TEST(MediaFormat, ExtensionsNameTheirFormat) {
    for (const auto& [extension, value] : {std::pair{"mpg", 1},
                                           {"MP2", 14},
                                           {"mp4", 17},
                                           {"mov", 9},
                                           {"264", 18},
                                           {"wma", 20},
                                           {"DAT", 3},
                                           {"mp3", 6},
                                           {"RmVb", 19},
                                           {"asf", 8},
                                           {"3gp", 25},
                                           {"avs", 24},
                                           {"txt", 0},
                                           {"mp", 0},
                                           {"mpgx", 0},
                                           {"", 1}}) {
        EXPECT_EQ(Kiv_GuessFormatTypeByExtension(extension), value) << extension;
    }
    EXPECT_EQ(Kiv_GuessFormatTypeByExtension(nullptr), 0);
    EXPECT_EQ(Kiv_AbbreviationToFormatType(nullptr), 0);
}

TEST(MediaFormat, UnusedValuesAndIndicesGiveTheFallbacks) {
    for (const int unused : {11, 15, 16, 21, -1, 27}) {
        EXPECT_TRUE(Kiv_FormatTypeToAbbreviation(Format(unused)) == "UNK");
        EXPECT_TRUE(Kiv_FormatTypeToExtension(Format(unused), 4) == "unk");
        EXPECT_TRUE(Kiv_FormatTypeToExtension(Format(unused), 5) == "");
        EXPECT_TRUE(Kiv_FormatTypeToMediaType(Format(unused)) == Kiv_FormatTypeToMediaType(kKivFmt_Unknown));
    }
    EXPECT_TRUE(Kiv_FormatTypeToExtension(kKivFmt_Avi, 2) == "xvid");
    for (const int index : {-1, 3, 5}) EXPECT_TRUE(Kiv_FormatTypeToExtension(kKivFmt_Avi, index) == "");
    EXPECT_TRUE(Kiv_FormatTypeToMediaType(kKivFmt_Mp3) == Kiv_FormatTypeToMediaType(kKivFmt_MpegAudio));
    const GUID avs = {0x5621A68A, 0, 0x10, {0, 0, 0xAA, 0, 0x38, 0x9B, 0x71, 0}};
    EXPECT_TRUE(Kiv_FormatTypeToMediaType(kKivFmt_Avs) == avs);
}

} // namespace
