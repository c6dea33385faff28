// kiv registry as a user meets it.
#include "KivUtility.h"

#include "tool_run.h"

#include <gtest/gtest.h>

namespace {

using namespace test;
using Json = nlohmann::json;

const std::string kKey = "SOFTWARE\\Halvorn\\KivToolTest";

// Runs `kiv registry COMMAND --root HKCU WORDS...`.
ToolResult Registry(const std::string& command, const std::vector<std::string>& words) {
    std::vector<std::string> all = {"registry", command, "--root", "HKCU"};
    all.insert(all.end(), words.begin(), words.end());
    return RunTool(all);
}

struct ToolRegistry : testing::Test {
    ~ToolRegistry() override { Registry("delete", {"-r", kKey}); }
};

TEST_F(ToolRegistry, PrintsWhatWasSet) {
    const std::vector<std::string> rows[] = {{"sz", "Main entrance", "Main entrance"},
                                             {"dword", "4294967295", "4294967295"},
                                             {"dword", "0xFFfa0001", "4294574081"},
                                             {"binary", "00fFA0", "00ffa0"},
                                             {"binary", "", ""}};

    for (const auto& row : rows) {
        EXPECT_EQ(Registry("set", {kKey, "value", row[1], "--type", row[0]}).status, 0) << row[1];
        const ToolResult got = Registry("get", {kKey, "value"});
        EXPECT_EQ(std::to_string(got.status) + got.problems + got.out, '0' + row[2] + '\n');
    }
    const auto object = Registry("get", {kKey, "value", "--json"}).Objects().at(0);
    EXPECT_EQ(object, Json({{"key", "HKCU\\" + kKey}, {"name", "value"}, {"type", "binary"}, {"data", ""}}));
}

TEST_F(ToolRegistry, RefusesWhatIsNoValueOfTheType) {
    const std::pair<const char*, const char*> rows[] = {
        {"dword", ""},   {"dword", "4294967296"}, {"dword", "12x"}, {"dword", " 1"},
        {"dword", "0x"}, {"binary", "123"},       {"binary", "0g"}, {"qword", "1"}};

    for (const auto& [type, value] : rows) {
        const ToolResult set = Registry("set", {kKey, "value", value, "--type", type});
        EXPECT_TRUE(set.status == 2 && !set.problems.empty()) << type << ' ' << value;
    }
    EXPECT_EQ(Registry("list", {kKey}).status, 1) << "and nothing was made";
}

TEST_F(ToolRegistry, ListsAndDeletesValuesAndKeys) {
    Registry("set", {kKey, "number", "5", "--type", "dword"});
    Registry("set", {kKey + "\\Streams\\Live", "", "a default value"});
    EXPECT_EQ(Registry("list", {"-r", kKey}).out, "number\tdword\t5\nStreams\\\nStreams\\Live\\\n"
                                                  "Streams\\Live\\(default)\tsz\t\"a default value\"\n");
    const auto object = Registry("list", {"--json", kKey}).Objects().at(0);
    EXPECT_TRUE(object["keys"] == Json({"Streams"}) && object["values"][0]["data"] == 5) << object;
    EXPECT_EQ(Registry("delete", {kKey}).status, 2) << "it has a sub-key";
    for (const int status : {0, 1}) EXPECT_EQ(Registry("delete", {kKey, "number"}).status, status);
    EXPECT_EQ(Registry("list", {kKey}).out, "Streams\\\n");
    EXPECT_EQ(Registry("delete", {"-r", kKey}).status, 0);
    EXPECT_EQ(Registry("list", {kKey}).status, 1);
}

// Names and texts that are no UTF-8 among them.
TEST_F(ToolRegistry, ImportsWhatWasExportedByteForByte) {
    const std::string odd     = kKey + "\\\xE9t\xE9";
    unsigned char     bytes[] = {0, 255, 10};
    CKivRegistryMgr   node(HKEY_CURRENT_USER);
    EXPECT_TRUE(node.OpenNode((kKey + "\\empty").c_str(), 1) && node.OpenNode(odd.c_str(), 1));
    EXPECT_TRUE(node.Update("", "default \"\n\t") && node.Update("\xE8", "\xE9\xFF") && node.Update("n", -1L)
                && node.UpdateEx("b", bytes, 3) && node.UpdateEx("none", bytes, 0));
    const TempFolder  folder;
    const std::string file = folder.Path("tree.json"), again = folder.Path("again.json");
    EXPECT_EQ(Registry("export", {kKey, "-o", file}).status, 0);
    EXPECT_EQ(Registry("export", {kKey}).out, ReadWholeText(file));
    EXPECT_EQ(Json::parse(ReadWholeText(file))["keys"][1]["name"], Json({{"hex", "e974e9"}}));

    EXPECT_EQ(Registry("delete", {"-r", kKey}).status, 0);
    EXPECT_EQ(RunTool({"registry", "import", file}).status, 0);
    EXPECT_EQ(Registry("export", {kKey, "-o", again}).status, 0);
    EXPECT_EQ(ReadWholeFile(again), ReadWholeFile(file));
    CKivString text;
    EXPECT_TRUE(node.OpenNode(odd.c_str(), 0) && node.ReadValue("\xE8", text, "") && text == "\xE9\xFF");
}

TEST_F(ToolRegistry, ImportsElsewhereAndAddsOrReplaces) {
    const TempFolder  folder;
    const std::string file = folder.Path("tree.json");
    Registry("set", {kKey + "\\a\\x", "v", "exported"});
    Registry("set", {kKey + "\\b", "other", "stays"});
    EXPECT_EQ(Registry("export", {kKey + "\\a", "-o", file}).status, 0);
    EXPECT_EQ(RunTool({"registry", "import", "--key", kKey + "\\b"}, {}, file).status, 0);
    EXPECT_EQ(Registry("list", {"-r", kKey + "\\b"}).out,
              "other\tsz\t\"stays\"\nx\\\nx\\v\tsz\t\"exported\"\n");
    EXPECT_EQ(RunTool({"registry", "import", file, "--replace", "--key", kKey + "\\b"}).status, 0);
    EXPECT_EQ(Registry("list", {"-r", kKey + "\\b"}).out, "x\\\nx\\v\tsz\t\"exported\"\n");
}

TEST_F(ToolRegistry, ImportsNothingOfAFileThatIsNotRight) {
    const std::string head    = R"({"registry": 1, "root": "HKCU", "key": "SOFTWARE\\Halvorn\\KivToolTest",
                              "values": [{"name": "n", "type": "dword", "data": 1})";
    const std::string tails[] = {"",
                                 "]",
                                 R"(, {"name": "N", "type": "sz", "data": ""}]})",
                                 R"(, {"name": "d", "type": "dword", "data": -1}]})",
                                 R"(, {"name": "d", "type": "dword", "data": 4294967296}]})",
                                 R"(, {"name": "b", "type": "binary", "data": "0"}]})",
                                 R"(, {"name": "q", "type": "qword", "data": 1}]})",
                                 R"(, {"name": "s", "type": "sz", "data": 1}]})",
                                 R"(, {"name": "s", "type": "sz", "data": "\u0000"}]})",
                                 R"(, {"name": {"hex": "00"}, "type": "sz", "data": ""}]})",
                                 R"(], "keys": [{"name": ""}]})",
                                 R"(], "keys": [{"name": "a\\b"}]})",
                                 R"(], "keys": [{"name": "k"}, {"name": "K"}]})",
                                 R"(], "keys": [{"values": []}]})",
                                 R"(], "more": 1})",
                                 "]} {}"};
    const TempFolder  folder;
    for (const std::string& tail : tails) {
        const std::string text = head + tail;
        const ToolResult  result =
            RunTool({"registry", "import", folder.Write("bad.json", {text.begin(), text.end()})});
        EXPECT_TRUE(result.status == 2 && !result.problems.empty()) << tail << result.problems;
    }
    EXPECT_EQ(Registry("list", {kKey}).status, 1);
    EXPECT_EQ(Registry("export", {kKey, "-o", folder.Path("none")}).status, 1);
    EXPECT_FALSE(fs::exists(folder.Path("none")));
}

} // namespace
