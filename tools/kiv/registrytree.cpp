// Reading and writing trees of the registry, and their JSON.
#include "registrytree.h"

#include "hexadecimal.h"
#include "platform/paths.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string_view>

namespace tool {

namespace {

using nlohmann::json;

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

constexpr char     kText[] = "sz", kBinary[] = "binary", kNumber[] = "dword";
constexpr TypeName kTypes[] = {{1, kText}, {3, kBinary}, {4, kNumber}};

constexpr int         kFormat             = 1; // of what is exported
constexpr std::size_t kMostKeyNameBytes   = 255;
constexpr std::size_t kMostValueNameBytes = 16383;
constexpr int         kMostLevels         = 512; // of keys, below the root

template <class Row, std::size_t N> std::vector<std::string> NamesOf(const Row (&table)[N]) {
    std::vector<std::string> names(N);
    std::ranges::transform(table, names.begin(), &Row::name);
    return names;
}

std::string NameOfType(unsigned long type) {
    const auto* row = std::ranges::find(kTypes, type, &TypeName::type);
    return row != std::end(kTypes) ? row->name : "type " + std::to_string(type);
}

bool CanBeWritten(const std::string& type) { return std::ranges::count(NamesOf(kTypes), type) != 0; }

std::vector<std::string> Items(const CKivStringList& list) {
    std::vector<std::string> items(static_cast<std::size_t>(list.GetCount()));
    std::generate(items.begin(), items.end(), [&list, i = 0]() mutable { return std::string(list[i++]); });
    return items;
}

[[noreturn]] void Stop(const std::string& shown, const std::string& reason) {
    throw std::runtime_error(shown + ": " + reason);
}

// The tree at `key`, called `name` in its parent.
RegistryKey ReadKey(HKEY root, const std::string& key, const std::string& shown, const std::string& name) {
    CKivRegistryMgr node(root);
    if (node.OpenNode(key.c_str(), 0) == 0) Stop(shown, "cannot be read");
    RegistryKey tree{name, {}, {}};
    for (const std::string& each : ValueNames(node)) {
        const auto value = ReadValue(node, each);
        const auto place = shown + ": value \"" + ShownText(each) + '"';
        if (!value) Stop(place, "cannot be read");
        if (!CanBeWritten(value->type)) Stop(place, "is of " + value->type + ", which is not exported");
        tree.values.push_back(*value);
    }
    for (const std::string& each : SubKeys(node))
        tree.keys.push_back(ReadKey(root, JoinKeys(key, each), JoinKeys(shown, ShownText(each)), each));
    return tree;
}

// The part of an object that is the same in an exported tree and in its keys.
void PutContents(Json& object, const RegistryKey& key) {
    Json values = Json::array(), keys = Json::array();
    for (const auto& value : key.values)
        values.push_back({{"name", TextJson(value.name)}, {"type", value.type}, {"data", value.Data()}});
    for (const auto& below : key.keys) {
        Json child = {{"name", TextJson(below.name)}};
        PutContents(child, below);
        keys.push_back(std::move(child));
    }
    object["values"] = std::move(values);
    object["keys"]   = std::move(keys);
}

// An object of the JSON, and where it stands.
struct Place {
    const json& object;
    std::string path;

    [[noreturn]] void Refuse(const std::string& reason) const {
        throw std::invalid_argument(path + ": " + reason);
    }

    // Refuses what is no object or has other members than these.
    void MustHaveOnly(const std::vector<std::string_view>& members) const {
        if (!object.is_object()) Refuse("is no object");
        for (const auto& [name, value] : object.items())
            if (std::ranges::find(members, name) == members.end())
                Refuse("has no \"" + ShownText(name) + '"');
    }

    const json& Member(const char* name) const {
        if (!object.contains(name)) Refuse(std::string("lacks \"") + name + '"');
        return object[name];
    }

    // A text that goes through this system's registry and comes back as it was.
    std::string Text(const char* member) const {
        std::string text;
        try {
            text = TextFromJson(Member(member));
        } catch (const std::invalid_argument& error) {
            Refuse(std::string(member) + ' ' + error.what());
        }
        if (platform::ToNarrow(platform::FromNarrow(text)) != text)
            Refuse(std::string(member) + " cannot be spelt in this system's code page");
        return text;
    }

    std::string Word(const char* member) const {
        if (!Member(member).is_string()) Refuse(std::string(member) + " is no string");
        return Member(member).get<std::string>();
    }

    // each(place) for the elements of an array, which may be missing.
    template <class Each> void EachOf(const char* member, Each each) const {
        if (!object.contains(member)) return;
        if (!object[member].is_array()) Refuse(std::string(member) + " is no array");
        int index = 0;
        for (const json& element : object[member])
            each(Place{element, path + '.' + member + '[' + std::to_string(index++) + ']'});
    }
};

RegistryValue ValueFromJson(const Place& place) {
    place.MustHaveOnly({"name", "type", "data"});
    RegistryValue value{place.Text("name"), place.Word("type"), {}};
    const json&   data = place.Member("data");
    if (value.name.size() > kMostValueNameBytes) place.Refuse("the name is too long");
    if (value.type == kText) {
        value.bytes = place.Text("data");
    } else if (value.type == kNumber) {
        if (!data.is_number_unsigned() || data.get<std::uint64_t>() > 0xFFFFFFFF)
            place.Refuse("data is no whole number from 0 to 4294967295");
        value.number = data.get<std::uint32_t>();
    } else if (value.type == kBinary) {
        const auto bytes = FromHexadecimal(place.Word("data"));
        if (!bytes) place.Refuse("data is no pairs of hexadecimal digits");
        value.bytes = *bytes;
    } else {
        place.Refuse("type is neither sz, dword nor binary");
    }
    return value;
}

// level: how many keys lead to this one.
RegistryKey KeyFromJson(const Place& place, const std::string& name, int level) {
    if (level > kMostLevels) place.Refuse("lies deeper than a registry reaches");
    RegistryKey           key{name, {}, {}};
    std::set<std::string> names; // which the registry compares without regard to case
    place.EachOf("values", [&](const Place& each) {
        key.values.push_back(ValueFromJson(each));
        if (!names.insert(LowerCase(key.values.back().name)).second) each.Refuse("the name is given twice");
    });
    names.clear();
    place.EachOf("keys", [&](const Place& each) {
        each.MustHaveOnly({"name", "values", "keys"});
        const std::string below = each.Text("name");
        if (below.empty() || below.size() > kMostKeyNameBytes || below.find('\\') != std::string::npos)
            each.Refuse("name is none that a key can have");
        if (!names.insert(LowerCase(below)).second) each.Refuse("the name is given twice");
        key.keys.push_back(KeyFromJson(each, below, level + 1));
    });
    return key;
}

} // namespace

std::vector<std::string> RegistryRootNames() { return NamesOf(kRoots); }

HKEY RegistryRoot(const std::string& name) {
    const auto* row = std::ranges::find(kRoots, name, &RootName::name);
    return row != std::end(kRoots) ? row->key : nullptr;
}

std::vector<std::string> RegistryTypeNames() { return NamesOf(kTypes); }

std::string JoinKeys(const std::string& parent, const std::string& key) {
    return parent.empty() || key.empty() ? parent + key : parent + '\\' + key;
}

Json RegistryValue::Data() const {
    if (type == kText) return TextJson(bytes);
    if (type == kNumber) return number;
    return Hexadecimal(bytes);
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

std::optional<RegistryValue> ReadValue(CKivRegistryMgr& node, const std::string& name) {
    unsigned long type = 0;
    unsigned int  size = 0;
    if (node.GetValueType(name.c_str(), type, size) == 0) return std::nullopt;
    RegistryValue value{name, NameOfType(type), {}};
    if (value.type == kNumber && size != sizeof value.number) value.type = "type 4"; // no number, then
    if (value.type == kText) {
        CKivString text;
        if (node.ReadValue(name.c_str(), text, "") == 0) return std::nullopt;
        value.bytes = text;
    } else if (value.type == kNumber) {
        if (node.ReadValue(name.c_str(), value.number, 0U) == 0) return std::nullopt;
    } else {
        value.bytes.resize(size);
        auto* data = reinterpret_cast<unsigned char*>(value.bytes.data());
        if (node.ReadValueEx(name.c_str(), &data, size) == 0) return std::nullopt;
        value.bytes.resize(size);
    }
    return value;
}

bool WriteValue(CKivRegistryMgr& node, const RegistryValue& value) {
    const char* name = value.name.c_str();
    if (value.type == kText) return node.Update(name, value.bytes.c_str()) == 1;
    if (value.type == kNumber) return node.Update(name, static_cast<long>(value.number)) == 1;
    const auto* data = reinterpret_cast<const unsigned char*>(value.bytes.data());
    return node.UpdateEx(name, data, static_cast<unsigned int>(value.bytes.size())) == 1;
}

RegistryKey ReadTree(HKEY root, const std::string& key, const std::string& shown) {
    return ReadKey(root, key, shown, "");
}

void WriteTree(HKEY root, const std::string& key, const std::string& shown, const RegistryKey& tree) {
    CKivRegistryMgr node(root);
    if (node.OpenNode(key.c_str(), 1) == 0) Stop(shown, "the key cannot be made");
    for (const auto& value : tree.values) {
        if (!WriteValue(node, value))
            Stop(shown, "value \"" + ShownText(value.name) + "\" cannot be written");
    }
    for (const auto& below : tree.keys)
        WriteTree(root, JoinKeys(key, below.name), JoinKeys(shown, ShownText(below.name)), below);
}

Json ExportedJson(const std::string& root, const std::string& key, const RegistryKey& tree) {
    Json object = {{"registry", kFormat}, {"root", root}, {"key", TextJson(key)}};
    PutContents(object, tree);
    return object;
}

Exported FromExportedJson(const json& object) {
    const Place whole{object, "registry"};
    whole.MustHaveOnly({"registry", "root", "key", "values", "keys"});
    if (whole.Member("registry") != kFormat) whole.Refuse("is of a format that is not known here");
    const std::string key   = whole.Text("key");
    const auto        level = static_cast<int>(std::ranges::count(key, '\\')) + 1;
    Exported          exported{whole.Word("root"), key, KeyFromJson(whole, "", level)};
    if (RegistryRoot(exported.root) == nullptr) whole.Refuse("root is none that there is");
    return exported;
}

} // namespace tool
