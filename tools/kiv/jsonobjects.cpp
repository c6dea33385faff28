// Finding where JSON objects begin and end; the JSON library does the rest.
#include "jsonobjects.h"

#include "names.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string_view>

namespace tool {

namespace {

constexpr std::size_t kBlockBytes = 1 << 16;

std::uint64_t LinesIn(std::string_view text) {
    return static_cast<std::uint64_t>(std::ranges::count(text, '\n'));
}

// What the JSON library complains about, without its own names and its own count of lines.
std::string ReasonOf(const nlohmann::json::exception& error) {
    std::string_view reason = error.what();
    for (const std::string_view end : {"] ", ": "}) {
        const std::size_t at = reason.find(end);
        if (at != std::string_view::npos) reason.remove_prefix(at + end.size());
    }
    return ShownText(reason);
}

// Refuses a name that an object has twice, of which the JSON library would keep the last.
class NamesOnce {
public:
    bool operator()(int depth, nlohmann::json::parse_event_t event, const nlohmann::json& parsed) {
        const auto at = static_cast<std::size_t>(depth);
        if (event == nlohmann::json::parse_event_t::object_start) {
            m_names.resize(at + 2); // those of an object come one deeper than its start
            m_names[at + 1].clear();
        } else if (event == nlohmann::json::parse_event_t::key && !m_names[at].insert(parsed).second) {
            throw std::invalid_argument("the name " + parsed.dump(-1, ' ', true) + " is given twice");
        }
        return true;
    }

private:
    std::vector<std::set<std::string>> m_names; // of the objects around, by their depth
};

} // namespace

std::optional<nlohmann::json> JsonObjects::Next() {
    ++m_number;
    const bool isThere = GoToObject();
    m_start            = m_line;
    if (!isThere) return {};
    if (Peek() != '{') Fail("bad JSON: an object was expected here");
    return Parse(TakeObject());
}

void JsonObjects::Fail(const std::string& reason) const {
    throw std::runtime_error(m_source.Shown() + ": record " + std::to_string(m_number) + " (line "
                             + std::to_string(m_start) + "): " + reason);
}

int JsonObjects::Peek() {
    if (m_at == m_block.size()) {
        m_block.resize(kBlockBytes);
        m_block.resize(m_source.Read(m_block));
        m_at = 0;
    }
    return m_block.empty() ? kEnd : m_block[m_at];
}

int JsonObjects::Take() {
    const int byte = Peek();
    if (byte != kEnd) ++m_at;
    if (byte == '\n') ++m_line;
    return byte;
}

int JsonObjects::PeekBehindSpace() {
    const auto isSpace = [](int byte) { return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n'; };
    while (isSpace(Peek())) Take();
    return Peek();
}

// Some editors put one in front of UTF-8.
void JsonObjects::SkipByteOrderMark() {
    if (Peek() != 0xEF) return;
    for (const int byte : {0xEF, 0xBB, 0xBF})
        if (Peek() == byte) Take();
}

// Goes to where the next object should begin; false at the end of the input.
bool JsonObjects::GoToObject() {
    if (m_number == 1) SkipByteOrderMark();
    const int next = PeekBehindSpace();
    if (m_number == 1 && next == '[') return EnterArray();
    return m_isArray ? GoToElement() : next != kEnd;
}

bool JsonObjects::EnterArray() {
    m_isArray = true;
    Take();
    return PeekBehindSpace() == ']' ? EndArray() : true;
}

bool JsonObjects::GoToElement() {
    if (Peek() == ']') return EndArray();
    m_start = m_line;
    if (Peek() != ',') Fail("bad JSON: , or ] was expected here");
    Take();
    PeekBehindSpace();
    return true;
}

bool JsonObjects::EndArray() {
    Take();
    m_start = m_line;
    if (PeekBehindSpace() != kEnd) Fail("bad JSON: nothing may follow the array");
    return false;
}

// The object's text, up to the brace that ends it; what has no such brace up to the end of the input, which
// the parser then complains about.
std::string JsonObjects::TakeObject() {
    std::string text;
    int         depth    = 0;
    bool        inString = false;
    do {
        const int byte = Take();
        if (byte == kEnd) break;
        text += static_cast<char>(byte);
        if (text.size() > m_mostBytes)
            Fail("the object does not end within " + std::to_string(m_mostBytes) + " bytes");
        if (byte == '"') inString = !inString;
        if (inString && byte == '\\' && Peek() != kEnd) text += static_cast<char>(Take());
        if (!inString) depth += byte == '{' ? 1 : byte == '}' ? -1 : 0;
    } while (depth > 0);
    return text;
}

nlohmann::json JsonObjects::Parse(const std::string& text) {
    try {
        return nlohmann::json::parse(text, NamesOnce());
    } catch (const nlohmann::json::parse_error& error) {
        m_start += LinesIn(std::string_view(text).substr(0, error.byte == 0 ? 0 : error.byte - 1));
        Fail("bad JSON: " + ReasonOf(error));
    } catch (const nlohmann::json::exception& error) { // a number beyond any that it knows
        Fail("bad JSON: " + ReasonOf(error));
    } catch (const std::invalid_argument& error) {
        Fail(error.what());
    }
}

} // namespace tool
