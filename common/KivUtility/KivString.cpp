// Strings, string lists and their conversions.
#include "KivString.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr int  kListGrowth = 50; // places that a full list gains
constexpr char kTab        = '\t';

std::size_t UnitLength(const unsigned short* s) {
    std::size_t n = 0;
    while (s[n] != 0) ++n;
    return n;
}

// n bytes of s and a terminator; the empty text for a null s or an n below 1.
std::string Terminated(const char* s, int n) {
    if (s == nullptr || n < 1) return std::string(1, '\0');
    std::string text(static_cast<std::size_t>(n) + 1, '\0');
    std::copy_n(s, n, text.begin());
    return text;
}

std::string Terminated(const char* s) {
    return s == nullptr ? std::string(1, '\0') : std::string(s, std::strlen(s) + 1);
}

std::vector<unsigned short> TerminatedUnits(const unsigned short* s, std::size_t n) {
    std::vector<unsigned short> units(n + 1);
    std::copy_n(s, n, units.begin());
    return units;
}

} // namespace

CKivString::CKivString(const char* s) : m_text(Terminated(s)) {}

CKivString::CKivString(const char* s, int n) : m_text(Terminated(s, n)) {}

CKivString::CKivString(const CKivString& other) : m_text(Terminated(other.m_text.c_str())) {}

CKivString& CKivString::operator=(const CKivString& other) { return *this = other.m_text.c_str(); }

CKivString& CKivString::operator=(const char* s) {
    m_text = Terminated(s);
    return *this;
}

CKivString& CKivString::operator+(const char* s) {
    const std::size_t length = std::strlen(m_text.c_str());
    const std::size_t added  = std::strlen(s);
    std::string       joined(length + added + 1, '\0');
    std::copy_n(m_text.c_str(), length, joined.begin());
    std::copy_n(s, added, joined.begin() + static_cast<std::ptrdiff_t>(length));
    m_text = std::move(joined);
    return *this;
}

CKivString& CKivString::operator+(const CKivString& other) { return *this + other.m_text.c_str(); }

CKivString& CKivString::operator+(long v) { return *this + std::to_string(v).c_str(); }

bool CKivString::operator==(const char* s) const { return std::strcmp(m_text.c_str(), s) == 0; }

// The length up to the first NUL. A terminator that was overwritten does not lengthen the array.
int CKivString::Length() const {
    return static_cast<int>(std::min(std::strlen(m_text.c_str()), m_text.size() - 1));
}

bool CKivString::SetIdxChar(int idx, char c) {
    if (idx < 0 || idx > Length()) return false;
    m_text[static_cast<std::size_t>(idx)] = c;
    return true;
}

bool CKivString::Assign(const char* s, int n) {
    if (n < 0) return false;
    try {
        m_text = Terminated(s, n);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

CKivStringW::CKivStringW(const unsigned short* s)
    : m_units(TerminatedUnits(s, s == nullptr ? 0 : UnitLength(s))) {}

CKivStringW::CKivStringW(const unsigned short* s, int n)
    : m_units(TerminatedUnits(s, s == nullptr || n < 1 ? 0 : static_cast<std::size_t>(n))) {}

CKivStringW::CKivStringW(const CKivStringW& other) : CKivStringW(other.m_units.data()) {}

CKivStringW& CKivStringW::operator=(const CKivStringW& other) { return *this = other.m_units.data(); }

CKivStringW& CKivStringW::operator=(const unsigned short* s) {
    m_units = TerminatedUnits(s, UnitLength(s));
    return *this;
}

CKivStringW& CKivStringW::operator+(const unsigned short* s) {
    std::vector<unsigned short> joined = TerminatedUnits(m_units.data(), UnitLength(m_units.data()));
    joined.insert(joined.end() - 1, s, s + UnitLength(s));
    m_units = std::move(joined);
    return *this;
}

CKivStringW& CKivStringW::operator+(const CKivStringW& other) { return *this + other.m_units.data(); }

bool CKivStringW::operator==(const unsigned short* s) const {
    const unsigned short* mine = m_units.data();
    while (*mine == *s && *mine != 0) {
        ++mine;
        ++s;
    }
    return *mine == *s;
}

bool CKivStringList::Add(const char* s) {
    auto item = std::make_shared<CKivString>(s);
    if (m_count + 1 > m_capacity) {
        auto grown = std::make_shared<Items>(m_items ? *m_items : Items());
        grown->resize(static_cast<std::size_t>(m_capacity) + kListGrowth);
        m_items = std::move(grown);
        m_capacity += kListGrowth;
    }
    (*m_items)[static_cast<std::size_t>(m_count)] = std::move(item);
    ++m_count;
    return true;
}

bool CKivStringList::Remove(int idx) {
    if (idx < 0 || idx >= m_count) return false;
    const auto first = m_items->begin();
    std::move(first + idx + 1, first + m_count, first + idx);
    --m_count;
    (*m_items)[static_cast<std::size_t>(m_count)].reset();
    return true;
}

CKivString& CKivStringList::operator[](int idx) {
    return Holds(idx) ? *(*m_items)[static_cast<std::size_t>(idx)] : m_outOfRange;
}

const CKivString& CKivStringList::operator[](int idx) const {
    return Holds(idx) ? *(*m_items)[static_cast<std::size_t>(idx)] : m_outOfRange;
}

bool CKivStringList::Reset() {
    m_items.reset();
    m_count    = 0;
    m_capacity = 0;
    return true;
}

CKivStringW Convert8BitsTo16BitsString(const CKivString& s) {
    const char*                 text   = s;
    const std::size_t           length = std::strlen(text);
    std::vector<unsigned short> units(length + 1);
    // sign extension, kept: stored 16-bit names have been made this way
    std::transform(text, text + length, units.begin(),
                   [](char c) { return static_cast<unsigned short>(static_cast<signed char>(c)); });
    return {units.data()};
}

CKivString Convert16BitsTo8BitsString(const CKivStringW& s) {
    const unsigned short* units  = s;
    const std::size_t     length = UnitLength(units);
    std::string           text(length, '\0');
    std::transform(units, units + length, text.begin(),
                   [](unsigned short unit) { return static_cast<char>(unit & 0xFF); });
    return {text.data(), static_cast<int>(length)};
}

int BreakTabbedCharLineToStringList(const char* line, CKivStringList& list) {
    const std::string text = line == nullptr ? "" : line; // it may be an item of the list
    list.Reset();
    std::string field;
    bool        fieldStarts = true; // the next character begins a new field
    for (const char c : text) {
        if (c == kTab) {
            // an empty field is the field before it once more, kept: the text is replaced only by the first
            // character of the next field
            list.Add(field.c_str());
            fieldStarts = true;
            continue;
        }
        if (fieldStarts) field.clear();
        fieldStarts = false;
        field.push_back(c);
    }
    if (!fieldStarts) list.Add(field.c_str());
    return list.GetCount();
}
