// The messages against what another converter makes of the texts in their source.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// The texts in the rows of the source's table, without quotes and escapes.
std::vector<std::string> TextsOfSource() {
    const test::Bytes bytes = test::ReadWholeFile(KIV_SAMPLES_DIR "/../common/KivUtility/KivStrRes.cpp");
    const std::string source(bytes.begin(), bytes.end()), head = "KivStringResourceTable[] = {";
    std::vector<std::string> texts;
    bool                     quoted = false;
    for (std::size_t at = source.find(head) + head.size(); quoted || source.compare(at, 2, "};") != 0; ++at) {
        const char c = source.at(at);
        if (c == '"')
            quoted = !quoted;
        else if (quoted && c == '\\')
            texts.back() += source[++at] == 'n' ? '\n' : source[at];
        else if (quoted)
            texts.back() += c;
        else if (c == '{')
            texts.emplace_back();
    }
    return texts;
}

TEST(MessageEncoding, IsThatOfTheSystemsConverterForEveryRowOfTheSource) {
    const auto texts = TextsOfSource();
    ASSERT_EQ(texts.size(), static_cast<std::size_t>(TABLEROWS));
    for (int id = 0; const std::string& text : texts) {
        const std::string gbk(KivGetStrRes(id));
        EXPECT_EQ(gbk, Convert(text, "UTF-8", "GBK")) << text;
        EXPECT_EQ(Convert(gbk, "GBK", "UTF-8"), std::string(KivGetStrResUtf8(id)));
        EXPECT_EQ(std::string(KivGetStrResUtf8(id++)), text);
    }
}

TEST(Formatting, OfWhatTheLocaleCannotWriteIsEmpty) { EXPECT_STREQ(KivFmtStr("a%ls", L"\u6210"), ""); }

} // namespace
