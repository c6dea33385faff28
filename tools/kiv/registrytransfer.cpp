// Export and import.
#include "registrytransfer.h"

#include "bytesource.h"
#include "console.h"
#include "jsonobjects.h"
#include "outputfile.h"
#include "registrytree.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace tool {

namespace {

// Of the JSON of one tree. What a configuration holds is thousands of times less.
constexpr std::size_t kMostBytes = 256 << 20;

void Write(const std::string& text, const std::string& output) {
    if (IsStandardOutput(output)) return Print(text);
    OutputFile file(output);
    file.Write(text.data(), text.size());
    file.Commit();
}

Exported ReadExported(const std::string& input) {
    ByteSource  source(input);
    JsonObjects objects(source, kMostBytes);
    const auto  object = objects.Next();
    if (!object) throw std::runtime_error(source.Shown() + ": is empty");
    Exported exported;
    try {
        exported = FromExportedJson(*object);
    } catch (const std::invalid_argument& error) {
        objects.Fail(error.what());
    }
    if (objects.Next()) objects.Fail("a second object is one too many");
    return exported;
}

// Throws unless there is nothing left of the key.
void Delete(HKEY root, const std::string& key, const std::string& shown) {
    CKivRegistryMgr node(root);
    if (node.OpenNode(key.c_str(), 0) == 1 && node.DeleteNode(1) == 0)
        throw std::runtime_error(shown + ": cannot be replaced; a key directly under the root never is");
}

} // namespace

void ExportRegistry(const RegistryPlace& from, const std::string& output) {
    const std::string shown = JoinKeys(*from.root, ShownText(*from.key));
    std::string       text;
    {
        const CKivRegistryTransaction oneMoment(kKivRegistry_Read);
        if (oneMoment.IsOpen() == 0) throw std::runtime_error(shown + ": the registry cannot be read");
        const RegistryKey tree = ReadTree(RegistryRoot(*from.root), *from.key, shown);
        text                   = ExportedJson(*from.root, *from.key, tree).dump(2) + '\n';
    }
    Write(text, output);
}

void ImportRegistry(const std::string& input, const RegistryPlace& to, bool replace) {
    const Exported    exported = ReadExported(input);
    const std::string rootName = to.root.value_or(exported.root), key = to.key.value_or(exported.key);
    const std::string shown = JoinKeys(rootName, ShownText(key));
    const HKEY        root  = RegistryRoot(rootName);

    CKivRegistryTransaction all(kKivRegistry_Create);
    if (all.IsOpen() == 0) throw std::runtime_error(shown + ": the registry cannot be written");
    try {
        if (replace) Delete(root, key, shown);
        WriteTree(root, key, shown, exported.tree);
        if (all.Commit() == 0) throw std::runtime_error(shown + ": cannot be written");
    } catch (const std::runtime_error& error) {
        if (CKivRegistryTransaction::CanUndo() == 1) throw;
        throw std::runtime_error(std::string(error.what()) + "; a part may have been imported");
    }
}

} // namespace tool
