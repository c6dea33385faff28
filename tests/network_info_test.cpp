// The configuration of network interfaces, in the registry that the system has.
#include "KivUtility.h"

#include "own_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using NicInfo = NetworkInfo::NicInfo;
using List    = std::vector<NicInfo>;

constexpr char kTree[] = "SOFTWARE\\Halvorn\\Common\\Server\\Networking\\NicConfig";

NicInfo Nic(const std::string& address, std::uint32_t bandwidth = 1000, std::uint32_t enabled = 1,
            std::uint32_t utilization = 80) {
    return {3, "Hall", address.c_str(), bandwidth, utilization, enabled};
}

struct NicConfiguration : testing::Test {
    int Set(const List& list) { return network.SetNicInfo(list.data(), static_cast<int>(list.size())); }

    bool Write(const List& list) {
        return network.SetNicRegistry(list.data(), static_cast<int>(list.size()));
    }

    bool Verify(const List& list) {
        return network.VerifyNicInfo(list.data(), static_cast<int>(list.size()));
    }

    // What an operation gives where there is room for so many, with its result.
    std::pair<int, List> Read(NetworkInfo::NetworkInfoRC (NetworkInfo::*read)(NicInfo*, int*), int room) {
        List      list(static_cast<std::size_t>(room));
        const int result = (network.*read)(list.data(), &room);
        list.resize(static_cast<std::size_t>(room));
        return {result, list};
    }

    std::pair<int, List> Whole(int room = 100) { return Read(&NetworkInfo::GetNicInfo, room); }

    List Configured(int room = 100) { return Read(&NetworkInfo::GetConfiguredNics, room).second; }

    List HostList() {
        List list = Read(&NetworkInfo::GetNicIP, 100).second;
        for (NicInfo& nic : list) nic = Nic(std::string(nic.ipAddress));
        return list;
    }

    const test::OwnKey own{HKEY_LOCAL_MACHINE, kTree};
    CKivRegistryMgr    node{HKEY_LOCAL_MACHINE};
    NetworkInfo        network{true};
};

TEST(NicInfo, ADisabledOneIsKnownByItsAddressAlone) {
    const NicInfo nic = Nic("a"), off = Nic("a", 1000, 0);
    EXPECT_TRUE(nic == nic && off == Nic("a", 5, 0) && NicInfo{} == NicInfo{});
    EXPECT_FALSE(off == Nic("b", 1000, 0) || off == nic);
    for (const NicInfo& other : {Nic("A"), Nic("a", 5), Nic("a", 1000, 2), Nic("a", 1000, 1, 1),
                                 NicInfo{4, "Hall", "a", 1000, 80, 1}, NicInfo{3, "hall", "a", 1000, 80, 1}})
        EXPECT_FALSE(nic == other);
}

TEST_F(NicConfiguration, IsValidWithinItsLimitsAndWithOneToStreamThrough) {
    const NicInfo idle = Nic("a", 1000, 1, 0), most = Nic("a", 1000, 1, 100),
                  tooMuch = Nic("a", 1000, 1, 101);
    EXPECT_TRUE(Verify({Nic("a", 10)}) && Verify({most}) && Verify({idle, Nic("b", 10, 0), Nic("c")}));
    for (const List& list : {List{}, List{Nic("a", 9)}, List{Nic("a"), Nic("")}, List{tooMuch},
                             List{idle, idle}, List{Nic("a", 10, 0), idle}}) {
        EXPECT_FALSE(Verify(list)) << list.size();
    }
    EXPECT_FALSE(network.VerifyNicInfo(&most, -1));
}

TEST_F(NicConfiguration, IsReadAsItWasWrittenAndReplacedAsAWhole) {
    const List written = {Nic("10.0.0.1"), {0xFFFFFFFF, "", "10.0.0.2", 0xFFFFFFFF, 80, 0}, Nic("10.0.0.3")};
    EXPECT_EQ(Whole().first, NetworkInfo::kNic_NotConfigured);
    EXPECT_EQ(Set(written), 0);
    EXPECT_TRUE(Configured() == written);
    EXPECT_EQ(Configured(2).size(), 2U);
    for (const NicInfo& nic : written) {
        NicInfo read;
        read.ipAddress = nic.ipAddress;
        EXPECT_EQ(network.GetNicRegistry(read) + network.GetNicGroupName(read), 0);
        EXPECT_TRUE(read == nic && read.bandwidth == nic.bandwidth);
    }
    NicInfo prefix = Nic("10.0.0."), old = Nic("10.0.0.1");
    EXPECT_EQ(network.GetNicRegistry(prefix), 4);

    const List other = {{4, "Hall", "10.0.0.9", 1000, 80, 1}};
    EXPECT_EQ(Set(other), 0);
    EXPECT_TRUE(Configured() == other);
    EXPECT_TRUE(network.GetNicGroupName(old) == 0 && old.groupName == "")
        << "and the groups of before are gone";
    EXPECT_EQ(Set({Nic("10.0.0.1", 9)}), 4);
    EXPECT_TRUE(Configured() == other) << "what is not valid changes nothing";
}

TEST_F(NicConfiguration, IsNotReadBehindTheSixteenth) {
    List list;
    for (int i = 1; i <= 17; ++i) list.push_back(Nic("10.0.0." + std::to_string(i)));
    EXPECT_TRUE(Write(list) && Write({}));
    EXPECT_EQ(network.GetNicRegistry(list[15]), 0);
    EXPECT_EQ(network.GetNicRegistry(list[16]), 4);
    EXPECT_EQ(network.GetNicGroupName(list[0]), 4) << "no group was written";
    EXPECT_EQ(Configured().size(), 16U);
    EXPECT_TRUE(network.DeleteNicRegistry() && network.DeleteNicRegistry() && network.DeleteNicGroupName());
    EXPECT_EQ(Read(&NetworkInfo::GetConfiguredNics, 1).first, 4);
}

TEST_F(NicConfiguration, OfWhichAValueIsMissingHasZeroThere) {
    NicInfo nic = Nic("10.0.0.1");
    EXPECT_TRUE(node.OpenNode((std::string(kTree) + "\\NICs\\NIC7").c_str(), 1)
                && node.Update("NicIPaddress", "10.0.0.1"));
    EXPECT_EQ(network.GetNicRegistry(nic), 0);
    EXPECT_EQ(nic.groupId + nic.bandwidth + nic.utilization + nic.enabled, 0U);
}

TEST_F(NicConfiguration, WithAGapIsNeitherDeletedNorReplaced) {
    const List list = {Nic("10.0.0.1"), Nic("10.0.0.2"), Nic("10.0.0.3")};
    EXPECT_TRUE(Set(list) == 0 && node.OpenNode((std::string(kTree) + "\\NICs\\NIC2").c_str(), 0)
                && node.DeleteNode(0));
    EXPECT_EQ(Set(list), 3);
    const bool isUndone = CKivRegistryTransaction::CanUndo() == 1;
    EXPECT_TRUE(Configured() == (isUndone ? List{list[0], list[2]} : List{list[2]}));
    EXPECT_FALSE(network.DeleteNicRegistry());
}

TEST_F(NicConfiguration, OfTheHostIsWrittenBackInTheHostsOrderWhenItIsWhole) {
    const List host = HostList();
    ASSERT_FALSE(host.empty());
    const auto isLoopback = [](const NicInfo& nic) { return std::string(nic.ipAddress).starts_with("127."); };
    EXPECT_TRUE(std::ranges::none_of(host, isLoopback) || std::ranges::all_of(host, isLoopback));
    List stored(host.rbegin(), host.rend());
    stored.insert(stored.begin(), Nic("203.0.113.1"));
    EXPECT_EQ(Set(stored), 0);
    EXPECT_TRUE(Whole() == std::pair(0, host));
    EXPECT_TRUE(Configured() == host) << "what the host lacks is gone, and its order is that of the host";
    EXPECT_TRUE(Whole(1) == std::pair(0, List{host[0]}) && Configured().size() == 1U);
    EXPECT_EQ(Whole(0).first, NetworkInfo::kNic_NoAddress);
}

TEST_F(NicConfiguration, OfTheHostThatIsNotWholeOrNotValidStaysAsItIs) {
    const List missing = {Nic("203.0.113.1")};
    List       invalid = HostList();
    for (NicInfo& nic : invalid) nic.utilization = 0;
    for (const List& list : {missing, invalid}) {
        EXPECT_TRUE(Write(list));
        EXPECT_EQ(Whole().first, 4);
        EXPECT_TRUE(Configured().size() == list.size() && Configured()[0].ipAddress == list[0].ipAddress);
    }
}

TEST(HostName, IsWholeOrAFailure) {
    NetworkInfo       network(true);
    const std::string name       = std::string(KivGetHostName());
    const int         size       = static_cast<int>(name.size());
    char              buffer[64] = "before";
    ASSERT_GT(size, 0);
    for (const int tooShort : {size, 0, -1}) EXPECT_EQ(network.GetHostName(buffer, tooShort), 1);
    EXPECT_EQ(network.GetHostName(nullptr, 64), 1);
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(network.GetHostName(buffer, size + 1), 0);
    EXPECT_EQ(buffer, name);
}

} // namespace
