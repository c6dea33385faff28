// Bulk access to a bit stream.
#include "BitStreamWindow.h"

namespace kiv {

ByteSpan BitStreamWindow::Bytes() const {
    const unsigned long long first = m_stream.m_bitPosition / 8;
    if (first >= m_stream.m_validBytes) return {};
    return {m_stream.m_buffer + first, static_cast<std::size_t>(m_stream.m_validBytes - first)};
}

std::uint64_t BitStreamWindow::Offset() const {
    const bool inPlace = m_stream.m_source == CKivBitStream::Source::Memory; // a jump leaves its count behind
    return (inPlace ? m_stream.m_bitPosition : m_stream.GetOutBitCount()) / 8;
}

bool BitStreamWindow::IsByteAligned() const { return m_stream.m_bitPosition % 8 == 0; }

bool BitStreamWindow::Reach(std::size_t n) {
    if (Bytes().size() >= n) return true;
    if (m_stream.m_source != CKivBitStream::Source::File || m_stream.BitsEOF() != 0) return false;
    m_stream.BytesJump(m_stream.GetOutBitCount() / 8);
    (void)m_stream.ShowBits(8); // the first access fills the buffer
    return Bytes().size() >= n;
}

unsigned long BitStreamWindow::Peek(unsigned skip, unsigned char n) {
    return Reach((skip + n + 7) / 8) ? m_stream.ShowBits(n, static_cast<unsigned short>(skip)) : 0;
}

bool BitStreamWindow::SeekStartCode(std::uint32_t code, unsigned char codeBits, std::size_t& budget) {
    const auto last = static_cast<std::uint8_t>(code & 0xFF);
    budget -= SkipToStartCode(codeBits, budget, [&](std::uint8_t byte) { return byte == last; });
    return budget > 0 && m_stream.BitsEOF() == 0;
}

bool BitStreamWindow::SeekByte(std::uint8_t value, std::size_t& budget) {
    budget -= SkipTo(1, budget, [&](ByteSpan bytes, std::size_t positions) {
        return FindByte(bytes.first(positions), 0, value);
    });
    return budget > 0 && m_stream.BitsEOF() == 0;
}

} // namespace kiv
