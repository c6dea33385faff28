// The messages against what another converter makes of them.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <string>

#include <iconv.h>

namespace {

std::string Utf8OfGbk(std::string text) {
    const iconv_t     converter = iconv_open("UTF-8", "GBK");
    std::string       result(text.size() * 2, '\0');
    char*             in     = text.data();
    char*             out    = result.data();
    std::size_t       inLeft = text.size(), outLeft = result.size();
    const std::size_t failed = iconv(converter, &in, &inLeft, &out, &outLeft);
    EXPECT_EQ(failed + inLeft, 0U) << text;
    iconv_close(converter);
    return result.substr(0, result.size() - outLeft);
}

TEST(MessageEncoding, IsThatOfTheSystemsConverter) {
    for (int id = 0; id < TABLEROWS; ++id)
        EXPECT_EQ(std::string(KivGetStrResUtf8(id)), Utf8OfGbk(std::string(KivGetStrRes(id))));
}

TEST(Formatting, OfWhatTheLocaleCannotWriteIsEmpty) { EXPECT_STREQ(KivFmtStr("a%ls", L"\u6210"), ""); }

} // namespace
