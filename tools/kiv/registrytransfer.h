// Trees of the registry in files.
#ifndef KIVTOOL_REGISTRYTRANSFER_H
#define KIVTOOL_REGISTRYTRANSFER_H

#include "KivUtility.h"

#include <optional>
#include <string>

namespace tool {

// Where a tree comes from or goes to. What is not named is as the exported tree has it.
struct RegistryPlace {
    std::optional<std::string> root;
    std::optional<std::string> key;
};

// Writes the tree at root and key, both named, to the file, or standard output where that is "-": as it was
// at one moment, complete or not at all. Throws.
void ExportRegistry(const RegistryPlace& from, const std::string& output);

// Reads a tree from the file, or standard input where that is "-", checks it wholly and writes it. Where the
// registry can undo, it is written wholly or not at all. replace: what the key held before goes. Throws.
void ImportRegistry(const std::string& input, const RegistryPlace& to, bool replace);

} // namespace tool

#endif
