// kiv nic as a user meets it.
#include "KivUtility.h"

#include "media.h"
#include "own_key.h"
#include "tool_run.h"

namespace {

using namespace test;
using Json = nlohmann::json;

ToolResult Nic(const Arguments& words, const std::string& from = {}) {
    return RunTool(Joined({"nic"}, words), {}, from);
}

struct ToolNic : testing::Test {
    std::string File(const std::string& text) const { return folder.Write("nics.json", Text(text)); }

    const OwnKey own{HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvorn\\Common\\Server\\Networking\\NicConfig"};
    TempFolder   folder;
};

TEST_F(ToolNic, GuidesFromNothingToAValidConfiguration) {
    const ToolResult none = Nic({"show", "--json"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(Nic({"verify"}).status, 1);
    const auto hosts = none.Objects();
    ASSERT_FALSE(hosts.empty());
    for (const Json& host : hosts) {
        const std::string address = host["ipAddress"];
        EXPECT_TRUE(host["onHost"] && !host["configured"] && host.size() == 3) << host;
        EXPECT_NE(Nic({"show"}).out.find(address + ' '), std::string::npos);
        const Arguments flags = {"--bandwidth", "1000", "--enable", "--group", "2", "--group-name", "Hall"};
        EXPECT_EQ(Nic(Joined({"set", address}, flags)).status, 0);
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

    own.Delete();
    EXPECT_EQ(Nic({"set", "--from", File(shown.out)}).status, 0);
    EXPECT_EQ(Nic({"show", "--json"}).out, shown.out);
}

TEST_F(ToolNic, WritesNothingThatIsNotValidAndSaysWhy) {
    const std::string good = R"({"ipAddress": "10.0.0.1", "bandwidth": 10, "enabled": true})";
    std::string       many;
    for (int i = 1; i <= 17; ++i)
        many += R"({"bandwidth": 10, "enabled": true, "ipAddress": "10.0.0.)" + std::to_string(i) + "\"}";
    const Arguments from = {"--from", "-"};
    EXPECT_EQ(Nic(Joined({"set"}, from), File('[' + good + ']')).status, 0);
    const std::string before = Nic({"show", "--json"}).out;

    const struct {
        int         status;
        std::string reason;
        Arguments   words;
        std::string file;
    } rows[] = {{1, "bandwidth is 9", {"10.0.0.1", "--bandwidth", "9"}, ""},
                {1, "no interface is enabled", {"10.0.0.1", "--disable"}, ""},
                {1, "10.0.0.2: the bandwidth", {"10.0.0.2", "--enable"}, ""},
                {2, "no IPv4 address", {"10.0.0"}, ""},
                {2, "no IPv4 address", {"10.0.0.256"}, ""},
                {2, "no IPv4 address", {"010.0.0.1"}, ""},
                {2, "", {"10.0.0.1", "--bandwidth", "4294967296"}, ""},
                {2, "no decimal number", {"10.0.0.1", "--bandwidth", "0x100"}, ""},
                {2, "", {"10.0.0.1", "--enable", "--disable"}, ""},
                {2, "", {"10.0.0.1", "--from", "x"}, ""},
                {2, "", {}, ""},
                {2, "one interface more", from, many},
                {1, "no interface is enabled", from, ""},
                {2, "given twice", from, good + good},
                {2, "another name", from,
                 R"({"ipAddress": "10.0.0.1", "groupName": "y"}{"ipAddress": "10.0.0.2", "groupName": "x"})"},
                {2, "ipAddress", from, R"({"bandwidth": 10})"},
                {2, "ipAddress", from, R"({"ipAddress": "localhost"})"},
                {2, "bandwidth", from, R"({"ipAddress": "10.0.0.1", "bandwidth": 4294967296})"},
                {2, "enabled", from, R"({"ipAddress": "10.0.0.1", "enabled": 1})"},
                {2, "speed", from, R"({"ipAddress": "10.0.0.1", "speed": 1})"}};

    for (const auto& row : rows)
        ExpectComplaint(Nic(Joined({"set"}, row.words), File(row.file)), row.status, row.reason);
    EXPECT_EQ(Nic({"show", "--json"}).out, before);

    const std::string marked =
        "\xEF\xBB\xBF" + good + R"({"ipAddress": "10.0.0.2", "bandwidth": 10, "groupName": "x"})";
    EXPECT_EQ(Nic(Joined({"set"}, from), File(marked)).status, 0);
    EXPECT_EQ(Nic({"set", "10.0.0.1", "--bandwidth", "0100"}).status, 0);
    const auto nics = Nic({"show", "--json"}).Objects();
    const auto one =
        std::ranges::find_if(nics, [](const auto& nic) { return nic["ipAddress"] == "10.0.0.1"; });
    EXPECT_TRUE(one != nics.end() && (*one)["bandwidth"] == 100 && (*one)["groupName"] == "x") << marked;
}

TEST_F(ToolNic, VerifyNamesTheFaultOfEachAddress) {
    const NetworkInfo::NicInfo nics[] = {{0, "", "203.0.113.1", 9, 80, 1},
                                         {0, "", "203.0.113.2", 10, 101, 1},
                                         {0, "", "203.0.113.3", 10, 80, 1}};
    EXPECT_TRUE(NetworkInfo(true).SetNicRegistry(nics, 3));
    const ToolResult verified = Nic({"verify", "--json"});
    const Json       whole    = verified.Objects().at(0);
    EXPECT_TRUE(verified.status == 1 && whole["valid"] == false) << whole;
    const Json& each = whole["interfaces"];
    EXPECT_EQ(each[0]["problem"], "is not configured");
    for (std::size_t i = 1; i <= 3; ++i) EXPECT_EQ(each[each.size() - i]["valid"], i == 1) << whole;
    EXPECT_NE(Nic({"verify"}).out.find("203.0.113.1: the bandwidth is 9"), std::string::npos);
}

} // namespace
