// The start codes of a stream, piece by piece.
#include "StartCodes.h"

#include <algorithm>

namespace kiv {

std::optional<StartCode> StartCodes::Next() {
    constexpr std::size_t kPrefixBytes = StartCode::kBytes - 1;
    while (m_next < m_end && m_end - m_next >= StartCode::kBytes) {
        ByteSpan bytes = m_reader.At(m_next, StartCode::kBytes);
        if (bytes.empty()) break;
        bytes = bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), m_end - m_next)));
        const std::size_t found = FindStartCode(bytes, 0);
        if (found < bytes.size() - kPrefixBytes) {
            const std::uint64_t at = m_next + found;
            m_next                 = at + kPrefixBytes;
            return StartCode{at, bytes[found + kPrefixBytes]};
        }
        m_next +=
            bytes.size() - kPrefixBytes; // a code that the end of the piece cuts is the next one's first
    }
    return std::nullopt;
}

} // namespace kiv
