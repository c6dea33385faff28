// Bytes at offsets of a bit stream.
#include "StreamReader.h"

#include <algorithm>

namespace kiv {

StreamReader::StreamReader(CKivBitStream& stream)
    : m_stream(stream),
      m_window(stream),
      m_origin(m_window.Offset()),
      m_size(stream.GetFileSize() - std::min<std::uint64_t>(m_origin, stream.GetFileSize())) {}

ByteSpan StreamReader::At(std::uint64_t offset, std::size_t n) {
    if (offset > m_size || n > m_size - offset) return {};
    const std::uint64_t here  = m_window.Offset();
    const std::uint64_t there = m_origin + offset;
    if (there >= here && there - here < std::min(m_window.Bytes().size(), kMost)) {
        m_stream.SkipBits(static_cast<unsigned long>((there - here) * 8));
    } else {
        m_stream.BytesJump(there);
    }
    if (!m_window.Reach(n)) return {};
    const ByteSpan bytes = m_window.Bytes();
    // a file that has grown since it was opened shows no more than it had
    return bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), m_size - offset)));
}

} // namespace kiv
