// kiv registry as a user meets it.
#include "KivUtility.h"
#include "tool_run.h"

#include <gtest/gtest.h>

namespace {

using namespace test;

const std::string kKey = "SOFTWARE\\Halvorn\\KivToolTest";

// Runs `kiv registry COMMAND --root HKCU WORDS...`.
ToolResult Registry(const std::string& command, const std::vector<std::string>& words) {
    std::vector<std::string> all = {"registry", command, "--root", "HKCU"};
    all.insert(all.end(), words.begin(), words.end());
    return RunTool(all);
}

class ToolRegistry : public testing::Test {
protected:
    void SetUp() override { Registry("delete", {"-r", kKey}); }

    void TearDown() override { SetUp(); }
};

TEST_F(ToolRegistry, PrintsWhatWasSet) {
    const struct {
        const char* type;
        const char* value;
        const char* printed;
    } rows[] = {{"sz", "Main entrance", "Main entrance"},
                {"sz", "", ""},
                {"dword", "0", "0"},
                {"dword", "4294967295", "4294967295"},
                {"dword", "0xFFfa0001", "4294574081"},
                {"binary", "00fFA0", "00ffa0"},
                {"binary", "", ""}};

    for (const auto& row : rows) {
        EXPECT_EQ(Registry("set", {kKey, "value", row.value, "--type", row.type}).status, 0) << row.value;
        const ToolResult got = Registry("get", {kKey, "value"});
        EXPECT_EQ(got.status, 0) << row.value;
        EXPECT_EQ(got.out, std::string(row.printed) + '\n');
        EXPECT_EQ(got.problems, "");
        const auto object = Registry("get", {kKey, "value", "--json"}).Objects().at(0);
        EXPECT_EQ(object["key"], "HKCU\\" + kKey);
        EXPECT_EQ(object["name"], "value");
        EXPECT_EQ(object["type"], row.type);
    }
}

TEST_F(ToolRegistry, RefusesWhatIsNoValueOfTheType) {
    const struct {
        const char* type;
        const char* value;
    } rows[] = {{"dword", ""},      {"dword", "4294967296"}, {"dword", "12x"},  {"dword", " 1"},
                {"dword", "0x"},    {"dword", "0x1g"},       {"binary", "123"}, {"binary", "0g"},
                {"binary", "0x12"}, {"qword", "1"}};

    for (const auto& row : rows) {
        const ToolResult set = Registry("set", {kKey, "value", row.value, "--type", row.type});
        EXPECT_EQ(set.status, 2) << row.type << ' ' << row.value;
        EXPECT_NE(set.problems, "") << row.type << ' ' << row.value;
    }
    EXPECT_EQ(Registry("get", {kKey, "value"}).status, 1) << "and nothing was made";
}

TEST_F(ToolRegistry, ListsValuesAndSubKeys) {
    Registry("set", {kKey, "number", "5", "--type", "dword"});
    Registry("set", {kKey + "\\Streams\\Live", "", "a default value"});
    EXPECT_EQ(Registry("list", {kKey}).out, "number\tdword\t5\nStreams\\\n");
    EXPECT_EQ(Registry("list", {"-r", kKey}).out, "number\tdword\t5\nStreams\\\nStreams\\Live\\\n"
                                                  "Streams\\Live\\(default)\tsz\t\"a default value\"\n");
    const auto objects = Registry("list", {"-r", "--json", kKey}).Objects();
    ASSERT_EQ(objects.size(), 3U);
    EXPECT_EQ(objects[0]["keys"], nlohmann::json({"Streams"}));
    EXPECT_EQ(objects[0]["values"][0]["data"], 5);
    EXPECT_EQ(objects[2]["key"], "HKCU\\" + kKey + "\\Streams\\Live");
}

TEST_F(ToolRegistry, DeletesAValueOrAKey) {
    Registry("set", {kKey, "value", "text"});
    Registry("set", {kKey + "\\Below", "value", "text"});
    EXPECT_EQ(Registry("delete", {kKey}).status, 2) << "it has a sub-key";
    EXPECT_EQ(Registry("delete", {"-r", kKey, "value"}).status, 2);
    EXPECT_EQ(Registry("delete", {kKey, "value"}).status, 0);
    EXPECT_EQ(Registry("list", {kKey}).out, "Below\\\n");
    EXPECT_EQ(Registry("delete", {"-r", kKey}).status, 0);

    for (const auto& [command, words] :
         {std::pair<std::string, std::vector<std::string>>{"get", {kKey, "value"}},
          {"list", {kKey}},
          {"delete", {kKey}},
          {"delete", {kKey, "value"}}}) {
        const ToolResult missing = Registry(command, words);
        EXPECT_EQ(missing.status, 1) << command;
        EXPECT_EQ(missing.out, "") << command;
        EXPECT_NE(missing.problems.find(kKey), std::string::npos) << missing.problems;
    }
}

} // namespace
