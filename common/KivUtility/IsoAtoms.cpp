// Walking over atoms.
#include "IsoAtoms.h"

namespace kiv::iso {

namespace {

constexpr std::uint64_t kHeader     = 8;  // size and type
constexpr std::uint64_t kLongHeader = 16; // and the size in 64 bits

// What a header may hold instead of a size in 32 bits.
constexpr std::uint64_t kToTheEnd = 0;
constexpr std::uint64_t kIn64Bits = 1;

} // namespace

std::optional<Atom> Atoms::Next() {
    if (m_next >= m_end) return std::nullopt;
    const std::uint64_t left = m_end - m_next;
    const ByteSpan      header =
        kiv::Part(m_reader.At(m_next, static_cast<std::size_t>(std::min(left, kLongHeader))), 0, kLongHeader);
    const std::uint64_t begins = BigEndian<std::uint32_t>(header, 0);
    const std::uint64_t bytes  = begins == kIn64Bits ? kLongHeader : kHeader;
    if (left < bytes) {
        m_endsInHeader = FindOtherThan(header, 0, 0) < header.size();
        return std::nullopt;
    }
    const std::uint64_t told = begins == kIn64Bits ? BigEndian<std::uint64_t>(header, 8) : begins;
    const std::uint64_t size = begins == kToTheEnd ? left : told;
    if (header.empty() || size < bytes) return std::nullopt;
    const Atom atom{BigEndian<std::uint32_t>(header, 4), m_next + bytes, m_next + std::min(size, left),
                    size > left};
    m_next = atom.end;
    return atom;
}

ByteSpan ContentOf(StreamReader& reader, const Atom& atom, std::size_t n) {
    const auto bytes = static_cast<std::size_t>(std::min<std::uint64_t>(n, atom.end - atom.begin));
    return bytes == 0 ? ByteSpan{} : kiv::Part(reader.At(atom.begin, bytes), 0, bytes);
}

Table TableOf(StreamReader& reader, const Atom& atom, std::size_t at, std::size_t entryBytes) {
    const auto claimed = BigEndian<std::uint32_t>(ContentOf(reader, atom, at), at - sizeof(std::uint32_t));
    return {atom.begin + at, atom.end, entryBytes, claimed};
}

} // namespace kiv::iso
