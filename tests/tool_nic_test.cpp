// kiv nic as a user meets it.
#include "KivUtility.h"

#include "tool_run.h"

#include <gtest/gtest.h>

namespace {

using namespace test;
using Json = nlohmann::json;

ToolResult Nic(const Arguments& words, const std::string& from = {}) {
    Arguments all = {"nic"};
    all.insert(all.end(), words.begin(), words.end());
    return RunTool(all, {}, from);
}

struct ToolNic : testing::Test {
    ToolNic() { Clear(); }

    ~ToolNic() override { Clear(); }

    static void Clear() {
        CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
        if (node.OpenNode("SOFTWARE\\Halvorn\\Common\\Server\\Networking\\NicConfig", 0) == 1)
            node.DeleteNode(1);
    }

    std::string File(const std::string& text) const {
        return folder.Write("nics.json", {text.begin(), text.end()});
    }

    TempFolder folder;
};

TEST_F(ToolNic, GuidesFromNothingToAValidConfiguration) {
    const ToolResult none = Nic({"show", "--json"});
    EXPECT_EQ(none.status, 1);
    std::vector<std::string> hosts;
    for (const Json& object : none.Objects()) {
        hosts.push_back(object["ipAddress"]);
        EXPECT_TRUE(object["onHost"] && !object["configured"] && object.size() == 3) << object;
    }
    ASSERT_FALSE(hosts.empty());
    EXPECT_NE(Nic({"show"}).out.find(hosts[0] + ' '), std::string::npos);
    EXPECT_EQ(Nic({"verify"}).status, 1);
    for (const std::string& host : hosts) {
        EXPECT_EQ(
            Nic({"set", host, "--bandwidth", "1000", "--enable", "--group", "2", "--group-name", "Hall"})
                .status,
            0);
    }
    EXPECT_EQ(Nic({"verify"}).status, 0);
    EXPECT_EQ(Nic({"set", "203.0.113.7", "--bandwidth", "10", "--group", "2"}).status, 0);
    const ToolResult shown = Nic({"show", "--json"});
    const Json       last =
        Json::parse(R"({"ipAddress": "203.0.113.7", "onHost": false, "configured": true, "enabled": false,
                                      "bandwidth": 10, "utilization": 80, "groupId": 2, "groupName": "Hall"})");
    EXPECT_TRUE(shown.status == 0 && shown.Objects().back() == last) << shown.out;
    EXPECT_EQ(Nic({"show", "--json"}).out, shown.out) << "looking changes nothing";

    EXPECT_EQ(Nic({"set", "203.0.113.7", "--group-name", "Yard"}).status, 0);
    for (const Json& object : Nic({"show", "--json"}).Objects()) EXPECT_EQ(object["groupName"], "Yard");

    Clear();
    EXPECT_EQ(Nic({"set", "--from", File(shown.out)}).status, 0);
    EXPECT_EQ(Nic({"show", "--json"}).out, shown.out);
}

TEST_F(ToolNic, WritesNothingThatIsNotValidAndSaysWhy) {
    const std::string good = R"({"ipAddress": "10.0.0.1", "bandwidth": 10, "enabled": true})";
    EXPECT_EQ(Nic({"set", "--from", "-"}, File('[' + good + ']')).status, 0);
    const std::string before = Nic({"show", "--json"}).out;

    const std::tuple<int, std::string, Arguments> rows[] = {
        {1, "bandwidth is 9", {"set", "10.0.0.1", "--bandwidth", "9"}},
        {1, "101 percent", {"set", "10.0.0.1", "--utilization", "101"}},
        {1, "no interface is enabled", {"set", "10.0.0.1", "--disable"}},
        {1, "10.0.0.2: the bandwidth", {"set", "10.0.0.2", "--enable"}},
        {2, "no IPv4 address", {"set", "10.0.0"}},
        {2, "no IPv4 address", {"set", "10.0.0.256"}},
        {2, "no IPv4 address", {"set", "0xA.0.0.1"}},
        {2, "no IPv4 address", {"set", "010.0.0.1"}},
        {2, "", {"set", "10.0.0.1", "--bandwidth", "4294967296"}},
        {2, "", {"set", "10.0.0.1", "--enable", "--disable"}},
        {2, "", {"set", "10.0.0.1", "--from", "x"}},
        {2, "", {"set"}}};
    for (const auto& [status, reason, words] : rows) {
        const ToolResult result = Nic(words);
        EXPECT_TRUE(result.status == status && result.problems.find(reason) != std::string::npos)
            << result.problems;
    }
    std::string many;
    for (int i = 1; i <= 17; ++i)
        many += R"({"bandwidth": 10, "enabled": true, "ipAddress": "10.0.0.)" + std::to_string(i) + "\"}";
    const std::tuple<int, std::string, std::string> files[] = {
        {2, "one interface more", many},
        {1, "no interface is enabled", ""},
        {2, "given twice", good + good},
        {2, "another name", good + R"({"ipAddress": "10.0.0.2", "groupName": "x"})"},
        {2, "ipAddress", R"({"bandwidth": 10})"},
        {2, "ipAddress", R"({"ipAddress": "localhost"})"},
        {2, "bandwidth", R"({"ipAddress": "10.0.0.1", "bandwidth": -1})"},
        {2, "bandwidth", R"({"ipAddress": "10.0.0.1", "bandwidth": 4294967296})"},
        {2, "enabled", R"({"ipAddress": "10.0.0.1", "enabled": 1})"},
        {2, "speed", R"({"ipAddress": "10.0.0.1", "speed": 1})"}};
    for (const auto& [status, reason, text] : files) {
        const ToolResult result = Nic({"set", "--from", "-"}, File(text));
        EXPECT_TRUE(result.status == status && result.problems.find(reason) != std::string::npos)
            << text << result.problems;
    }
    EXPECT_EQ(Nic({"show", "--json"}).out, before);
}

TEST_F(ToolNic, VerifyNamesTheFaultOfEachAddress) {
    const NetworkInfo::NicInfo nics[] = {{0, "", "203.0.113.1", 9, 80, 1},
                                         {0, "", "203.0.113.2", 10, 101, 1},
                                         {0, "", "203.0.113.3", 10, 80, 1}};
    EXPECT_TRUE(NetworkInfo(true).SetNicRegistry(nics, 3));
    const ToolResult verified = Nic({"verify", "--json"});
    const Json       whole    = verified.Objects().at(0);
    EXPECT_TRUE(verified.status == 1 && whole["valid"] == false) << whole;
    const Json& interfaces = whole["interfaces"];
    const auto  of         = [&](std::size_t fromEnd) { return interfaces[interfaces.size() - fromEnd]; };
    EXPECT_TRUE(interfaces[0]["problem"] == "is not configured" && of(1)["valid"] == true && !of(2)["valid"]
                && !of(3)["valid"])
        << whole;
    EXPECT_NE(Nic({"verify"}).out.find("203.0.113.1: the bandwidth is 9"), std::string::npos);
}

} // namespace
