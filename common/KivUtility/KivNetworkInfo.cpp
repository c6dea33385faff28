// The configuration of network interfaces as a tree of the registry.
#include "KivNetworkInfo.h"

#include "KivRegistryMgr.h"
#include "platform/hostaddresses.h"

#include <algorithm>
#include <exception>
#include <span>
#include <string>

namespace {

namespace platform = kiv::platform;
using NicInfo      = NetworkInfo::NicInfo;

constexpr char kNics[]    = "SOFTWARE\\Halvorn\\Common\\Server\\Networking\\NicConfig\\NICs";
constexpr char kGroups[]  = "SOFTWARE\\Halvorn\\Common\\Server\\Networking\\NicConfig\\Groups";
constexpr char kAddress[] = "NicIPaddress";

struct NumberValue {
    const char*   name;
    std::uint32_t NicInfo::*field;
};

constexpr NumberValue kNumbers[] = {{"NicGroupId", &NicInfo::groupId},
                                    {"NicBandwidth", &NicInfo::bandwidth},
                                    {"NicUtilization", &NicInfo::utilization},
                                    {"NicEnabled", &NicInfo::enabled}};

// Number n from 1.
std::string NicKey(int n) { return std::string(kNics) + "\\NIC" + std::to_string(n); }

std::string GroupValue(std::uint32_t groupId) { return "NicGroupName" + std::to_string(groupId); }

struct Node : CKivRegistryMgr {
    Node() : CKivRegistryMgr(HKEY_LOCAL_MACHINE) {}

    bool Open(const std::string& path, int create = 0) { return OpenNode(path.c_str(), create) == 1; }

    bool Close() { return CloseNode() == 1; }

    CKivString Address() {
        CKivString address;
        ReadValue(kAddress, address, "");
        return address;
    }

    void ReadNumbers(NicInfo& nic) {
        for (const auto& number : kNumbers) ReadValue(number.name, nic.*number.field, 0U);
    }

    bool Write(const NicInfo& nic) {
        return Update(kAddress, static_cast<const char*>(nic.ipAddress)) == 1
               && std::ranges::all_of(kNumbers, [&](const NumberValue& number) {
                      return Update(number.name, static_cast<long>(nic.*number.field)) == 1;
                  });
    }
};

// The socket library for the time of one operation.
class Sockets {
public:
    explicit Sockets(bool start)
        : m_started(start && platform::StartSockets()), m_ready(!start || m_started) {}

    Sockets(const Sockets&)            = delete;
    Sockets& operator=(const Sockets&) = delete;

    ~Sockets() {
        if (m_started) platform::StopSockets();
    }

    bool Ready() const { return m_ready; }

private:
    bool m_started;
    bool m_ready;
};

template <class Result, class Operation> Result Try(Result onFailure, Operation operation) {
    try {
        return operation();
    } catch (const std::exception&) {
        return onFailure;
    }
}

std::span<const NicInfo> Records(const NicInfo* list, int count) {
    return {list, list != nullptr && count > 0 ? static_cast<std::size_t>(count) : 0};
}

} // namespace

bool operator==(const NicInfo& a, const NicInfo& b) {
    const bool sameAddress = a.ipAddress == b.ipAddress;
    if (a.enabled == 0 && b.enabled == 0) return sameAddress;
    return sameAddress && a.groupName == b.groupName
           && std::ranges::all_of(
               kNumbers, [&](const NumberValue& number) { return a.*number.field == b.*number.field; });
}

NetworkInfo::NetworkInfo(bool startSockets) : m_startSockets(startSockets) {}

NetworkInfo::NetworkInfoRC NetworkInfo::GetHostName(char* name, int len) {
    if (name == nullptr || len < 1) return kNic_HostUnknown;
    const Sockets sockets(m_startSockets);
    const bool    had = sockets.Ready() && platform::HostName({name, static_cast<std::size_t>(len)});
    return had ? kNic_Success : kNic_HostUnknown;
}

NetworkInfo::NetworkInfoRC NetworkInfo::GetNicIP(NicInfo* list, int* count) {
    return Try(kNic_HostUnknown, [&] {
        const Sockets sockets(m_startSockets);
        const auto    addresses = sockets.Ready() ? platform::HostAddresses() : std::nullopt;
        if (!addresses) return kNic_HostUnknown;
        const std::size_t copied = std::min(addresses->size(), Records(list, *count).size());
        for (std::size_t i = 0; i < copied; ++i) list[i].ipAddress = (*addresses)[i].c_str();
        *count = static_cast<int>(copied);
        return copied > 0 ? kNic_Success : kNic_NoAddress;
    });
}

NetworkInfo::NetworkInfoRC NetworkInfo::GetNicRegistry(NicInfo& nic) {
    return Try(kNic_RegistryFailed, [&] {
        Node node;
        for (int n = 1; n <= kMostNics; ++n) {
            if (!node.Open(NicKey(n))) continue;
            const bool isMatch = node.Address() == nic.ipAddress;
            if (isMatch) node.ReadNumbers(nic);
            if (!node.Close()) return kNic_RegistryFailed;
            if (isMatch) return kNic_Success;
        }
        return kNic_NotConfigured;
    });
}

NetworkInfo::NetworkInfoRC NetworkInfo::GetNicGroupName(NicInfo& nic) {
    return Try(kNic_RegistryFailed, [&] {
        Node node;
        if (!node.Open(kGroups)) return kNic_NotConfigured;
        node.ReadValue(GroupValue(nic.groupId).c_str(), nic.groupName, "");
        return node.Close() ? kNic_Success : kNic_RegistryFailed;
    });
}

NetworkInfo::NetworkInfoRC NetworkInfo::GetConfiguredNics(NicInfo* list, int* count) {
    return Try(kNic_RegistryFailed, [&] {
        Node      node;
        const int room = static_cast<int>(Records(list, *count).size());
        int       read = 0;
        for (int n = 1; n <= kMostNics && read < room; ++n) {
            if (!node.Open(NicKey(n))) continue;
            NicInfo& nic  = list[read++];
            nic           = {};
            nic.ipAddress = node.Address();
            node.ReadNumbers(nic);
            if (!node.Close() || GetNicGroupName(nic) == kNic_RegistryFailed) return kNic_RegistryFailed;
        }
        *count = read;
        return read > 0 ? kNic_Success : kNic_NotConfigured;
    });
}

bool NetworkInfo::SetNicRegistry(const NicInfo* list, int count) {
    return Try(false, [&] {
        Node node;
        int  n = 0;
        return std::ranges::all_of(Records(list, count), [&](const NicInfo& nic) {
            return node.Open(NicKey(++n), 1) && node.Write(nic) && node.Close();
        });
    });
}

bool NetworkInfo::SetNicGroupName(const NicInfo* list, int count) {
    return Try(false, [&] {
        Node node;
        return node.Open(kGroups, 1)
               && std::ranges::all_of(Records(list, count),
                                      [&](const NicInfo& nic) {
                                          return node.Update(GroupValue(nic.groupId).c_str(),
                                                             static_cast<const char*>(nic.groupName))
                                                 == 1;
                                      })
               && node.Close();
    });
}

bool NetworkInfo::DeleteNicRegistry() {
    return Try(false, [] {
        Node node;
        for (int n = 1; node.Open(NicKey(n)); ++n) {
            if (node.DeleteNode(0) == 0 || !node.Close()) return false;
        }
        return !node.Open(kNics) || (node.DeleteNode(0) == 1 && node.Close());
    });
}

bool NetworkInfo::DeleteNicGroupName() {
    return Try(false, [] {
        Node node;
        return !node.Open(kGroups) || (node.DeleteNode(0) == 1 && node.Close());
    });
}

NetworkInfo::NicFault NetworkInfo::FindFault(const NicInfo& nic) {
    if (nic.ipAddress == "") return kNic_AddressMissing;
    if (nic.bandwidth < kLeastBandwidth) return kNic_BandwidthTooLow;
    if (nic.utilization > kMostUtilization) return kNic_UtilizationTooHigh;
    return kNic_NoFault;
}

bool NetworkInfo::VerifyNicInfo(const NicInfo* list, int count) {
    const auto records = Records(list, count);
    return std::ranges::all_of(records, [](const NicInfo& nic) { return FindFault(nic) == kNic_NoFault; })
           && std::ranges::any_of(
               records, [](const NicInfo& nic) { return nic.enabled != 0 && nic.utilization != 0; });
}

NetworkInfo::NetworkInfoRC NetworkInfo::GetNicInfo(NicInfo* list, int* count) {
    // What another writes between our reading and the writing back would be lost.
    CKivRegistryTransaction all(kKivRegistry_Change);

    if (const auto failed = GetNicIP(list, count); failed != kNic_Success) return failed;
    bool isComplete = true;
    for (int i = 0; i < *count; ++i) {
        for (const auto read : {&NetworkInfo::GetNicRegistry, &NetworkInfo::GetNicGroupName}) {
            const NetworkInfoRC result = (this->*read)(list[i]);
            if (result != kNic_Success && result != kNic_NotConfigured) return result;
            isComplete = isComplete && result == kNic_Success;
        }
    }
    if (!isComplete || !VerifyNicInfo(list, *count)) return kNic_NotConfigured;

    // Written back after every successful read, deliberately: see the declaration.
    const NetworkInfoRC written = SetNicInfo(list, *count);
    if (written != kNic_Success) return written;
    return all.IsOpen() == 0 || all.Commit() == 1 ? kNic_Success : kNic_RegistryFailed;
}

NetworkInfo::NetworkInfoRC NetworkInfo::SetNicInfo(const NicInfo* list, int count) {
    if (!VerifyNicInfo(list, count)) return kNic_NotConfigured;
    CKivRegistryTransaction all(kKivRegistry_Create);
    const bool              done = all.IsOpen() == 1 && DeleteNicRegistry() && DeleteNicGroupName()
                      && SetNicRegistry(list, count) && SetNicGroupName(list, count) && all.Commit() == 1;
    return done ? kNic_Success : kNic_RegistryFailed;
}

CKivString KivGetHostName() {
    char          name[64] = "";
    const Sockets sockets(true);
    if (sockets.Ready()) platform::HostName(name);
    return {name};
}
