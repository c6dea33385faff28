// Names of files as text of a terminal and as JSON.
#include "names.h"

#include "hexadecimal.h"
#include "platform/paths.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <ranges>

namespace tool {

namespace {

struct Character {
    char32_t    code;
    std::size_t bytes;
};

// The character at the start of `text`; nothing where that is no UTF-8 (RFC 3629).
std::optional<Character> FirstCharacter(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    if (byte(0) < 0x80) return Character{byte(0), 1};
    const std::size_t bytes = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < bytes) return {};
    char32_t code = byte(0) & (0x7Fu >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {};
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    // spelt with more bytes than it needs, half of a UTF-16 pair, beyond Unicode
    constexpr std::array<char32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kLeast[bytes] || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF) return {};
    return Character{code, bytes};
}

struct CodeRange {
    char32_t first, last;
};

// What moves the cursor, ends a line or turns the order of the text around.
constexpr CodeRange kHarmful[] = {
    {0x00, 0x1F}, {0x7F, 0x9F}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF},
};

// What terminals draw two columns wide (Unicode, East Asian Width, the W and F blocks).
constexpr CodeRange kWide[] = {
    {0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD},
};

template <std::size_t N> bool IsIn(const CodeRange (&ranges)[N], char32_t code) {
    return std::ranges::any_of(ranges,
                               [&](CodeRange range) { return range.first <= code && code <= range.last; });
}

bool IsHarmless(const std::optional<Character>& character) {
    constexpr bool kBackslashSeparates = std::filesystem::path::preferred_separator == '\\';
    return character && !IsIn(kHarmful, character->code) && (kBackslashSeparates || character->code != '\\');
}

std::string Escaped(char byte) {
    switch (byte) {
    case '\n': return "\\n";
    case '\r': return "\\r";
    case '\t': return "\\t";
    case '\\': return "\\\\";
    default: break;
    }
    char text[8];
    std::snprintf(text, sizeof text, "\\x%02x", static_cast<std::uint8_t>(byte));
    return text;
}

// Calls each(bytes, character) for every character, and for every byte that belongs to none.
template <class Each> void EachCharacter(std::string_view text, Each each) {
    while (!text.empty()) {
        const std::optional<Character> character = FirstCharacter(text);
        const std::size_t              bytes     = character ? character->bytes : 1;
        each(text.substr(0, bytes), character);
        text.remove_prefix(bytes);
    }
}

int ColumnsOf(const std::optional<Character>& character) {
    return character && IsIn(kWide, character->code) ? 2 : 1;
}

} // namespace

bool IsUtf8(std::string_view text) {
    bool is = true;
    EachCharacter(text, [&](std::string_view, const auto& character) { is = is && character.has_value(); });
    return is;
}

std::string Shown(const std::filesystem::path& path) { return ShownText(platform::ToUtf8(path)); }

std::string ShownText(std::string_view text) {
    std::string shown;
    EachCharacter(text, [&](std::string_view bytes, const auto& character) {
        if (IsHarmless(character))
            shown += bytes;
        else
            for (const char byte : bytes) shown += Escaped(byte);
    });
    return shown;
}

std::string LowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

int Columns(std::string_view shown) {
    int columns = 0;
    EachCharacter(shown, [&](std::string_view, const auto& character) { columns += ColumnsOf(character); });
    return columns;
}

std::string CutToFit(std::string_view shown, int columns) {
    int tooMany = Columns(shown) - columns;
    if (tooMany <= 0) return std::string(shown);
    constexpr std::string_view kCut = "...";
    tooMany += static_cast<int>(kCut.size());
    std::string tail(kCut);
    EachCharacter(shown, [&](std::string_view bytes, const auto& character) {
        if (tooMany <= 0) tail += bytes;
        tooMany -= ColumnsOf(character);
    });
    return tail;
}

void PutName(Json& object, const std::string& key, const std::filesystem::path& path) {
    const std::string name = platform::ToUtf8(path);
    object[key]            = name;
    if (!IsUtf8(name)) object[key + "_bytes"] = Hexadecimal(name);
}

std::string JsonLine(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace tool
