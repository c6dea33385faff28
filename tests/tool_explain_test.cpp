// kiv explain as a user meets it.
#include "KivUtility.h"

#include "tool_run.h"

#include <gtest/gtest.h>

namespace {

using namespace test;
using Json = nlohmann::json;

ToolResult Explain(Arguments words) {
    words.insert(words.begin(), "explain");
    return RunTool(words);
}

TEST(ToolExplain, TellsEveryMessageAndEveryReturnCodeThereIs) {
    const auto objects = Explain({"--all", "--json"}).Objects();
    ASSERT_EQ(objects.size(), static_cast<std::size_t>(TABLEROWS + KivReturnCodeRows - 1)) << "0 is both";
    for (int line = 0; const Json& object : objects) {
        const bool isMessage = line < TABLEROWS, isCode = line == 0 || !isMessage;
        const auto code =
            isMessage ? static_cast<unsigned long>(line) : KivReturnCodeTable[line - TABLEROWS + 1].code;
        EXPECT_EQ(object["code"], code);
        EXPECT_EQ(object["message"], isMessage ? Json(std::string(KivGetStrResUtf8(line))) : Json());
        EXPECT_EQ(object["return_code"], isCode ? Json(std::string(KivFindNetErrorMsg(code))) : Json());
        ++line;
    }
}

TEST(ToolExplain, TellsWhatANumberMeansInLines) {
    const ToolResult both = Explain({"0", "0X1b65"});
    EXPECT_EQ(both.out, "    0  0x0000  message      \xE6\x88\x90\xE5\x8A\x9F\n"
                        "    0  0x0000  return code  OK, no error\n"
                        " 7013  0x1B65  return code  Stream stopped for 10 sec\n");
    EXPECT_EQ(both.status, 0);
    EXPECT_NE(Explain({"101"}).out.find("created.\n" + std::string(29, ' ') + "1.In"), std::string::npos);
    const ToolResult unknown = Explain({"111", "1"});
    EXPECT_EQ(unknown.out.find("  111  0x006F  unknown "), 0U) << unknown.out;
    EXPECT_EQ(unknown.status, 1);
}

TEST(ToolExplain, RefusesWhatIsNoNumberAndExplainsTheRest) {
    for (const char* word : {"", "x", "0x", "1 ", "4294967296", "0x100000000", "7013x"}) {
        const ToolResult result = Explain({word, "4294967295", "7013"});
        EXPECT_TRUE(result.status == 2 && !result.problems.empty()) << word;
        EXPECT_NE(result.out.find("10 sec"), std::string::npos) << word;
    }
    for (const Arguments& words : {Arguments(), {"--all", "1"}, {"-5"}}) EXPECT_EQ(Explain(words).status, 2);
}

} // namespace
