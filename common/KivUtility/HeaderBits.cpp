// Header fields, on the bit fields of byte arrays.
#include "HeaderBits.h"

#include "KivBitStream.h"

#include <algorithm>
#include <bit>

namespace kiv {

// Whether n bits are left, which are then passed.
bool HeaderBits::Take(unsigned n) {
    m_ok = m_ok && n <= Left();
    if (m_ok) m_position += n;
    return m_ok;
}

std::uint32_t HeaderBits::Get(unsigned n) {
    if (!Take(n)) return 0;
    return static_cast<std::uint32_t>(KivGetBufferBits(m_bytes.data(), m_position - n, static_cast<int>(n)));
}

void HeaderBits::Skip(unsigned n) { (void)Take(n); }

std::uint32_t HeaderBits::Unsigned() {
    const auto look  = static_cast<unsigned>(std::min<std::size_t>(Left(), 32));
    unsigned   zeros = look;
    if (m_ok && look != 0) {
        const auto next = KivGetBufferBits(m_bytes.data(), m_position, static_cast<int>(look));
        zeros = static_cast<unsigned>(std::countl_zero(static_cast<std::uint32_t>(next << (32 - look))));
    }
    if (zeros >= look) m_ok = false;
    Skip(zeros);
    const std::uint32_t code = Get(zeros + 1); // begins with a one
    return m_ok ? code - 1 : 0;
}

std::int32_t HeaderBits::Signed() {
    const std::uint32_t code  = Unsigned();
    const auto          value = static_cast<std::int32_t>(code / 2 + code % 2);
    return code % 2 != 0 ? value : -value;
}

} // namespace kiv
