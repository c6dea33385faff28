// The messages against what another converter makes of the texts in their source.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <regex>
#include <string_view>

#include <iconv.h>

namespace {

std::string Convert(std::string text, const char* from, const char* to) {
    const iconv_t     converter = iconv_open(to, from);
    std::string       result(text.size() * 2, '\0');
    char*             in     = text.data();
    char*             out    = result.data();
    std::size_t       inLeft = text.size(), outLeft = result.size();
    const std::size_t failed = iconv(converter, &in, &inLeft, &out, &outLeft);
    EXPECT_EQ(failed + inLeft, 0U) << text;
    iconv_close(converter);
    return result.substr(0, result.size() - outLeft);
}

// What the string literals of a row stand for.
std::string Unquoted(const std::string& literals) {
    const std::string joined = std::regex_replace(literals, std::regex(R"re(^"|"\s+"|"\s*$)re"), "");
    std::string       text;
    for (std::size_t i = 0; i < joined.size(); ++i) {
        if (joined[i] != '\\')
            text += joined[i];
        else
            text += joined[++i] == 'n' ? '\n' : joined[i];
    }
    return text;
}

TEST(MessageEncoding, IsThatOfTheSystemsConverterForEveryRowOfTheSource) {
    const test::Bytes bytes = test::ReadWholeFile(KIV_SAMPLES_DIR "/../common/KivUtility/KivStrRes.cpp");
    const std::string source(bytes.begin(), bytes.end());
    const std::regex  row(R"re(\{(\d+),\s*((?:"(?:\\.|[^"\\])*"\s*)+)(?:_gbk)?\})re");
    int               id = 0;
    for (std::sregex_iterator match(source.begin(), source.end(), row), end; match != end; ++match, ++id) {
        ASSERT_EQ(match->str(1), std::to_string(id));
        const std::string text = Unquoted(match->str(2));
        EXPECT_EQ(std::string(KivGetStrRes(id)), Convert(text, "UTF-8", "GBK")) << text;
        EXPECT_EQ(std::string(KivGetStrResUtf8(id)), text);
        EXPECT_EQ(Convert(std::string(KivGetStrRes(id)), "GBK", "UTF-8"), text);
    }
    EXPECT_EQ(id, TABLEROWS);
}

TEST(Formatting, OfWhatTheLocaleCannotWriteIsEmpty) { EXPECT_STREQ(KivFmtStr("a%ls", L"\u6210"), ""); }

} // namespace
