// The registry as the commands see it: roots by name, values with their types, whole trees.
#ifndef KIVTOOL_REGISTRYTREE_H
#define KIVTOOL_REGISTRYTREE_H

#include "KivUtility.h"
#include "jsontext.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

// HKLM and the others that there are.
std::vector<std::string> RegistryRootNames();

// Null for a name that is none.
HKEY RegistryRoot(const std::string& name);

// The names of the types that can be written: sz, dword, binary.
std::vector<std::string> RegistryTypeNames();

// `key` below `parent`, where each may be empty.
std::string JoinKeys(const std::string& parent, const std::string& key);

// Of the three types above, or, when it was read, "type N" of another.
struct RegistryValue {
    std::string   name;
    std::string   type;
    std::string   bytes;      // of a sz the text; of a dword nothing
    std::uint32_t number = 0; // of a dword

    // A text as TextJson() gives it, a number, else digits.
    Json Data() const;
};

struct RegistryKey {
    std::string                name; // "" at the top of a tree
    std::vector<RegistryValue> values;
    std::vector<RegistryKey>   keys;
};

std::vector<std::string> SubKeys(CKivRegistryMgr& node);
std::vector<std::string> ValueNames(CKivRegistryMgr& node);

// Nothing when there is no such value.
std::optional<RegistryValue> ReadValue(CKivRegistryMgr& node, const std::string& name);

// False when it cannot be written.
bool WriteValue(CKivRegistryMgr& node, const RegistryValue& value);

// The tree in the order of the registry. Throws "KEY: REASON" when the key, or anything below it, cannot be
// read, or is a value that the tool cannot write; `shown` is the key as a message names it.
RegistryKey ReadTree(HKEY root, const std::string& key, const std::string& shown);

// Makes the key, its values and those below it; what is there besides stays. Throws as ReadTree() does.
void WriteTree(HKEY root, const std::string& key, const std::string& shown, const RegistryKey& tree);

// The tree as a JSON object, where it is put: {"registry": 1, "root", "key", "values": [{"name", "type",
// "data"}...], "keys": [{"name", "values", "keys"}...]}. Names and texts are as TextJson() gives them.
Json ExportedJson(const std::string& root, const std::string& key, const RegistryKey& tree);

struct Exported {
    std::string root;
    std::string key;
    RegistryKey tree;
};

// What such an object stands for. Throws std::invalid_argument, "PLACE: REASON", for anything else, also
// where two values or keys have one name, or one that no registry or not this system's can have.
Exported FromExportedJson(const nlohmann::json& object);

} // namespace tool

#endif
