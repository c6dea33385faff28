// The configuration of network interfaces, in the registry that the system has.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace {

using NicInfo = NetworkInfo::NicInfo;
using List    = std::vector<NicInfo>;

const std::string kTree = "SOFTWARE\\Halvorn\\Common\\Server\\Networking\\NicConfig";

NicInfo Nic(const std::string& address, std::uint32_t bandwidth = 1000, std::uint32_t enabled = 1) {
    return {3, "Hall", address.c_str(), bandwidth, 80, enabled};
}

struct NicConfiguration : testing::Test {
    NicConfiguration() { Clear(); }

    ~NicConfiguration() override { Clear(); }

    static void Clear() {
        CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
        if (node.OpenNode(kTree.c_str(), 0) == 1) node.DeleteNode(1);
    }

    int Set(const List& list) { return network.SetNicInfo(list.data(), static_cast<int>(list.size())); }

    bool Verify(const List& list) {
        return network.VerifyNicInfo(list.data(), static_cast<int>(list.size()));
    }

    // The addresses of the host, with the result.
    std::pair<int, List> Read(int (*read)(NetworkInfo&, NicInfo*, int*), int room = 100) {
        List      list(static_cast<std::size_t>(room));
        const int result = read(network, list.data(), &room);
        list.resize(static_cast<std::size_t>(room));
        return {result, list};
    }

    List HostList() {
        List list = Read([](NetworkInfo& from, NicInfo* nics, int* count) {
                        return int{from.GetNicIP(nics, count)};
                    }).second;
        for (NicInfo& nic : list) nic = Nic(std::string(nic.ipAddress));
        return list;
    }

    std::pair<int, List> Configured(int room = 100) {
        return Read([](NetworkInfo& from, NicInfo* nics,
                       int* count) { return int{from.GetConfiguredNics(nics, count)}; },
                    room);
    }

    std::pair<int, List> Whole(int room = 100) {
        return Read(
            [](NetworkInfo& from, NicInfo* nics, int* count) { return int{from.GetNicInfo(nics, count)}; },
            room);
    }

    NetworkInfo network{true};
};

TEST(NicInfo, ADisabledOneIsKnownByItsAddressAlone) {
    const NicInfo nic = Nic("a"), off = Nic("a", 1000, 0);
    EXPECT_TRUE(nic == nic && off == Nic("a", 5, 0) && NicInfo{} == NicInfo{});
    EXPECT_FALSE(off == Nic("b", 1000, 0) || off == nic || nic == Nic("a", 5));
    const std::function<void(NicInfo&)> changes[] = {
        [](NicInfo& n) { n.groupId = 4; }, [](NicInfo& n) { n.groupName = "hall"; },
        [](NicInfo& n) { n.ipAddress = "A"; }, [](NicInfo& n) { n.utilization = 1; },
        [](NicInfo& n) { n.enabled = 2; }};
    for (const auto& change : changes) {
        NicInfo other = nic;
        change(other);
        EXPECT_FALSE(nic == other);
    }
    EXPECT_EQ(NicInfo{}.utilization, 80U);
}

TEST_F(NicConfiguration, IsValidWithinItsLimitsAndWithOneToStreamThrough) {
    NicInfo idle = Nic("a"), most = Nic("a");
    idle.utilization = 0;
    most.utilization = 100;
    EXPECT_TRUE(Verify({Nic("a", 10)}) && Verify({most}) && Verify({idle, Nic("b", 10, 0), Nic("c")}));
    most.utilization = 101;
    for (const List& list : {List{}, List{Nic("a", 9)}, List{Nic("a"), Nic("")}, List{most}, List{idle, idle},
                             List{Nic("a", 10, 0)}, List{Nic("a", 10, 0), idle}}) {
        EXPECT_FALSE(Verify(list)) << list.size();
    }
    EXPECT_FALSE(network.VerifyNicInfo(&most, -1));
}

TEST_F(NicConfiguration, IsReadAsItWasWrittenAndReplacedAsAWhole) {
    NicInfo second     = Nic("10.0.0.2", 0xFFFFFFFF, 0);
    second.groupId     = 0xFFFFFFFF;
    second.groupName   = "";
    const List written = {Nic("10.0.0.1"), second, Nic("10.0.0.3")};
    EXPECT_EQ(Configured().first, NetworkInfo::kNic_NotConfigured);
    EXPECT_EQ(Set(written), 0);
    EXPECT_TRUE(Configured() == std::pair(0, written));
    EXPECT_EQ(Configured(2).second.size(), 2U);
    for (const NicInfo& nic : written) {
        NicInfo read;
        read.ipAddress = nic.ipAddress;
        EXPECT_EQ(network.GetNicRegistry(read) + network.GetNicGroupName(read), 0);
        EXPECT_TRUE(read == nic && read.bandwidth == nic.bandwidth);
    }
    NicInfo prefix = Nic("10.0.0.");
    EXPECT_EQ(network.GetNicRegistry(prefix), 4);

    NicInfo other = Nic("10.0.0.9");
    other.groupId = 4;
    EXPECT_EQ(Set({other}), 0);
    EXPECT_TRUE(Configured().second == List{other});
    NicInfo old = Nic("10.0.0.1");
    EXPECT_TRUE(network.GetNicGroupName(old) == 0 && old.groupName == "")
        << "and the groups of before are gone";
    EXPECT_EQ(Set({Nic("10.0.0.1", 9)}), 4);
    EXPECT_TRUE(Configured().second == List{other}) << "what is not valid changes nothing";
}

TEST_F(NicConfiguration, IsNotReadBehindTheSixteenth) {
    List list;
    for (int i = 1; i <= 17; ++i) list.push_back(Nic("10.0.0." + std::to_string(i)));
    EXPECT_TRUE(network.SetNicRegistry(list.data(), 17) && network.SetNicRegistry(list.data(), 0));
    EXPECT_EQ(network.GetNicRegistry(list[15]), 0);
    EXPECT_EQ(network.GetNicRegistry(list[16]), 4);
    EXPECT_EQ(network.GetNicGroupName(list[0]), 4) << "no group was written";
    EXPECT_EQ(Configured().second.size(), 16U);
    EXPECT_TRUE(network.DeleteNicRegistry() && network.DeleteNicRegistry() && network.DeleteNicGroupName());
    EXPECT_EQ(Configured().first, 4);
}

TEST_F(NicConfiguration, OfWhichAValueIsMissingHasZeroThere) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    NicInfo         nic = Nic("10.0.0.1");
    EXPECT_TRUE(node.OpenNode((kTree + "\\NICs\\NIC7").c_str(), 1)
                && node.Update("NicIPaddress", "10.0.0.1"));
    EXPECT_EQ(network.GetNicRegistry(nic), 0);
    EXPECT_EQ(nic.groupId + nic.bandwidth + nic.utilization + nic.enabled, 0U);
}

TEST_F(NicConfiguration, WithAGapIsNeitherDeletedNorReplaced) {
    const List      list = {Nic("10.0.0.1"), Nic("10.0.0.2"), Nic("10.0.0.3")};
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    EXPECT_TRUE(Set(list) == 0 && node.OpenNode((kTree + "\\NICs\\NIC2").c_str(), 0) && node.DeleteNode(0));
    EXPECT_EQ(Set(list), 3);
    const bool isUndone = CKivRegistryTransaction::CanUndo() == 1;
    EXPECT_TRUE(Configured().second == (isUndone ? List{list[0], list[2]} : List{list[2]}));
    EXPECT_FALSE(network.DeleteNicRegistry());
}

TEST_F(NicConfiguration, OfTheHostIsWrittenBackInTheHostsOrderWhenItIsWhole) {
    List host = HostList();
    ASSERT_FALSE(host.empty());
    const auto isLoopback = [](const NicInfo& nic) { return std::string(nic.ipAddress).starts_with("127."); };
    EXPECT_TRUE(std::ranges::none_of(host, isLoopback) || std::ranges::all_of(host, isLoopback));
    List stored(host.rbegin(), host.rend());
    stored.insert(stored.begin(), Nic("203.0.113.1"));
    EXPECT_EQ(Set(stored), 0);
    EXPECT_TRUE(Whole() == std::pair(0, host));
    EXPECT_TRUE(Configured().second == host)
        << "what the host lacks is gone, and its order is that of the host";
    EXPECT_TRUE(Whole(1) == std::pair(0, List{host[0]}) && Configured().second.size() == 1U);
    EXPECT_EQ(Whole(0).first, NetworkInfo::kNic_NoAddress);
}

TEST_F(NicConfiguration, OfTheHostThatIsNotWholeOrNotValidStaysAsItIs) {
    EXPECT_EQ(Whole().first, 4) << "nothing is configured";
    List host = HostList();
    EXPECT_EQ(Set({Nic("203.0.113.1")}), 0);
    EXPECT_EQ(Whole().first, 4);
    EXPECT_EQ(Configured().second.size(), 1U);
    for (NicInfo& nic : host) nic.utilization = 0;
    EXPECT_TRUE(network.SetNicRegistry(host.data(), static_cast<int>(host.size())));
    EXPECT_EQ(Whole().first, 4);
    EXPECT_TRUE(Configured().second[0].ipAddress == host[0].ipAddress);
}

TEST(HostName, IsWholeOrAFailure) {
    NetworkInfo       network(true);
    const std::string name       = std::string(KivGetHostName());
    const int         size       = static_cast<int>(name.size());
    char              buffer[64] = "before";
    ASSERT_GT(size, 0);
    EXPECT_EQ(network.GetHostName(buffer, size), 1);
    EXPECT_EQ(network.GetHostName(buffer, 0) + network.GetHostName(buffer, -1)
                  + network.GetHostName(nullptr, 64),
              3);
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(network.GetHostName(buffer, size + 1), 0);
    EXPECT_EQ(buffer, name);
}

} // namespace
