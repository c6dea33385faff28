// The registry as a system keeps it: a tree of keys, each with sub-keys and named values.
#ifndef KIVUTILITY_PLATFORM_REGISTRYSTORE_H
#define KIVUTILITY_PLATFORM_REGISTRYSTORE_H

#include "KivPlatform.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kiv::platform {

// What holds for all of these:
// - A `key` is a root or one that was opened here; null is no key, and everything done with it fails.
// - A path is relative to its key, names apart by backslashes, none in front; the empty path is the key
// itself.
//   Names of keys and values are kept as first written and compared without regard to (at least ASCII) case.
//   A null or empty value name is the key's default value.
// - Every operation is atomic, and its effect outlives the process. Any number of threads and processes may
//   work at once; one open key may be used by several threads, but not while it is being closed.
// - A key that was deleted meanwhile, by whomever, stays open and fails: a write never brings it back.
// - Whatever goes wrong, memory included, is the failure result. Nothing is reported and nothing is thrown.

enum RegistryType : std::uint32_t { kRegistryText = 1, kRegistryBinary = 3, kRegistryNumber = 4 };

struct RegistryValue {
    std::uint32_t type; // a RegistryType, or another that somebody else wrote
    std::size_t   size; // bytes, of a text with the terminator that was written with it, if any was
};

// An existing key, for reading and writing; the caller closes it. Null when there is none.
HKEY OpenKey(HKEY root, const char* path) noexcept;

// The same, after making the key and those above it where they are missing. A name has at most 255 bytes.
HKEY CreateKey(HKEY root, const char* path) noexcept;

// Closing a root does nothing and succeeds.
bool CloseKey(HKEY key) noexcept;

// Deletes the key at `path` with its values. Fails when it is missing, has sub-keys, or is a root.
bool DeleteKey(HKEY parent, const char* path) noexcept;

// The value's type and size in one look, with its bytes in `out` when they all fit; otherwise what `out` then
// holds is not defined. Nothing when there is no such value.
std::optional<RegistryValue> ReadValue(HKEY key, const char* name, std::span<unsigned char> out) noexcept;

// Makes or replaces the value. The types above are taken everywhere, others perhaps not.
bool WriteValue(HKEY key, const char* name, RegistryType type, std::span<const unsigned char> bytes) noexcept;

// Fails when there is no such value.
bool DeleteValue(HKEY key, const char* name) noexcept;

// The names in the system's own order; none when the key cannot be read.
std::vector<std::string> SubKeyNames(HKEY key) noexcept;
std::vector<std::string> ValueNames(HKEY key) noexcept;

// What a transaction is for. Only Create makes a registry that is not there yet.
enum class RegistryUse { Read, Change, Create };

// From here to the EndTransaction() of the same thread everything that this thread does is one operation: it
// sees the registry as it is at one moment, and what it changes is seen, and kept, all at once or not at all.
// Other threads wait meanwhile. A transaction within another one is a part of it. Where kTransactionsUndo is
// false, all this only succeeds, and every operation stands for itself.
// False when the registry cannot be had; then no transaction was begun.
bool BeginTransaction(RegistryUse use) noexcept;

// Keeps what was done, or undoes it; undoing a part dooms the whole. True when the changes are kept, or, of a
// part, will be when the whole is.
bool EndTransaction(bool keep) noexcept;

extern const bool kTransactionsUndo;

} // namespace kiv::platform

#endif
