// Media URLs: one function an element of their syntax.
#include "KivUrl.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

namespace {

using Text = std::string_view;

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr bool IsAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// RFC 3986, 3.3, but for percent-encoding.
constexpr bool IsPchar(char c) {
    return IsAlpha(c) || IsDigit(c) || (c != '\0' && Text("-._~!$&'()*+,;=:@").find(c) != Text::npos);
}

constexpr bool IsHostChar(char c) { return IsAlpha(c) || IsDigit(c) || c == '-' || c == '.' || c == '_'; }

std::optional<unsigned> HexValue(char c) {
    if (IsDigit(c)) return static_cast<unsigned>(c - '0');
    const char lower = static_cast<char>(c | 0x20);
    if (lower < 'a' || lower > 'f') return std::nullopt;
    return static_cast<unsigned>(lower - 'a' + 10);
}

// The byte that "%XX" at the front of the text stands for.
std::optional<char> PercentDecoded(Text text) {
    if (text.size() < 3 || text[0] != '%') return std::nullopt;
    const auto high = HexValue(text[1]), low = HexValue(text[2]);
    if (!high || !low) return std::nullopt;
    return static_cast<char>(*high << 4 | *low);
}

// A text in the field of a record, whose remaining bytes are and stay zero.
template <std::size_t N> class Field {
public:
    explicit Field(char (&field)[N]) : m_field(field) {}

    // False where there is no room for it and a terminator.
    bool Put(char c) {
        if (m_length + 1 >= N) return false;
        m_field[m_length++] = c;
        return true;
    }

    bool Put(Text text) {
        return std::ranges::all_of(text, [this](char c) { return Put(c); });
    }

private:
    char (&m_field)[N];
    std::size_t m_length = 0;
};

// The part of `rest` in front of `delimiter`, which is taken away with it; nothing where there is none.
std::optional<Text> TakeUpTo(Text& rest, Text delimiter) {
    const std::size_t at = rest.find(delimiter);
    if (at == Text::npos) return std::nullopt;
    const Text part = rest.substr(0, at);
    rest.remove_prefix(at + delimiter.size());
    return part;
}

bool ParseProtocol(Text name, Kiv_URL_KEY& key) {
    char       spelt[sizeof Kiv_FILE_KEY::protocolName] = "";
    Field      field(spelt);
    const auto put  = [&](char c) { return field.Put(c == '+' ? '/' : c); };
    const bool fits = std::ranges::all_of(name, put);
    key.protocol    = KivConvertProtocolNameToId(spelt);
    return fits && key.protocol != kKivProt_Unknown;
}

// "d.d.d.d", each 0 to 255 and without zeros in front.
bool IsIpv4(Text text) {
    int numbers = 0;
    while (true) {
        const Text number = text.substr(0, text.find('.'));
        if (number.empty() || number.size() > 3 || !std::ranges::all_of(number, IsDigit)) return false;
        if (number.size() > 1 && number[0] == '0') return false;
        int value = 0;
        for (const char c : number) value = value * 10 + (c - '0');
        if (value > 255) return false;
        ++numbers;
        if (number.size() == text.size()) return numbers == 4;
        text.remove_prefix(number.size() + 1);
    }
}

// The groups of 16 bits that a part of an IPv6 address without "::" has, which may end in an IPv4 address;
// nothing where it is no such part. The empty part has none.
std::optional<int> Ipv6Groups(Text text, bool mayEndInIpv4) {
    int groups = 0;
    while (!text.empty()) {
        const Text group = text.substr(0, text.find(':'));
        if (mayEndInIpv4 && group.size() == text.size() && IsIpv4(group)) return groups + 2;
        const bool isHex = std::ranges::all_of(group, [](char c) { return HexValue(c).has_value(); });
        if (group.empty() || group.size() > 4 || !isHex) return std::nullopt;
        ++groups;
        if (group.size() == text.size()) break;
        text.remove_prefix(group.size() + 1);
        if (text.empty()) return std::nullopt; // a colon at the end
    }
    return groups;
}

// RFC 3986, IPv6address: eight groups, of which one "::" stands for one or more that are zero.
bool IsIpv6(Text text) {
    const std::size_t gap = text.find("::");
    if (gap == Text::npos) return Ipv6Groups(text, true) == 8;
    const auto before = Ipv6Groups(text.substr(0, gap), false);
    const auto behind = Ipv6Groups(text.substr(gap + 2), true);
    return before && behind && *before + *behind <= 7;
}

bool ParsePort(Text text, Kiv_URL_KEY& key) {
    std::uint32_t port = 0;
    if (text.empty() || text.size() > 5 || !std::ranges::all_of(text, IsDigit)) return false;
    for (const char c : text) port = port * 10 + static_cast<std::uint32_t>(c - '0');
    key.port = static_cast<std::uint16_t>(port);
    return port >= 1 && port <= 0xFFFF;
}

bool ParseAuthority(Text text, Kiv_URL_KEY& key) {
    Text host;
    if (text.starts_with('[')) {
        text.remove_prefix(1);
        const auto address = TakeUpTo(text, "]");
        if (!address || !IsIpv6(*address)) return false;
        host = *address;
    } else {
        host = text.substr(0, text.find(':'));
        if (host.empty() || !std::ranges::all_of(host, IsHostChar)) return false;
        text.remove_prefix(host.size());
    }
    if (!Field(key.host).Put(host)) return false;
    return text.empty() || (text.starts_with(':') && ParsePort(text.substr(1), key));
}

bool ParseFileSystem(Text letter, Kiv_URL_KEY& key) {
    if (letter.size() != 1 || !IsAlpha(letter[0])) return false;
    key.fileSystem = KivConvertCharNameToSubSystemId(letter[0]);
    return key.fileSystem != kKivSys_Unknown;
}

// Whether the name of a file or folder may have the byte. What a path names must not depend on who reads it.
bool MayBeInName(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte != 0x7F && c != '/' && c != '\\';
}

// The slash in front of the segment is part of it.
bool ParseSegment(Text segment, Field<sizeof Kiv_URL_KEY::path>& path) {
    constexpr std::size_t kDots  = 2; // a longer run of them is a name as any other
    std::size_t           length = 0;
    bool                  isDots = true;
    if (!path.Put('/')) return false;
    while (!segment.empty()) {
        const auto decoded = PercentDecoded(segment);
        const char c       = decoded.value_or(segment[0]);
        if (decoded ? !MayBeInName(c) : !IsPchar(c)) return false;
        if (!path.Put(c)) return false;
        segment.remove_prefix(decoded ? 3 : 1);
        isDots = isDots && c == '.';
        ++length;
    }
    return length > (isDots ? kDots : 0);
}

bool ParsePath(Text text, Kiv_URL_KEY& key) {
    Field path(key.path);
    if (!text.starts_with('/')) return false;
    while (!text.empty()) {
        const Text segment = text.substr(1, text.find('/', 1) - 1);
        if (!ParseSegment(segment, path)) return false;
        text.remove_prefix(1 + segment.size());
    }
    return true;
}

bool ParseQuery(Text text, Kiv_URL_KEY& key) {
    Field query(key.query);
    while (!text.empty()) {
        const std::size_t taken = PercentDecoded(text) ? 3 : 1;
        if (taken == 1 && !IsPchar(text[0]) && text[0] != '/' && text[0] != '?') return false;
        if (!query.Put(text.substr(0, taken))) return false;
        text.remove_prefix(taken);
    }
    return true;
}

} // namespace

int KivParseKivUrl(const char* url, Kiv_URL_KEY& key) {
    if (url == nullptr) return 0;
    Text        rest = url;
    Kiv_URL_KEY parsed{};
    const auto  protocol  = TakeUpTo(rest, "://");
    const auto  authority = TakeUpTo(rest, "/");
    const auto  letter    = TakeUpTo(rest, ":");
    if (!protocol || !authority || !letter) return 0;
    const Text path = rest.substr(0, rest.find('?'));
    rest.remove_prefix(std::min(path.size() + 1, rest.size()));
    if (!ParseProtocol(*protocol, parsed) || !ParseAuthority(*authority, parsed)
        || !ParseFileSystem(*letter, parsed) || !ParsePath(path, parsed) || !ParseQuery(rest, parsed)) {
        return 0;
    }
    key = parsed;
    return 1;
}

int KivIsIpv4Address(const char* text) { return text != nullptr && IsIpv4(text) ? 1 : 0; }

int KivParseKivUrl(const char* url, Kiv_FILE_KEY& key) {
    Kiv_URL_KEY parsed;
    return KivParseKivUrl(url, parsed) == 1 ? KivFileUtil::setFileKey(key, parsed) : 0;
}

int KivFileUtil::setFileKey(Kiv_FILE_KEY& key, Kiv_SUBSYSTEM fileSystem, const char* path, const char* host,
                            std::uint16_t port, Kiv_STM_PROTOCOL_ID protocol) {
    if (path == nullptr || host == nullptr) return 0;
    const bool isIpv6    = Text(host).find(':') != Text::npos;
    char       behind[8] = ""; // ":" and the port
    if (port != 0) std::snprintf(behind, sizeof behind, ":%u", static_cast<unsigned>(port));

    Kiv_FILE_KEY filled{};
    Field        hostField(filled.host);
    filled.fileSystem = static_cast<std::uint32_t>(fileSystem);
    const bool fits = Field(filled.path).Put(path) && hostField.Put(isIpv6 ? "[" : "") && hostField.Put(host)
                      && hostField.Put(isIpv6 ? "]" : "") && hostField.Put(behind)
                      && Field(filled.protocolName).Put(Text(KivConvertProtocolIdToName(protocol)));
    if (!fits) return 0;
    key = filled;
    return 1;
}

int KivFileUtil::setFileKey(Kiv_FILE_KEY& key, const Kiv_URL_KEY& url) {
    return setFileKey(key, url.fileSystem, url.path, url.host, url.port, url.protocol);
}
