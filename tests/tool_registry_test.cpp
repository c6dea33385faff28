// kiv registry as a user meets it.
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

} // namespace
