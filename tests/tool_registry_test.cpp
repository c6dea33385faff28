// kiv registry as a user meets it.
#include "KivUtility.h"

#include "media.h"
#include "own_key.h"
#include "tool_run.h"

namespace {

using namespace test;
using Json = nlohmann::json;

const std::string kKey = "SOFTWARE\\Halvorn\\KivToolTest";

// Runs `kiv registry COMMAND --root HKCU WORDS...`.
ToolResult Registry(const std::string& command, const Arguments& words) {
    return RunTool(Joined({"registry", command, "--root", "HKCU"}, words));
}

ToolResult Import(const Arguments& words) { return RunTool(Joined({"registry", "import"}, words)); }

struct ToolRegistry : testing::Test {
    const OwnKey     own{HKEY_CURRENT_USER, kKey.c_str()};
    const TempFolder folder;
};

TEST_F(ToolRegistry, PrintsWhatWasSetAndRefusesWhatIsNoValueOfTheType) {
    const std::pair<const char*, const char*> refused[] = {
        {"dword", ""},   {"dword", "4294967296"}, {"dword", "12x"}, {"dword", " 1"},
        {"dword", "0x"}, {"binary", "123"},       {"binary", "0g"}, {"qword", "1"}};
    for (const auto& [type, value] : refused)
        ExpectComplaint(Registry("set", {kKey, "value", value, "--type", type}), 2, "");
    EXPECT_EQ(Registry("list", {kKey}).status, 1) << "and nothing was made";

    const char* const rows[][3] = {{"sz", "Main entrance", "Main entrance"},
                                   {"dword", "4294967295", "4294967295"},
                                   {"dword", "0xFFfa0001", "4294574081"},
                                   {"binary", "00fFA0", "00ffa0"},
                                   {"binary", "", ""}};
    for (const auto& [type, value, printed] : rows) {
        EXPECT_EQ(Registry("set", {kKey, "value", value, "--type", type}).status, 0) << value;
        const ToolResult got = Registry("get", {kKey, "value"});
        EXPECT_EQ(std::to_string(got.status) + got.problems + got.out, std::string("0") + printed + '\n');
    }
    const auto object = Registry("get", {kKey, "value", "--json"}).Objects().at(0);
    EXPECT_EQ(object, Json({{"key", "HKCU\\" + kKey}, {"name", "value"}, {"type", "binary"}, {"data", ""}}));
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
    const std::string file = folder.Path("tree.json");
    EXPECT_EQ(Registry("export", {kKey, "-o", file}).status, 0);
    const std::string exported = ReadWholeText(file);
    EXPECT_EQ(Json::parse(exported)["keys"][1]["name"], Json({{"hex", "e974e9"}}));

    own.Delete();
    EXPECT_EQ(Import({file}).status, 0);
    EXPECT_EQ(Registry("export", {kKey}).out, exported);
    CKivString text;
    EXPECT_TRUE(node.OpenNode(odd.c_str(), 0) && node.ReadValue("\xE8", text, "") && text == "\xE9\xFF");
}

TEST_F(ToolRegistry, ImportsElsewhereAndAddsOrReplaces) {
    const std::string file = folder.Path("tree.json"), other = kKey + "\\b";
    Registry("set", {kKey + "\\a\\x", "v", "exported"});
    Registry("set", {other, "other", "stays"});
    EXPECT_EQ(Registry("export", {kKey + "\\a", "-o", file}).status, 0);
    EXPECT_EQ(RunTool({"registry", "import", "--key", other}, {}, file).status, 0);
    EXPECT_EQ(Registry("list", {"-r", other}).out, "other\tsz\t\"stays\"\nx\\\nx\\v\tsz\t\"exported\"\n");
    EXPECT_EQ(Import({file, "--replace", "--key", other}).status, 0);
    EXPECT_EQ(Registry("list", {"-r", other}).out, "x\\\nx\\v\tsz\t\"exported\"\n");
}

TEST_F(ToolRegistry, ImportsNothingOfAFileThatIsNotRight) {
    const std::string head    = R"({"registry": 1, "root": "HKCU", "key": "SOFTWARE\\Halvorn\\KivToolTest",
                              "values": [{"name": "n", "type": "dword", "data": 1})";
    const char* const tails[] = {"",
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
    for (const char* tail : tails) {
        SCOPED_TRACE(tail);
        ExpectComplaint(Import({folder.Write("bad.json", Text(head + tail))}), 2, "");
    }
    EXPECT_EQ(Registry("list", {kKey}).status, 1);
    EXPECT_EQ(Registry("export", {kKey, "-o", folder.Path("none")}).status, 1);
    EXPECT_FALSE(fs::exists(folder.Path("none")));
}

} // namespace
