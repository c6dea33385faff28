// Hexadecimal, base64 and scrambling.
#include "KivEncoding.h"

#include <array>
#include <climits>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::string_view kHexDigits    = "0123456789abcdef";
constexpr std::string_view kBase64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char             kPadding      = '=';
constexpr std::uint8_t     kNoDigit      = 0xFF;

using Values = std::array<std::uint8_t, 256>;

constexpr std::size_t Index(char c) { return static_cast<unsigned char>(c); }

// The value of each character as a digit.
constexpr Values ValuesOf(std::string_view digits) {
    Values values{};
    values.fill(kNoDigit);
    for (std::size_t i = 0; i < digits.size(); ++i) values[Index(digits[i])] = static_cast<std::uint8_t>(i);
    return values;
}

constexpr Values kHexValues = [] {
    Values values = ValuesOf(kHexDigits);
    for (char c = 'A'; c <= 'F'; ++c) values[Index(c)] = values[Index(static_cast<char>(c - 'A' + 'a'))];
    return values;
}();

constexpr Values kBase64Values = ValuesOf(kBase64Digits);

std::string HexOf(Bytes bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const unsigned char byte : bytes) {
        text += kHexDigits[byte >> 4];
        text += kHexDigits[byte & 15];
    }
    return text;
}

std::optional<std::vector<unsigned char>> BytesOfHex(std::string_view text) {
    if (text.size() % 2 != 0) return std::nullopt;
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 2);
    for (; !text.empty(); text.remove_prefix(2)) {
        const std::uint8_t high = kHexValues[Index(text[0])], low = kHexValues[Index(text[1])];
        if (high == kNoDigit || low == kNoDigit) return std::nullopt;
        bytes.push_back(static_cast<unsigned char>(high << 4 | low));
    }
    return bytes;
}

std::string Base64Of(Bytes bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (; !bytes.empty(); bytes = bytes.subspan(std::min<std::size_t>(3, bytes.size()))) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < bytes.size() ? bytes[i] : 0U);
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= bytes.size() ? kBase64Digits[group >> (18 - 6 * i) & 63] : kPadding;
        }
    }
    return text;
}

std::optional<std::vector<unsigned char>> BytesOfBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (; !text.empty(); text.remove_prefix(4)) {
        // only the last group is padded, and by two characters at most
        std::size_t digits = 4;
        while (text.size() == 4 && digits > 2 && text[digits - 1] == kPadding) --digits;
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            const std::uint8_t value = i < digits ? kBase64Values[Index(text[i])] : std::uint8_t{0};
            if (value == kNoDigit) return std::nullopt;
            group = group << 6 | value;
        }
        const std::size_t size = digits - 1;
        if ((group & (0xFFFFFFU >> (8 * size))) != 0) return std::nullopt; // bits of no byte
        for (std::size_t i = 0; i < size; ++i)
            bytes.push_back(static_cast<unsigned char>(group >> (16 - 8 * i)));
    }
    return bytes;
}

template <class Operation> int Try(Operation operation) {
    try {
        return operation() ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

// encode: from bytes to std::string.
template <class Encode>
int EncodeInto(CKivString& text, const void* bytes, unsigned long size, Encode encode) {
    constexpr unsigned long kMostBytes = INT_MAX / 2; // so that a string can count the text
    if (size > kMostBytes || (bytes == nullptr && size != 0)) return 0;
    return Try([&] {
        const std::string encoded = encode(Bytes(static_cast<const unsigned char*>(bytes), size));
        return text.Assign(encoded.data(), static_cast<int>(encoded.size()));
    });
}

// decode: from text to bytes, or nothing.
template <class Decode> int DecodeInto(CKivDynaBuffer& bytes, const char* text, Decode decode) {
    if (text == nullptr) return 0;
    return Try([&] {
        const auto decoded = decode(std::string_view(text));
        return decoded && bytes.SetBuffer(decoded->data(), static_cast<unsigned long>(decoded->size()));
    });
}

std::uint32_t Fnv1a(std::string_view text) {
    std::uint32_t hash = 2166136261U;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    return hash;
}

} // namespace

int KivEncodeHex(const void* bytes, unsigned long size, CKivString& text) {
    return EncodeInto(text, bytes, size, HexOf);
}

int KivDecodeHex(const char* text, CKivDynaBuffer& bytes) { return DecodeInto(bytes, text, BytesOfHex); }

int KivEncodeBase64(const void* bytes, unsigned long size, CKivString& text) {
    return EncodeInto(text, bytes, size, Base64Of);
}

int KivDecodeBase64(const char* text, CKivDynaBuffer& bytes) {
    return DecodeInto(bytes, text, BytesOfBase64);
}

int KivScramble(CKivDynaBuffer& bytes, const char* key) {
    if (key == nullptr || *key == '\0') return 0;
    std::uint32_t x = Fnv1a(key);
    if (x == 0) x = 1; // 0 would stay 0
    const auto size = static_cast<unsigned long>(bytes.GetSize());
    for (unsigned long i = 0; i < size; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        bytes.SetByte(i, static_cast<unsigned char>(bytes[i] ^ x >> 24));
    }
    return 1;
}

// Twice the same exclusive or is none.
int KivUnscramble(CKivDynaBuffer& bytes, const char* key) { return KivScramble(bytes, key); }
