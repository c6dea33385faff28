// Texts that are written in UTF-8 and kept in GBK, converted by the compiler, and back while running. No
// character set of a compiler or of a system takes part.
#ifndef KIVUTILITY_GBKTEXT_H
#define KIVUTILITY_GBKTEXT_H

#include "GbkCharacters.h"

#include <array>
#include <cstddef>
#include <string>

namespace kiv {

constexpr bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

// A string literal as a template argument.
template <std::size_t N> struct Literal {
    char bytes[N];

    consteval Literal(const char (&text)[N]) { std::ranges::copy(text, bytes); }
};

// The character of three bytes of UTF-8, as all in the table are.
constexpr const GbkCharacter& CharacterOfUtf8(const char* utf8) {
    if ((utf8[0] & 0xF0) != 0xE0) throw "a character that UTF-8 writes in two or four bytes";
    const int   codePoint = (utf8[0] & 0x0F) << 12 | (utf8[1] & 0x3F) << 6 | (utf8[2] & 0x3F);
    const auto* character = std::ranges::lower_bound(kGbkCharacters, codePoint, {}, &GbkCharacter::codePoint);
    if (character == std::end(kGbkCharacters) || character->codePoint != codePoint)
        throw "a character that is missing in kGbkCharacters";
    return *character;
}

// The literal in GBK, with as many zeros behind it as UTF-8 needs bytes more.
template <std::size_t N> constexpr std::array<char, N> ToGbk(const Literal<N>& utf8) {
    std::array<char, N> gbk{};
    auto                to = gbk.begin();
    for (std::size_t from = 0; from < N;) {
        if (IsAscii(utf8.bytes[from])) {
            *to++ = utf8.bytes[from++];
            continue;
        }
        const std::uint16_t code = CharacterOfUtf8(&utf8.bytes[from]).gbk;
        *to++                    = static_cast<char>(code >> 8);
        *to++                    = static_cast<char>(code & 0xFF);
        from += 3;
    }
    return gbk;
}

template <Literal Utf8> inline constexpr auto kGbk = ToGbk(Utf8);

// "text"_gbk is the text in GBK, as a constant that lives as long as the program.
template <Literal Utf8> consteval const char* operator""_gbk() { return kGbk<Utf8>.data(); }

// The code point that GBK writes as `lead` and `trail`; 0 for none of the table.
constexpr char16_t CodePointOfGbk(char lead, char trail) {
    const int code = static_cast<unsigned char>(lead) << 8 | static_cast<unsigned char>(trail);
    for (const GbkCharacter& character : kGbkCharacters) {
        if (character.gbk == code) return character.codePoint;
    }
    return 0;
}

// Whether the text is made of ASCII and characters of the table.
constexpr bool IsGbk(const char* text) {
    while (*text != '\0') {
        if (!IsAscii(*text) && CodePointOfGbk(text[0], text[1]) == 0) return false;
        text += IsAscii(*text) ? 1 : 2;
    }
    return true;
}

// The text in UTF-8. IsGbk(gbk) must hold.
inline std::string GbkToUtf8(const char* gbk) {
    std::string utf8;
    while (*gbk != '\0') {
        if (IsAscii(*gbk)) {
            utf8 += *gbk++;
            continue;
        }
        const int codePoint = CodePointOfGbk(gbk[0], gbk[1]);
        for (const int byte :
             {0xE0 | codePoint >> 12, 0x80 | (codePoint >> 6 & 0x3F), 0x80 | (codePoint & 0x3F)})
            utf8 += static_cast<char>(byte);
        gbk += 2;
    }
    return utf8;
}

} // namespace kiv

#endif
