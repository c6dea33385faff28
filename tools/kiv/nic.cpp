// kiv nic: the host's network interfaces and their configuration for streaming.
#include "KivUtility.h"
#include "bytesource.h"
#include "commands.h"
#include "console.h"
#include "jsonobjects.h"
#include "jsontext.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace tool;
using NicInfo = NetworkInfo::NicInfo;
using RC      = NetworkInfo::NetworkInfoRC;

// An address that the host has, or that is configured, or both.
struct Interface {
    NicInfo nic;
    bool    isOnHost     = false;
    bool    isConfigured = false;

    std::string Address() const { return std::string(nic.ipAddress); }
};

NetworkInfo Network() { return NetworkInfo(true); }

void CheckRegistry(RC result) {
    if (result == NetworkInfo::kNic_RegistryFailed)
        throw std::runtime_error("the configuration of the interfaces: the registry failed");
}

std::vector<NicInfo> Configured() {
    std::vector<NicInfo> nics(NetworkInfo::kMostNics);
    int                  count = NetworkInfo::kMostNics;
    CheckRegistry(Network().GetConfiguredNics(nics.data(), &count));
    nics.resize(static_cast<std::size_t>(count));
    return nics;
}

// Only looks: GetNicInfo() would write what it read.
std::vector<Interface> HostInterfaces() {
    constexpr int        kMostAddresses = 256;
    std::vector<NicInfo> nics(kMostAddresses);
    int                  count   = kMostAddresses;
    NetworkInfo          network = Network();
    const RC             result  = network.GetNicIP(nics.data(), &count);
    if (result == NetworkInfo::kNic_HostUnknown)
        throw std::runtime_error("the addresses of this host: they cannot be had");
    std::vector<Interface> interfaces;
    for (int i = 0; i < count; ++i) {
        Interface each{nics[static_cast<std::size_t>(i)], true, false};
        const RC  read = network.GetNicRegistry(each.nic);
        CheckRegistry(read);
        const RC named = network.GetNicGroupName(each.nic);
        CheckRegistry(named);
        each.isConfigured = read == NetworkInfo::kNic_Success && named == NetworkInfo::kNic_Success;
        interfaces.push_back(each);
    }
    return interfaces;
}

// Those of the host, then those that are only configured.
std::vector<Interface> AllInterfaces() {
    const CKivRegistryTransaction oneMoment(kKivRegistry_Read);
    if (oneMoment.IsOpen() == 0) throw std::runtime_error("the registry cannot be read");
    std::vector<Interface> all = HostInterfaces();
    for (const NicInfo& nic : Configured()) {
        const auto isIt = [&](const Interface& each) { return each.nic.ipAddress == nic.ipAddress; };
        if (std::ranges::none_of(all, isIt)) all.push_back({nic, false, true});
    }
    return all;
}

// --- show

struct NumberField {
    const char*   name;
    std::uint32_t NicInfo::*field;
};

constexpr NumberField kNumberFields[] = {{"bandwidth", &NicInfo::bandwidth},
                                         {"utilization", &NicInfo::utilization},
                                         {"groupId", &NicInfo::groupId}};

Json InterfaceJson(const Interface& each) {
    Json object = {{"ipAddress", TextJson(each.Address())},
                   {"onHost", each.isOnHost},
                   {"configured", each.isConfigured}};
    if (!each.isConfigured) return object;
    object["enabled"] = each.nic.enabled != 0;
    for (const auto& number : kNumberFields) object[number.name] = each.nic.*number.field;
    object["groupName"] = TextJson(static_cast<const char*>(each.nic.groupName));
    return object;
}

std::string InterfaceLine(const Interface& each) {
    const std::string address = ShownText(each.Address());
    char              line[160];
    if (!each.isConfigured) {
        std::snprintf(line, sizeof line, "%-15.15s  not configured\n", address.c_str());
        return line;
    }
    std::snprintf(line, sizeof line, "%-15.15s  %-8s  %10u kbit/s  %3u %%  group %u ", address.c_str(),
                  each.nic.enabled != 0 ? "enabled" : "disabled", each.nic.bandwidth, each.nic.utilization,
                  each.nic.groupId);
    std::string text = line + ShownText(static_cast<const char*>(each.nic.groupName));
    text.resize(text.find_last_not_of(' ') + 1);
    return text + (each.isOnHost ? "\n" : "  (not an address of this host)\n");
}

int Show(bool json) {
    bool isComplete = true;
    for (const Interface& each : AllInterfaces()) {
        Print(json ? JsonLine(InterfaceJson(each)) : InterfaceLine(each));
        isComplete = isComplete && each.isConfigured;
    }
    return isComplete ? kExitDone : kExitNotValid;
}

// --- verify

std::string FaultOf(const NicInfo& nic) {
    switch (NetworkInfo::FindFault(nic)) {
    case NetworkInfo::kNic_AddressMissing: return "the address is missing";
    case NetworkInfo::kNic_BandwidthTooLow:
        return "the bandwidth is " + std::to_string(nic.bandwidth) + ", and at least "
               + std::to_string(NetworkInfo::kLeastBandwidth) + " is needed";
    case NetworkInfo::kNic_UtilizationTooHigh:
        return "the utilization is " + std::to_string(nic.utilization) + " percent, and at most "
               + std::to_string(NetworkInfo::kMostUtilization) + " is possible";
    case NetworkInfo::kNic_NoFault: break;
    }
    return {};
}

constexpr char kNoneStreams[] = "no interface is enabled with a utilization above 0";

std::string ProblemOf(const Interface& each) {
    return each.isConfigured ? FaultOf(each.nic) : "is not configured";
}

// Whether streams may go through one of the host's addresses, whose records have no fault.
bool CanStream(const std::vector<Interface>& interfaces) {
    std::vector<NicInfo> nics;
    for (const Interface& each : interfaces)
        if (each.isOnHost) nics.push_back(each.nic);
    return Network().VerifyNicInfo(nics.data(), static_cast<int>(nics.size()));
}

// Valid is what the servers take: every address of the host configured without a fault, one to stream
// through. What other addresses' records say is told, and counts for nothing.
int Verify(bool json) {
    const auto  interfaces = AllInterfaces();
    bool        isValid    = true;
    Json        records    = Json::array();
    std::string lines;
    for (const Interface& each : interfaces) {
        const std::string problem = ProblemOf(each);
        isValid                   = isValid && (problem.empty() || !each.isOnHost);
        records.push_back(
            {{"ipAddress", TextJson(each.Address())}, {"onHost", each.isOnHost}, {"valid", problem.empty()}});
        if (!problem.empty()) records.back()["problem"] = problem;
        lines += ShownText(each.Address()) + ": " + (problem.empty() ? "valid" : problem)
                 + (each.isOnHost ? "" : " (not an address of this host)") + '\n';
    }
    Json whole = {{"valid", isValid}, {"interfaces", std::move(records)}};
    if (isValid && !CanStream(interfaces)) {
        whole["valid"]   = false;
        whole["problem"] = kNoneStreams;
        lines += std::string(kNoneStreams) + '\n';
    }
    Print(json ? JsonLine(whole) : lines);
    return whole["valid"] ? kExitDone : kExitNotValid;
}

// --- set

struct Changes {
    std::string                  address;
    std::string                  from; // a file with the whole configuration, instead of all the others
    std::optional<std::uint32_t> bandwidth, utilization, groupId;
    std::optional<std::string>   groupName;
    bool                         enable = false, disable = false;
};

// Writes the whole configuration, or reports why not.
int Write(const std::vector<NicInfo>& nics) {
    for (const NicInfo& nic : nics) {
        const std::string fault = FaultOf(nic);
        if (!fault.empty()) ReportProblem(ShownText(static_cast<const char*>(nic.ipAddress)), fault);
    }
    if (nics.size() > NetworkInfo::kMostNics) {
        ReportProblem("the configuration", "has " + std::to_string(nics.size())
                                               + " interfaces, and servers see "
                                               + std::to_string(NetworkInfo::kMostNics));
        return kExitNotValid;
    }
    const RC result = Network().SetNicInfo(nics.data(), static_cast<int>(nics.size()));
    if (result == NetworkInfo::kNic_Success) return kExitDone;
    if (result == NetworkInfo::kNic_NotConfigured) {
        const bool isListAtFault =
            std::ranges::all_of(nics, [](const NicInfo& nic) { return FaultOf(nic).empty(); });
        if (isListAtFault) ReportProblem("the configuration", kNoneStreams);
        return kExitNotValid;
    }
    ReportProblem("the configuration", CKivRegistryTransaction::CanUndo() == 1
                                           ? "cannot be written; nothing was changed"
                                           : "cannot be written; a part may have been");
    return kExitFailed;
}

// A group has one name, whichever of its interfaces it was set with.
void NameGroup(std::vector<NicInfo>& nics, std::uint32_t groupId, const CKivString& name) {
    for (NicInfo& nic : nics)
        if (nic.groupId == groupId) nic.groupName = name;
}

void Apply(const Changes& changes, NicInfo& nic) {
    nic.bandwidth   = changes.bandwidth.value_or(nic.bandwidth);
    nic.utilization = changes.utilization.value_or(nic.utilization);
    nic.groupId     = changes.groupId.value_or(nic.groupId);
    if (changes.enable) nic.enabled = 1;
    if (changes.disable) nic.enabled = 0;
    if (changes.groupName)
        nic.groupName = changes.groupName->c_str();
    else
        CheckRegistry(Network().GetNicGroupName(nic)); // of the group that it is in now
}

int SetOne(const Changes& changes) {
    CKivRegistryTransaction all(kKivRegistry_Create); // so that no change made meanwhile is lost
    if (all.IsOpen() == 0) throw std::runtime_error("the registry cannot be written");
    std::vector<NicInfo> nics = Configured();
    const auto           has  = [&](const NicInfo& nic) { return nic.ipAddress == changes.address.c_str(); };
    auto                 nic  = std::ranges::find_if(nics, has);
    if (nic == nics.end()) {
        nic            = nics.insert(nics.end(), NicInfo{});
        nic->ipAddress = changes.address.c_str();
    }
    Apply(changes, *nic);
    const NicInfo changed = *nic;
    NameGroup(nics, changed.groupId, changed.groupName);
    const int status = Write(nics);
    if (status == kExitDone && all.Commit() == 0) throw std::runtime_error("the registry cannot be written");
    return status;
}

// The member of that name, or its default where it is not given.
template <class Value>
Value MemberOr(const nlohmann::json& object, const char* name, Value otherwise,
               const std::function<bool(const nlohmann::json&)>& isRight) {
    if (!object.contains(name)) return otherwise;
    if (!isRight(object[name])) throw std::invalid_argument(std::string(name) + " is not what it should be");
    return object[name].get<Value>();
}

// Of the objects that `show --json` prints. One that says that it is not configured is nothing to set.
std::optional<NicInfo> NicFromJson(const nlohmann::json& object) {
    constexpr const char* kMembers[] = {"ipAddress", "onHost",      "configured", "enabled",
                                        "bandwidth", "utilization", "groupId",    "groupName"};
    for (const auto& [name, value] : object.items())
        if (std::ranges::find(kMembers, name) == std::end(kMembers))
            throw std::invalid_argument("an interface has no \"" + ShownText(name) + '"');
    const auto isBool = [](const nlohmann::json& value) { return value.is_boolean(); };
    const auto is32   = [](const nlohmann::json& value) {
        return value.is_number_unsigned() && value.get<std::uint64_t>() <= 0xFFFFFFFF;
    };
    const auto text = [&](const char* name) {
        if (!object.contains(name)) return std::string();
        try {
            return TextFromJson(object[name]);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(std::string(name) + ' ' + error.what());
        }
    };
    if (!MemberOr(object, "configured", true, isBool)) return std::nullopt;
    NicInfo nic;
    nic.ipAddress = text("ipAddress").c_str();
    if (KivIsIpv4Address(nic.ipAddress) == 0) throw std::invalid_argument("ipAddress is no IPv4 address");
    nic.groupName = text("groupName").c_str();
    nic.enabled   = MemberOr(object, "enabled", false, isBool) ? 1 : 0;
    for (const auto& number : kNumberFields)
        nic.*number.field = MemberOr(object, number.name, nic.*number.field, is32);
    return nic;
}

// What two records cannot both say.
std::string Contradiction(const NicInfo& one, const NicInfo& other) {
    if (one.ipAddress == other.ipAddress) return "the address is given twice";
    const bool areNamed = one.groupName != "" && other.groupName != "";
    if (one.groupId == other.groupId && areNamed && one.groupName != other.groupName)
        return "group " + std::to_string(one.groupId) + " has another name before";
    return {};
}

int SetWhole(const std::string& file) {
    ByteSource           source(file);
    JsonObjects          objects(source);
    std::vector<NicInfo> nics;
    while (const auto object = objects.Next()) {
        try {
            const auto nic = NicFromJson(*object);
            if (!nic) continue;
            if (nics.size() == NetworkInfo::kMostNics)
                throw std::invalid_argument("one interface more than can be configured");
            for (const NicInfo& before : nics) {
                const std::string reason = Contradiction(before, *nic);
                if (!reason.empty()) throw std::invalid_argument(reason);
            }
            nics.push_back(*nic);
        } catch (const std::invalid_argument& error) {
            objects.Fail(error.what());
        }
    }
    const std::vector<NicInfo> given = nics;
    for (const NicInfo& nic : given)
        if (nic.groupName != "") NameGroup(nics, nic.groupId, nic.groupName);
    return Write(nics);
}

constexpr char kShowFooter[] =
    R"(Shows the addresses of this host in the order in which servers see them, then those that are only configured.
Nothing is changed by looking.

Exit status: 0 every address is configured, 1 one is not, 2 it could not be found out.

Example:
  kiv nic show --json > interfaces.json)";

constexpr char kVerifyFooter[] =
    R"(Valid is what servers take: every address of this host is configured, with a bandwidth of 10 kbit/s or more and a
utilization of 100 percent or less, and one of them is enabled with a utilization above 0.

Exit status: 0 valid, 1 not valid, 2 it could not be found out.

Example:
  kiv nic verify)";

constexpr char kSetFooter[] =
    R"(What is not given stays; an address that was not configured starts disabled, with a bandwidth of 0, a utilization of
80 percent, in group 0. The name of a group is that of all interfaces in it. With --from, everything that was
configured before goes; the file holds objects as "kiv nic show --json" prints them, and those that say that they
are not configured are left out. A configuration that is not valid is not written.

Exit status: 0 done, 1 the configuration would not be valid, 2 it could not be done.

Examples:
  kiv nic set 192.0.2.10 --bandwidth 1000000 --utilization 60 --enable --group 1 --group-name Hall
  kiv nic set --from interfaces.json)";

// Decimal, and nothing else: what is meant by zeros in front depends on whom one asks.
std::string MakeDecimal(std::string& text) {
    const bool areDigits = std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    if (text.empty() || !areDigits) return text + " is no decimal number";
    text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
    return {};
}

} // namespace

void AddNicCommand(CLI::App& app, int& exitStatus) {
    CLI::App* nic =
        app.add_subcommand("nic", "Shows and changes how network interfaces are used for streaming");
    nic->require_subcommand(1);

    const auto json = std::make_shared<bool>(false);
    const auto add  = [&](const char* name, const char* what, const char* footer) {
        CLI::App* command = nic->add_subcommand(name, what);
        command->footer(footer);
        return command;
    };
    CLI::App* show = add("show", "Lists this host's addresses and their configuration", kShowFooter);
    show->add_flag("--json", *json, "Prints one JSON object an address and line");
    show->callback([json, &exitStatus] { exitStatus = Show(*json); });

    CLI::App* verify =
        add("verify", "Checks the configuration, and says what is wrong with each address", kVerifyFooter);
    verify->add_flag("--json", *json, "Prints a JSON object");
    verify->callback([json, &exitStatus] { exitStatus = Verify(*json); });

    const auto changes = std::make_shared<Changes>();
    CLI::App*  set     = add("set", "Configures an address, or all of them from a file", kSetFooter);
    set->add_option("ADDRESS", changes->address, "IPv4 address of the interface")
        ->type_name("")
        ->check(CLI::Validator(
            [](const std::string& text) {
                return KivIsIpv4Address(text.c_str()) != 0 ? std::string() : text + " is no IPv4 address";
            },
            ""));
    CLI::Option* from =
        set->add_option("--from", changes->from, "The whole configuration; standard input when it is -")
            ->type_name("FILE");
    const auto number = [&](const char* name, std::optional<std::uint32_t>& into, const char* what) {
        set->add_option(name, into, what)->type_name("N")->transform(CLI::Validator(MakeDecimal, ""));
    };
    number("--bandwidth", changes->bandwidth, "kbit/s, 10 or more");
    number("--utilization", changes->utilization, "Percent of it that streams may use, 0 to 100");
    number("--group", changes->groupId, "Number of its group");
    set->add_option("--group-name", changes->groupName, "Name of its group, for all interfaces in it")
        ->type_name("NAME");
    CLI::Option* enable = set->add_flag("--enable", changes->enable, "Streams may go through it");
    set->add_flag("--disable", changes->disable, "They may not")->excludes(enable);
    set->callback([changes, set, from, &exitStatus] {
        const auto isGiven = [from](const CLI::Option* option) {
            return option != from && option->count() > 0;
        };
        if (from->count() > 0) {
            for (const CLI::Option* option : set->get_options(isGiven))
                throw CLI::ExcludesError(from->get_name(), option->get_name());
            exitStatus = SetWhole(changes->from);
        } else {
            if (changes->address.empty()) throw CLI::RequiredError("ADDRESS or --from");
            exitStatus = SetOne(*changes);
        }
    });
}
