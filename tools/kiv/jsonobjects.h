// Reading JSON objects one after another, with the line that each stands in.
#ifndef KIVTOOL_JSONOBJECTS_H
#define KIVTOOL_JSONOBJECTS_H

#include "bytesource.h"

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tool {

// The objects of an input that holds them one after another, in lines of their own or not, or in one array.
// No more than one of them is in memory.
class JsonObjects {
public:
    static constexpr std::size_t kMostBytes = 1 << 20;

    // source: must outlive this. mostBytes: that one object may have.
    explicit JsonObjects(ByteSource& source, std::size_t mostBytes = kMostBytes)
        : m_source(source), m_mostBytes(mostBytes) {}

    // The next object; nothing at the end, beyond which nobody asks. Throws as Fail() does where the input is
    // not what it should be, also where an object has a name twice.
    std::optional<nlohmann::json> Next();

    // Throws: "INPUT: record N (line L): REASON", of the object that was read last.
    [[noreturn]] void Fail(const std::string& reason) const;

private:
    static constexpr int kEnd = -1;

    ByteSource&                m_source;
    std::size_t                m_mostBytes;
    std::vector<unsigned char> m_block;
    std::size_t                m_at      = 0; // in the block
    std::uint64_t              m_line    = 1; // that the next byte stands in
    std::uint64_t              m_number  = 0; // of the object being read
    std::uint64_t              m_start   = 1; // the line that it begins in
    bool                       m_isArray = false;

    int            Peek();
    int            Take();
    int            PeekBehindSpace();
    void           SkipByteOrderMark();
    bool           GoToObject();
    bool           EnterArray();
    bool           GoToElement();
    bool           EndArray();
    std::string    TakeObject();
    nlohmann::json Parse(const std::string& text);
};

} // namespace tool

#endif
