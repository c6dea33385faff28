// kiv registry: shows and changes the servers' configuration.
#include "KivUtility.h"
#include "commands.h"
#include "console.h"
#include "hexadecimal.h"
#include "names.h"
#include "numbers.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace tool;

struct RootName {
    const char* name;
    HKEY        key;
};

const RootName kRoots[] = {{"HKLM", HKEY_LOCAL_MACHINE},
                           {"HKCU", HKEY_CURRENT_USER},
                           {"HKCR", HKEY_CLASSES_ROOT},
                           {"HKU", HKEY_USERS}};

// The registry's type numbers and what they are called here.
struct TypeName {
    unsigned long type;
    const char*   name;
};

constexpr TypeName kTypes[] = {{1, "sz"}, {3, "binary"}, {4, "dword"}};

template <class Row, std::size_t N> std::vector<std::string> NamesOf(const Row (&table)[N]) {
    std::vector<std::string> names(N);
    std::ranges::transform(table, names.begin(), &Row::name);
    return names;
}

std::string NameOfType(unsigned long type) {
    for (const auto& row : kTypes) {
        if (row.type == type) return row.name;
    }
    return "type " + std::to_string(type);
}

// `key` below `parent`, where each may be empty.
std::string Join(const std::string& parent, const std::string& key) {
    return parent.empty() || key.empty() ? parent + key : parent + '\\' + key;
}

// What the command line asks for; which of the fields are set depends on the subcommand.
struct Request {
    std::string root = "HKLM";
    std::string key;
    std::string name;
    std::string type = "sz";
    std::string value;
    bool        recursive = false;
    bool        json      = false;

    HKEY Root() const {
        const auto* row = std::begin(kRoots);
        while (root != row->name) ++row;
        return row->key;
    }

    std::string Key() const { return Join(root, key); }

    std::string Value() const { return "value \"" + name + "\" of " + Key(); }
};

ExitStatus Refuse(const std::string& subject, const char* reason, ExitStatus status) {
    ReportProblem(subject, reason);
    return status;
}

// A key that does not open is missing, unless the root does not open either: then no registry is to be had.
ExitStatus RefuseToOpen(const Request& request) {
    CKivRegistryMgr root(request.Root());
    if (root.OpenNode("", 0) == 1) return Refuse(request.Key(), "there is no such key", kExitNotValid);
    return Refuse(request.Key(), "the registry cannot be opened", kExitFailed);
}

std::vector<std::string> Items(const CKivStringList& list) {
    std::vector<std::string> items(static_cast<std::size_t>(list.GetCount()));
    std::generate(items.begin(), items.end(), [&list, i = 0]() mutable { return std::string(list[i++]); });
    return items;
}

std::vector<std::string> SubKeys(CKivRegistryMgr& node) {
    CKivStringList list;
    node.GetSubKeys(list);
    return Items(list);
}

std::vector<std::string> ValueNames(CKivRegistryMgr& node) {
    CKivStringList list;
    node.GetValueNames(list);
    return Items(list);
}

// A value as the tool shows it: a text or a number as what it is, the bytes of anything else in hex digits.
struct Value {
    std::string type;
    Json        data;

    std::string Plain() const { return data.is_string() ? data.get<std::string>() : data.dump(); }
};

std::optional<Value> ReadValue(CKivRegistryMgr& node, const std::string& name) {
    unsigned long type = 0;
    unsigned int  size = 0;
    if (node.GetValueType(name.c_str(), type, size) == 0) return std::nullopt;
    const std::string typeName = NameOfType(type);
    if (typeName == "sz") {
        CKivString text;
        if (node.ReadValue(name.c_str(), text, "") == 0) return std::nullopt;
        return Value{typeName, std::string(text)};
    }
    if (typeName == "dword") {
        unsigned long number = 0;
        if (node.ReadValue(name.c_str(), number, 0UL) == 0) return std::nullopt;
        return Value{typeName, number};
    }
    std::string bytes(size, '\0');
    auto*       data = reinterpret_cast<unsigned char*>(bytes.data());
    if (node.ReadValueEx(name.c_str(), &data, size) == 0) return std::nullopt;
    bytes.resize(size);
    return Value{typeName, Hexadecimal(bytes)};
}

ExitStatus Get(const Request& request) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 0) == 0) return RefuseToOpen(request);
    const auto value = ReadValue(node, request.name);
    if (!value) return Refuse(request.Value(), "there is no such value", kExitNotValid);
    Print(request.json ? JsonLine(
              {{"key", request.Key()}, {"name", request.name}, {"type", value->type}, {"data", value->data}})
                       : value->Plain() + '\n');
    return kExitDone;
}

ExitStatus Set(const Request& request) {
    const auto dword    = ParseDword(request.value);
    const auto bytes    = FromHexadecimal(request.value);
    const bool isDword  = request.type == "dword";
    const bool isBinary = request.type == "binary";
    if (isDword && !dword)
        return Refuse(request.Value(), "a dword is a number from 0 to 4294967295", kExitFailed);
    if (isBinary && !bytes)
        return Refuse(request.Value(), "binary is pairs of hexadecimal digits", kExitFailed);

    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 1) == 0)
        return Refuse(request.Key(), "the key cannot be made", kExitFailed);
    const char* name   = request.name.c_str();
    const auto  binary = [&] { return reinterpret_cast<const unsigned char*>(bytes->data()); };
    const int   done   = isDword    ? node.Update(name, static_cast<long>(*dword))
                         : isBinary ? node.UpdateEx(name, binary(), static_cast<unsigned int>(bytes->size()))
                                    : node.Update(name, request.value.c_str());
    return done == 1 ? kExitDone : Refuse(request.Value(), "it cannot be written", kExitFailed);
}

// Calls visit(path below the key, node) for the key at `path` and, where asked to, for all below it.
template <class Visit> void Walk(const Request& request, const std::string& below, Visit visit) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(Join(request.key, below).c_str(), 0) == 0) return; // deleted meanwhile
    visit(below, node);
    if (!request.recursive) return;
    for (const auto& subKey : SubKeys(node)) Walk(request, Join(below, subKey), visit);
}

// The values and the names of the sub-keys of a node, as a JSON object of one line.
std::string ListedAsJson(const std::string& key, CKivRegistryMgr& node) {
    Json values = Json::array();
    for (const auto& name : ValueNames(node)) {
        if (const auto value = ReadValue(node, name)) {
            values.push_back({{"name", name}, {"type", value->type}, {"data", value->data}});
        }
    }
    return JsonLine({{"key", key}, {"values", values}, {"keys", SubKeys(node)}});
}

// The same as text: one line a value, and one a sub-key, which ends in a backslash.
std::string Listed(const std::string& below, CKivRegistryMgr& node) {
    std::string lines;
    for (const auto& name : ValueNames(node)) {
        if (const auto value = ReadValue(node, name)) {
            lines += Join(below, name.empty() ? "(default)" : name) + '\t' + value->type + '\t'
                     + JsonLine(value->data);
        }
    }
    for (const auto& subKey : SubKeys(node)) lines += Join(below, subKey) + "\\\n";
    return lines;
}

ExitStatus List(const Request& request) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 0) == 0) return RefuseToOpen(request);
    Walk(request, "", [&request](const std::string& below, CKivRegistryMgr& visited) {
        Print(request.json ? ListedAsJson(Join(request.Key(), below), visited) : Listed(below, visited));
    });
    return kExitDone;
}

ExitStatus DeleteValue(const Request& request) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 0) == 0) return RefuseToOpen(request);
    unsigned long type = 0;
    unsigned int  size = 0;
    if (node.GetValueType(request.name.c_str(), type, size) == 0) {
        return Refuse(request.Value(), "there is no such value", kExitNotValid);
    }
    if (node.Delete(request.name.c_str()) == 0)
        return Refuse(request.Value(), "it cannot be deleted", kExitFailed);
    return kExitDone;
}

ExitStatus DeleteKey(const Request& request) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 0) == 0) return RefuseToOpen(request);
    if (!request.recursive && !SubKeys(node).empty()) {
        return Refuse(request.Key(), "the key has sub-keys, which go only with -r", kExitFailed);
    }
    if (node.DeleteNode(request.recursive ? 1 : 0) == 1) return kExitDone;
    return Refuse(request.Key(), "the key cannot be deleted; one directly under the root never is",
                  kExitFailed);
}

constexpr char kFooter[] =
    R"(A key is the path of its names, apart by backslashes, which a shell wants in quotes.

Exit status: 0 done, 1 there is no such key or value, 2 it could not be done.

Example:
  kiv registry list -r 'SOFTWARE\Halvorn')";

} // namespace

void AddRegistryCommand(CLI::App& app, int& exitStatus) {
    CLI::App* registry = app.add_subcommand("registry", "Shows and changes the servers' configuration");
    registry->require_subcommand(1);
    registry->footer(kFooter);

    const auto request = std::make_shared<Request>(); // one for all: only one of the subcommands runs
    const auto add     = [&](const char* name, const char* what, const std::string& example) {
        CLI::App* command = registry->add_subcommand(name, what);
        command->footer(std::string("Example:\n  kiv registry ") + name + ' ' + example);
        command->add_option("--root", request->root, "HKLM, unless given; HKCU, HKCR or HKU")
            ->type_name("ROOT")
            ->check(CLI::IsMember(NamesOf(kRoots)).description(""));
        command->add_option("KEY", request->key, "Path of the key below the root; '' is the root itself")
            ->type_name("")
            ->required();
        return command;
    };
    const auto addName = [&](CLI::App* command) {
        return command->add_option("NAME", request->name, "Name of the value; '' is the key's default value")
            ->type_name("");
    };
    const auto run = [&](CLI::App* command, auto action) {
        command->callback([request, action, &exitStatus] { exitStatus = action(*request); });
    };

    CLI::App* get = add("get", "Prints a value", "'SOFTWARE\\Halvorn\\KivServer' FsBitRate");
    addName(get)->required();
    get->add_flag("--json", request->json, "Prints key, name, type and data as a JSON object");
    run(get, Get);

    CLI::App* set = add("set", "Writes a value, and makes its key where it is missing",
                        "'SOFTWARE\\Halvorn\\KivServer' FsBitRate 2048000 --type dword");
    addName(set)->required();
    set->add_option("VALUE", request->value,
                    "A text; for dword decimal, or 0x and hexadecimal; for binary pairs of digits")
        ->type_name("")
        ->required();
    set->add_option("--type", request->type, "sz, a text, unless given; dword, a number; binary, bytes")
        ->type_name("TYPE")
        ->check(CLI::IsMember(NamesOf(kTypes)).description(""));
    run(set, Set);

    CLI::App* list = add("list", "Lists the values and sub-keys of a key", "-r 'SOFTWARE\\Halvorn'");
    list->add_flag("-r,--recursive", request->recursive, "Also those of all keys below it");
    list->add_flag("--json", request->json, "Prints one JSON object a key and line");
    run(list, List);

    CLI::App* remove =
        add("delete", "Deletes a value, or a key with its values", "-r 'SOFTWARE\\Halvorn\\Common'");
    CLI::Option* name = addName(remove);
    remove->add_flag("-r,--recursive", request->recursive, "Deletes all keys below the key first")
        ->excludes(name);
    run(remove,
        [name](const Request& asked) { return name->count() > 0 ? DeleteValue(asked) : DeleteKey(asked); });
}
