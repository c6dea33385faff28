// The registry of Windows: each operation is one of the system's own, in the ANSI code page.
#include "platform/registrystore.h"

#include <new>

namespace kiv::platform {
namespace {

static_assert(kRegistryText == REG_SZ && kRegistryBinary == REG_BINARY && kRegistryNumber == REG_DWORD);

constexpr REGSAM kReadAndWrite = 0x2001F;
static_assert(kReadAndWrite == (KEY_READ | KEY_WRITE));

// Calls next(index, buffer) for 0, 1, ... while it finds a name, which it leaves NUL-terminated in the
// buffer.
template <std::size_t kBufferSize, class Next> std::vector<std::string> Enumerate(Next next) noexcept {
    try {
        std::vector<std::string> names;
        std::string              buffer(kBufferSize, '\0');
        for (DWORD index = 0; next(index, buffer) == ERROR_SUCCESS; ++index)
            names.emplace_back(buffer.c_str());
        return names;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

} // namespace

HKEY OpenKey(HKEY root, const char* path) noexcept {
    HKEY key = nullptr;
    return ::RegOpenKeyExA(root, path, 0, kReadAndWrite, &key) == ERROR_SUCCESS ? key : nullptr;
}

HKEY CreateKey(HKEY root, const char* path) noexcept {
    HKEY       key    = nullptr;
    const auto result = ::RegCreateKeyExA(root, path, 0, nullptr, REG_OPTION_NON_VOLATILE, kReadAndWrite,
                                          nullptr, &key, nullptr);
    return result == ERROR_SUCCESS ? key : nullptr;
}

bool CloseKey(HKEY key) noexcept { return ::RegCloseKey(key) == ERROR_SUCCESS; }

bool DeleteKey(HKEY parent, const char* path) noexcept {
    return ::RegDeleteKeyA(parent, path) == ERROR_SUCCESS;
}

std::optional<RegistryValue> ReadValue(HKEY key, const char* name, std::span<unsigned char> out) noexcept {
    DWORD      type = 0;
    DWORD      size = static_cast<DWORD>(out.size());
    const auto result =
        ::RegQueryValueExA(key, name, nullptr, &type, out.empty() ? nullptr : out.data(), &size);
    if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA) return std::nullopt;
    return RegistryValue{type, size};
}

bool WriteValue(HKEY key, const char* name, RegistryType type,
                std::span<const unsigned char> bytes) noexcept {
    // An empty value, too, wants an address.
    const unsigned char* data = bytes.empty() ? reinterpret_cast<const unsigned char*>("") : bytes.data();
    return ::RegSetValueExA(key, name, 0, type, data, static_cast<DWORD>(bytes.size())) == ERROR_SUCCESS;
}

bool DeleteValue(HKEY key, const char* name) noexcept {
    return ::RegDeleteValueA(key, name) == ERROR_SUCCESS;
}

std::vector<std::string> SubKeyNames(HKEY key) noexcept {
    return Enumerate<512>([key](DWORD index, std::string& name) {
        return ::RegEnumKeyA(key, index, name.data(), static_cast<DWORD>(name.size()));
    });
}

std::vector<std::string> ValueNames(HKEY key) noexcept {
    // At most 16383 characters of two bytes.
    return Enumerate<32768>([key](DWORD index, std::string& name) {
        DWORD size = static_cast<DWORD>(name.size());
        return ::RegEnumValueA(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    });
}

// The transactions that Windows has for its registry need a manager that is not everywhere.
const bool kTransactionsUndo = false;

bool BeginTransaction(RegistryUse) noexcept { return true; }

bool EndTransaction(bool keep) noexcept { return keep; }

} // namespace kiv::platform
