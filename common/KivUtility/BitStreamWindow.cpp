// Bulk access to a bit stream.
#include "BitStreamWindow.h"

#include <algorithm>

namespace kiv {

ByteSpan BitStreamWindow::Bytes() const {
    const unsigned long long first = m_stream.m_bitPosition / 8;
    if (first >= m_stream.m_validBytes) return {};
    return {m_stream.m_buffer + first, static_cast<std::size_t>(m_stream.m_validBytes - first)};
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

// Calls `search` on the buffered bytes with the number of positions at which `unitBytes` bytes are visible,
// for its index of a hit among them or that number, and moves there; refills until there is a hit, maxBytes
// were skipped, or the stream ended.
template <class Search>
std::size_t BitStreamWindow::SkipTo(std::size_t unitBytes, std::size_t maxBytes, Search search) {
    std::size_t skipped = 0;
    while (m_stream.BitsEOF() == 0 && skipped < maxBytes) {
        (void)m_stream.ShowBits(static_cast<unsigned char>(unitBytes * 8)); // refills as a step would
        const ByteSpan bytes = Bytes();
        if (m_stream.BitsEOF() != 0 || bytes.size() < unitBytes) break;
        const std::size_t positions = std::min(bytes.size() - (unitBytes - 1), maxBytes - skipped);
        const std::size_t step      = std::min(search(bytes, positions), positions);
        m_stream.SkipBits(static_cast<unsigned long>(step * 8));
        skipped += step;
        if (step < positions) break;
    }
    return skipped;
}

std::size_t BitStreamWindow::SkipToStartCode(unsigned char codeBits, std::size_t maxBytes) {
    return SkipTo(codeBits / 8U, maxBytes, [](ByteSpan bytes, std::size_t positions) {
        return FindStartCode(bytes.first(positions + 2), 0);
    });
}

bool BitStreamWindow::SeekStartCode(std::uint32_t code, unsigned char codeBits, std::size_t& budget) {
    while (true) {
        budget -= SkipToStartCode(codeBits, budget);
        if (budget == 0 || m_stream.BitsEOF() != 0) return false;
        if (m_stream.ShowBits(codeBits) == code) return true;
        m_stream.SkipBits(8);
        --budget;
    }
}

bool BitStreamWindow::SeekByte(std::uint8_t value, std::size_t& budget) {
    budget -= SkipTo(1, budget, [&](ByteSpan bytes, std::size_t positions) {
        return FindByte(bytes.first(positions), 0, value);
    });
    return budget > 0 && m_stream.BitsEOF() == 0;
}

} // namespace kiv
