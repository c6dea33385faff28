// Reads the fields of a header that lies in memory, most significant bit first, with Exp-Golomb codes.
#ifndef KIVUTILITY_HEADERBITS_H
#define KIVUTILITY_HEADERBITS_H

#include "ByteScanner.h"

namespace kiv {

// A field that the bytes do not hold wholly is 0, and so is every one behind it: ask Ok() before believing
// what was read. The bytes must outlive the reader. One thread at a time.
class HeaderBits {
public:
    explicit HeaderBits(ByteSpan bytes) : m_bytes(bytes) {}

    // The next n bits, n 1..32.
    std::uint32_t Get(unsigned n);

    bool Flag() { return Get(1) != 0; }

    void Skip(unsigned n);

    // ue(v) and se(v), ISO/IEC 14496-10, 9.1. A code longer than 63 bits is none and fails as the end does.
    std::uint32_t Unsigned();
    std::int32_t  Signed();

    // Whether everything asked for was there.
    bool Ok() const { return m_ok; }

private:
    ByteSpan    m_bytes;
    std::size_t m_position = 0; // in bits
    bool        m_ok       = true;

    std::size_t Left() const { return m_bytes.size() * 8 - m_position; }

    bool Take(unsigned n);
};

} // namespace kiv

#endif
