// Typed reads with defaults, typed writes and recursive deletion, over the registry of the system.
#include "KivRegistryMgr.h"

#include "platform/registrystore.h"

#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <optional>
#include <span>
#include <utility>

namespace {

namespace registry = kiv::platform;

// Runs an operation; memory that runs out in it, or a size beyond all memory, makes it fail.
template <class Operation> int Try(Operation operation) {
    try {
        return operation();
    } catch (const std::exception&) {
        return 0;
    }
}

struct TextRead {
    // The result of a text read: 1 when the value is there, whatever it is.
    int found;
    // Set when it is a text stored in at most `maxBytes`; what c_str() shows is the text.
    std::optional<std::string> text;
};

// A look at the value tells how much room it needs, the next one reads it. A value that somebody replaced
// between the two by a longer one takes one look more, so that a reader never sees a default for a value that
// is there.
TextRead ReadText(HKEY node, const char* name, std::size_t maxBytes) {
    try {
        for (std::string text;;) {
            const std::span room(reinterpret_cast<unsigned char*>(text.data()), text.size());
            const auto      value = registry::ReadValue(node, name, room);
            if (!value) return {0, std::nullopt};
            if (value->type != registry::kRegistryText || value->size > maxBytes) return {1, std::nullopt};
            if (value->size <= text.size()) {
                text.resize(value->size); // what others wrote need not end in a terminator
                return {1, std::move(text)};
            }
            text.resize(value->size);
        }
    } catch (const std::exception&) {
        return {0, std::nullopt};
    }
}

// `text` may be what `out` held already.
void CopyText(char* out, const char* text) { std::memmove(out, text, std::strlen(text) + 1); }

constexpr std::size_t kAnySize = std::numeric_limits<std::size_t>::max();

int ReplaceBy(const std::vector<std::string>& names, CKivStringList& list) {
    list.Reset();
    Try([&] {
        for (const auto& name : names) list.Add(name.c_str());
        return 1;
    });
    return 1;
}

} // namespace

CKivRegistryMgr::CKivRegistryMgr(HKEY root) : m_root(root) {}

CKivRegistryMgr::~CKivRegistryMgr() {
    if (!m_enabled) return;
    CloseNode();
    for (HKEY node : m_replaced) registry::CloseKey(node);
}

int CKivRegistryMgr::OpenNode(const char* path, int create) {
    if (!m_enabled) return 0;
    CloseNode();
    if (path == nullptr) return 0;
    return Try([&] {
        std::string nodePath = path;
        HKEY        node     = registry::OpenKey(m_root, path);
        if (node == nullptr) return create != 0 ? CreateNode(path) : 0;
        m_node     = node;
        m_nodePath = std::move(nodePath);
        return 1;
    });
}

int CKivRegistryMgr::CreateNode(const char* path) {
    if (!m_enabled) return 1;
    if (path == nullptr) return 0;
    return Try([&] {
        std::string nodePath = path;
        m_replaced.reserve(m_replaced.size() + 1);
        HKEY node = registry::CreateKey(m_root, path);
        if (node == nullptr) return 0;
        if (m_node != nullptr) m_replaced.push_back(m_node);
        m_node     = node;
        m_nodePath = std::move(nodePath);
        return 1;
    });
}

int CKivRegistryMgr::CloseNode() {
    if (!m_enabled) return 1;
    if (m_node != nullptr && !registry::CloseKey(m_node)) return 0;
    m_node = nullptr;
    m_nodePath.clear();
    return 1;
}

int CKivRegistryMgr::OpenOtherReg(const char* path, int create) {
    m_enabled = 1;
    return OpenNode(path, create);
}

int CKivRegistryMgr::Update(const char* name, const char* text) {
    if (!m_enabled) return 1;
    if (text == nullptr) return 0;
    const std::span bytes(reinterpret_cast<const unsigned char*>(text), std::strlen(text) + 1);
    return registry::WriteValue(m_node, name, registry::kRegistryText, bytes) ? 1 : 0;
}

int CKivRegistryMgr::Update(const char* name, long value) {
    if (!m_enabled) return 1;
    const auto    number = static_cast<std::uint32_t>(value);
    unsigned char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    return registry::WriteValue(m_node, name, registry::kRegistryNumber, bytes) ? 1 : 0;
}

int CKivRegistryMgr::UpdateEx(const char* name, const unsigned char* data, unsigned int size) {
    if (!m_enabled) return 1;
    if (data == nullptr && size != 0) return 0;
    return registry::WriteValue(m_node, name, registry::kRegistryBinary, {data, size}) ? 1 : 0;
}

int CKivRegistryMgr::Delete(const char* name) {
    if (!m_enabled) return 1;
    return registry::DeleteValue(m_node, name) ? 1 : 0;
}

int CKivRegistryMgr::DeleteNode(int recursive) {
    if (!m_enabled) return 1;
    return Try([&] {
        // Delimiters at its end do not make a path deeper: a key directly under the root stays.
        const std::string path  = m_nodePath.substr(0, m_nodePath.find_last_not_of('\\') + 1);
        const std::size_t split = path.rfind('\\');
        if (split == std::string::npos || split == 0) return 0;
        CKivRegistryMgr parent(m_root);
        if (parent.OpenNode(path.substr(0, split).c_str(), 0) == 0) return 0;

        if (recursive != 0) {
            for (const auto& subKey : registry::SubKeyNames(m_node)) {
                CKivRegistryMgr below(m_root);
                if (below.OpenNode(std::string(path).append(1, '\\').append(subKey).c_str(), 0) == 0)
                    continue;
                below.DeleteNode(recursive);
                below.CloseNode();
            }
        }

        if (!registry::DeleteKey(parent.m_node, path.c_str() + split + 1)) return 0;
        CloseNode();
        return 1;
    });
}

int CKivRegistryMgr::ReadValue(const char* name, char* out, const char* def) {
    if (!m_enabled) return 1;
    const TextRead read = ReadText(m_node, name, kAnySize);
    const char*    text = read.text ? read.text->c_str() : def;
    if (text != nullptr) CopyText(out, text);
    return read.found;
}

int CKivRegistryMgr::ReadValue(const char* name, CKivString& out, const char* def) {
    if (!m_enabled) return 1;
    const TextRead read = ReadText(m_node, name, kAnySize);
    const char*    text = read.text ? read.text->c_str() : def;
    if (text == nullptr) return read.found;
    return Try([&] {
        out = text;
        return read.found;
    });
}

int CKivRegistryMgr::ReadValue(const char* name, char* out, unsigned int size, const char* def) {
    if (!m_enabled) return 1;
    const TextRead read = size > 0 ? ReadText(m_node, name, size - 1) : TextRead{};
    const char*    text = read.text ? read.text->c_str() : def;
    if (text == nullptr || std::strlen(text) >= size) return 0;
    CopyText(out, text);
    return 1;
}

int CKivRegistryMgr::ReadValue(const char* name, unsigned long& out, unsigned long def) {
    if (!m_enabled) return 1;
    std::uint32_t number               = 0;
    unsigned char bytes[sizeof number] = {};
    const auto    value                = registry::ReadValue(m_node, name, bytes);
    const bool    is32Bits =
        value && value->size == sizeof bytes
        && (value->type == registry::kRegistryNumber || value->type == registry::kRegistryBinary);
    std::memcpy(&number, bytes, sizeof number);
    out = is32Bits ? number : def;
    return value ? 1 : 0;
}

int CKivRegistryMgr::ReadValue(const char* name, int& out, int def) {
    unsigned long number = static_cast<unsigned int>(out);
    const int     result = ReadValue(name, number, static_cast<unsigned int>(def));
    out                  = static_cast<int>(static_cast<std::uint32_t>(number));
    return result;
}

int CKivRegistryMgr::ReadValue(const char* name, unsigned int& out, unsigned int def) {
    unsigned long number = out;
    const int     result = ReadValue(name, number, static_cast<unsigned long>(def));
    out                  = static_cast<std::uint32_t>(number);
    return result;
}

int CKivRegistryMgr::ReadValueEx(const char* name, unsigned char** data, unsigned int& size) {
    if (!m_enabled) return 1;
    if (data == nullptr || *data == nullptr) return 0;
    const auto value = registry::ReadValue(m_node, name, {*data, size});
    if (!value || value->size > size) return 0;
    size = static_cast<unsigned int>(value->size);
    return 1;
}

int CKivRegistryMgr::GetKeyBytes(const char* name, unsigned int& size) {
    if (!m_enabled) return 1;
    unsigned long type = 0;
    if (GetValueType(name, type, size) != 0 && type == registry::kRegistryBinary) return 1;
    size = 0;
    return 0;
}

int CKivRegistryMgr::GetValueType(const char* name, unsigned long& type, unsigned int& size) {
    if (!m_enabled) return 1;
    const auto value = registry::ReadValue(m_node, name, {});
    if (!value) return 0;
    type = value->type;
    size = static_cast<unsigned int>(value->size);
    return 1;
}

int CKivRegistryMgr::GetSubKeys(CKivStringList& list) {
    if (!m_enabled) return 1;
    return ReplaceBy(registry::SubKeyNames(m_node), list);
}

int CKivRegistryMgr::GetValueNames(CKivStringList& list) {
    if (!m_enabled) return 1;
    return ReplaceBy(registry::ValueNames(m_node), list);
}

int CKivRegistryMgr::ArrangeNodeName(const char*, char*) { return 1; }

namespace {

registry::RegistryUse SeamUse(Kiv_REGISTRY_USE use) {
    switch (use) {
    case kKivRegistry_Read: return registry::RegistryUse::Read;
    case kKivRegistry_Change: return registry::RegistryUse::Change;
    case kKivRegistry_Create: break;
    }
    return registry::RegistryUse::Create;
}

} // namespace

CKivRegistryTransaction::CKivRegistryTransaction(Kiv_REGISTRY_USE use)
    : m_isOpen(registry::BeginTransaction(SeamUse(use))) {}

CKivRegistryTransaction::~CKivRegistryTransaction() {
    if (m_isOpen) registry::EndTransaction(false);
}

int CKivRegistryTransaction::Commit() {
    return std::exchange(m_isOpen, false) && registry::EndTransaction(true) ? 1 : 0;
}

int CKivRegistryTransaction::CanUndo() { return registry::kTransactionsUndo ? 1 : 0; }
