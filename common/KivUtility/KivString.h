// The library's owning strings (8-bit and 16-bit), the list of strings, and the conversions between them.
//
// Several operators behave unlike other string classes, and callers rely on it: operator+ appends to its
// own left side, a copied list shares its items, and the tab splitter repeats a field at a double tab.
// An object, or a list with all its copies, is used by one thread at a time. Memory that runs out leaves as
// std::bad_alloc and the object as it was, except from Assign.
#ifndef KIVUTILITY_KIVSTRING_H
#define KIVUTILITY_KIVSTRING_H

#include "KivExport.h"

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

// An owning string of 8-bit characters. The text ends at its first NUL; bytes that the counted constructor,
// Assign or SetIdxChar leave behind that are seen through operator const char*() only.
class KIV_API CKivString {
public:
    CKivString() = default;

    // A copy of s. A null s gives the empty string.
    CKivString(const char* s);

    // Copies exactly n bytes, NULs included, and terminates them. A null s, or n below 1, gives the empty
    // string.
    CKivString(const char* s, int n);

    CKivString(const CKivString& other);
    CKivString& operator=(const CKivString& other);
    ~CKivString() = default;

    // Replaces the text. s must not be null; it may point into this string.
    CKivString& operator=(const char* s);

    // Appends to THIS object and returns it; no new string is made. s must not be null; it may point into
    // this string. A number is written in decimal.
    CKivString& operator+(const char* s);
    CKivString& operator+(const CKivString& other);
    CKivString& operator+(long v);
    template <class Number>

    requires std::is_arithmetic_v<Number> CKivString& operator+(Number v) {
        return *this + static_cast<long>(v);
    }

    // Compares byte by byte up to the terminator. s must not be null.
    bool operator==(const char* s) const;

    bool operator==(const CKivString& other) const { return *this == static_cast<const char*>(other); }

    bool operator!=(const char* s) const { return !(*this == s); }

    bool operator!=(const CKivString& other) const { return !(*this == other); }

    // Stores c at idx. An idx equal to the length overwrites the terminator: the text then has one character
    // more, but not a place more, so a later idx may not lie further out. Returns false, and changes
    // nothing, for an idx that is negative or above the length.
    bool SetIdxChar(int idx, char c);

    // Replaces the text by exactly n bytes of s, which may point into this string; a null s gives the empty
    // text. Returns false, and changes nothing, for a negative n or without memory.
    bool Assign(const char* s, int n);

    // The text, NUL-terminated, never null; valid until the string is changed or destroyed.
    operator const char*() const { return m_text.c_str(); }

private:
    // The characters and the place of their terminator, which SetIdxChar may overwrite; the terminator that
    // std::string keeps behind them then still ends the text.
    std::string m_text = std::string(1, '\0');

    int Length() const;
};

// An owning string of 16-bit units, held as unsigned short, ending in a 0 unit.
class KIV_API CKivStringW {
public:
    CKivStringW() = default;

    // A copy of s up to its 0 unit. A null s gives the empty string.
    CKivStringW(const unsigned short* s);

    // Copies exactly n units, zeros included. A null s, or n below 1, gives the empty string.
    CKivStringW(const unsigned short* s, int n);

    CKivStringW(const CKivStringW& other);
    CKivStringW& operator=(const CKivStringW& other);
    ~CKivStringW() = default;

    // Replaces the text. s must not be null; it may point into this string.
    CKivStringW& operator=(const unsigned short* s);

    // Appends to THIS object and returns it. s must not be null; it may point into this string.
    CKivStringW& operator+(const unsigned short* s);
    CKivStringW& operator+(const CKivStringW& other);

    // Compares unit by unit up to the 0 unit. s must not be null.
    bool operator==(const unsigned short* s) const;

    bool operator==(const CKivStringW& other) const { return *this == other.m_units.data(); }

    bool operator!=(const unsigned short* s) const { return !(*this == s); }

    bool operator!=(const CKivStringW& other) const { return !(*this == other); }

    // The text, ending in a 0 unit, never null; valid until the string is changed or destroyed.
    operator const unsigned short*() const { return m_units.data(); }

private:
    std::vector<unsigned short> m_units = std::vector<unsigned short>(1); // the 0 unit is the last one
};

// A list of strings that grows by 50 places at a time.
//
// A copy is SHALLOW: both lists name the same strings, and a text changed through one shows in the other.
// The strings live until the last list that holds them lets go. Callers that use both lists afterwards
// should only read: an Add or Remove in one list may or may not show in the other.
class KIV_API CKivStringList {
public:
    CKivStringList()                                 = default;
    CKivStringList(const CKivStringList&)            = default;
    CKivStringList& operator=(const CKivStringList&) = default;
    ~CKivStringList()                                = default;

    // Appends a copy of s, which must not be null. Always true.
    bool Add(const char* s);

    // Takes the item out and closes the gap; the capacity stays. False for an idx outside the list.
    bool Remove(int idx);

    // The item, valid until it is removed; outside the list, an empty string that the list keeps for that.
    CKivString&       operator[](int idx);
    const CKivString& operator[](int idx) const;

    // Lets go of all items and of the item array. Always true.
    bool Reset();

    // Items in the list.
    int GetCount() const { return m_count; }

    // Places allocated.
    int GetCapacity() const { return m_capacity; }

private:
    using Items = std::vector<std::shared_ptr<CKivString>>;

    int                    m_count    = 0;
    int                    m_capacity = 0;
    std::shared_ptr<Items> m_items; // shared by shallow copies; has m_capacity places
    CKivString             m_outOfRange;

    bool Holds(int idx) const {
        return idx >= 0 && idx < m_count && (*m_items)[static_cast<std::size_t>(idx)];
    }
};

// Each byte becomes one unit by SIGN extension (0xE9 becomes 0xFFE9); no code page takes part.
KIV_API CKivStringW Convert8BitsTo16BitsString(const CKivString& s);

// Each unit becomes its low 8 bits.
KIV_API CKivString Convert16BitsTo8BitsString(const CKivStringW& s);

// Empties the list, splits the line at tabs (code 9) into it, and returns the list's count. A tab at the end
// makes no last item, and a tab right behind another repeats the field before it. A null line gives 0; the
// line may be an item of the list.
KIV_API int BreakTabbedCharLineToStringList(const char* line, CKivStringList& list);

#endif
