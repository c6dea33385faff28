// kiv registry: shows and changes the servers' configuration.
#include "KivUtility.h"
#include "commands.h"
#include "console.h"
#include "hexadecimal.h"
#include "names.h"
#include "numbers.h"
#include "registrytransfer.h"
#include "registrytree.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>

namespace {

using namespace tool;

// What the command line asks for; which of the fields are set depends on the subcommand.
struct Request {
    std::string root = "HKLM";
    std::string key;
    std::string name;
    std::string type = "sz";
    std::string value;
    std::string file      = "-";
    bool        recursive = false;
    bool        json      = false;
    bool        replace   = false;

    HKEY Root() const { return RegistryRoot(root); }

    std::string Key() const { return JoinKeys(root, key); }

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

std::string Plain(const RegistryValue& value) {
    const Json data = value.Data();
    return value.type == "sz" ? value.bytes : data.is_string() ? data.get<std::string>() : data.dump();
}

ExitStatus Get(const Request& request) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 0) == 0) return RefuseToOpen(request);
    const auto value = ReadValue(node, request.name);
    if (!value) return Refuse(request.Value(), "there is no such value", kExitNotValid);
    Print(
        request.json ? JsonLine(
            {{"key", request.Key()}, {"name", request.name}, {"type", value->type}, {"data", value->Data()}})
                     : Plain(*value) + '\n');
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
    const RegistryValue value{request.name, request.type, isBinary ? *bytes : request.value,
                              dword.value_or(0)};
    return WriteValue(node, value) ? kExitDone : Refuse(request.Value(), "it cannot be written", kExitFailed);
}

// Calls visit(path below the key, node) for the key at `path` and, where asked to, for all below it.
template <class Visit> void Walk(const Request& request, const std::string& below, Visit visit) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(JoinKeys(request.key, below).c_str(), 0) == 0) return; // deleted meanwhile
    visit(below, node);
    if (!request.recursive) return;
    for (const auto& subKey : SubKeys(node)) Walk(request, JoinKeys(below, subKey), visit);
}

// The values and the names of the sub-keys of a node, as a JSON object of one line.
std::string ListedAsJson(const std::string& key, CKivRegistryMgr& node) {
    Json values = Json::array();
    for (const auto& name : ValueNames(node)) {
        if (const auto value = ReadValue(node, name)) {
            values.push_back({{"name", name}, {"type", value->type}, {"data", value->Data()}});
        }
    }
    return JsonLine({{"key", key}, {"values", values}, {"keys", SubKeys(node)}});
}

// The same as text: one line a value, and one a sub-key, which ends in a backslash.
std::string Listed(const std::string& below, CKivRegistryMgr& node) {
    std::string lines;
    for (const auto& name : ValueNames(node)) {
        if (const auto value = ReadValue(node, name)) {
            lines += JoinKeys(below, name.empty() ? "(default)" : name) + '\t' + value->type + '\t'
                     + JsonLine(value->Data());
        }
    }
    for (const auto& subKey : SubKeys(node)) lines += JoinKeys(below, subKey) + "\\\n";
    return lines;
}

ExitStatus List(const Request& request) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 0) == 0) return RefuseToOpen(request);
    Walk(request, "", [&request](const std::string& below, CKivRegistryMgr& visited) {
        Print(request.json ? ListedAsJson(JoinKeys(request.Key(), below), visited) : Listed(below, visited));
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

ExitStatus Export(const Request& request) {
    CKivRegistryMgr node(request.Root());
    if (node.OpenNode(request.key.c_str(), 0) == 0) return RefuseToOpen(request);
    ExportRegistry({request.root, request.key}, request.file);
    return kExitDone;
}

constexpr char kFooter[] =
    R"(A key is the path of its names, apart by backslashes, which a shell wants in quotes.

Exit status: 0 done, 1 there is no such key or value, 2 it could not be done.

Example:
  kiv registry list -r 'SOFTWARE\Halvorn')";

constexpr char kImportFooter[] =
    R"(The file is checked wholly before anything is written. Values and keys that it does not name stay, unless with
--replace. Off Windows everything is written at one moment or, when anything fails, nothing.

Exit status: 0 done, 2 the file is not right or could not be read, or the registry could not be written.

Example:
  kiv registry import --replace configuration.json)";

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
            ->check(CLI::IsMember(RegistryRootNames()).description(""));
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
        ->check(CLI::IsMember(RegistryTypeNames()).description(""));
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

    CLI::App* exported = add("export", "Writes a key, its values and all keys below it as JSON",
                             "'SOFTWARE\\Halvorn' -o configuration.json");
    exported
        ->add_option("-o,--output", request->file,
                     "The file to write; standard output unless given, or when it is -")
        ->type_name("OUT");
    run(exported, Export);

    CLI::App* import = registry->add_subcommand("import", "Writes what was exported into the registry");
    import->footer(kImportFooter);
    import
        ->add_option("FILE", request->file, "What was exported; standard input unless given, or when it is -")
        ->type_name("");
    CLI::Option* root = import->add_option("--root", request->root, "Another root than it was exported from")
                            ->type_name("ROOT")
                            ->check(CLI::IsMember(RegistryRootNames()).description(""));
    CLI::Option* key = import->add_option("--key", request->key, "Another key")->type_name("KEY");
    import->add_flag("--replace", request->replace, "Deletes what the key holds first");
    run(import, [root, key](const Request& asked) {
        RegistryPlace to;
        if (root->count() > 0) to.root = asked.root;
        if (key->count() > 0) to.key = asked.key;
        ImportRegistry(asked.file, to, asked.replace);
        return kExitDone;
    });
}
