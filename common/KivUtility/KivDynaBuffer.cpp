// Growth, cutting and bit access of the byte buffer.
#include "KivDynaBuffer.h"

#include "KivBitStream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr std::uint64_t kInitialRoom = 1024; // bytes that a new buffer has beyond its content
constexpr unsigned long kMaxSize     = std::numeric_limits<std::uint32_t>::max();

constexpr int kMaxFieldBytes = 5; // that 32 bits at any bit position touch

} // namespace

CKivDynaBuffer::CKivDynaBuffer(unsigned long n) {
    if (n != 0 && n <= kMaxSize) Resize(n + kInitialRoom);
}

CKivDynaBuffer::CKivDynaBuffer(const void* p, unsigned long n) {
    if (n == 0 || n > kMaxSize || !Resize(n + kInitialRoom)) return;
    std::memcpy(m_data.get(), p, n);
    m_size = static_cast<std::uint32_t>(n);
}

CKivDynaBuffer::CKivDynaBuffer(const CKivDynaBuffer& other) {
    if (!Resize(other.m_size + kInitialRoom) || other.m_size == 0) return;
    std::memcpy(m_data.get(), other.m_data.get(), other.m_size);
    m_size = other.m_size;
}

CKivDynaBuffer& CKivDynaBuffer::operator=(const CKivDynaBuffer& other) {
    if (this == &other) return *this;
    ClearBuffer();
    m_increment = other.m_increment;
    if (other.m_size == 0 || !Resize(std::uint64_t{m_increment} + other.m_size)) return *this;
    std::memcpy(m_data.get(), other.m_data.get(), other.m_size);
    m_size = other.m_size;
    return *this;
}

void CKivDynaBuffer::ClearBuffer() {
    m_data.reset();
    m_size     = 0;
    m_capacity = 0;
}

void CKivDynaBuffer::SetBufferIncrementalSize(unsigned long n) {
    if (n != 0) m_increment = static_cast<std::uint32_t>(std::min(n, kMaxSize));
}

bool CKivDynaBuffer::SetByte(unsigned long idx, unsigned char b) {
    if (idx > kMaxSize) return false;
    const std::uint64_t needed = std::uint64_t{idx} + 1;
    if (needed > m_capacity && !Resize(m_increment + needed)) return false;
    m_data[idx] = b;
    m_size      = std::max(m_size, static_cast<std::uint32_t>(needed));
    return true;
}

bool CKivDynaBuffer::AddByte(unsigned char b) {
    if (m_size == m_capacity && !Resize(std::uint64_t{m_capacity} + m_increment)) return false;
    m_data[m_size++] = b;
    return true;
}

bool CKivDynaBuffer::SetBuffer(const void* p, unsigned long n) {
    if (n == 0) {
        ClearBuffer();
        return true;
    }
    if (n > m_capacity && (n > kMaxSize || !Resize(std::uint64_t{m_increment} + n))) return false;
    std::memmove(m_data.get(), p, n);
    m_size = static_cast<std::uint32_t>(n);
    return true;
}

bool CKivDynaBuffer::Append(const void* p, unsigned long n) {
    if (n == 0 || n > kMaxSize) return false;
    if (std::uint64_t{m_size} + n <= m_capacity) {
        std::memmove(&m_data[m_size], p, n);
    } else {
        // the old storage outlives the copy, for the bytes may lie in it
        CKivDynaBuffer grown;
        if (!grown.Resize(m_size + std::max<std::uint64_t>(m_increment, n))) return false;
        if (m_size != 0) std::memcpy(grown.m_data.get(), m_data.get(), m_size);
        std::memcpy(&grown.m_data[m_size], p, n);
        std::swap(m_data, grown.m_data);
        m_capacity = grown.m_capacity;
    }
    m_size += static_cast<std::uint32_t>(n);
    return true;
}

bool CKivDynaBuffer::ChopHead(unsigned long n) {
    if (n > m_size) return false;
    if (n == 0) return true;
    const std::size_t rest = m_size - n;
    std::memmove(m_data.get(), &m_data[n], rest);
    std::memset(&m_data[rest], 0, n);
    m_size = static_cast<std::uint32_t>(rest);
    return true;
}

bool CKivDynaBuffer::ChopTail(unsigned long n) {
    if (n > m_size) return false;
    if (n == m_size) return true;
    std::memset(&m_data[n], 0, m_size - n);
    m_size = static_cast<std::uint32_t>(n);
    return true;
}

unsigned long CKivDynaBuffer::GetBits(int bitPos, int nBits) const {
    if (Holds(bitPos, nBits)) {
        return KivGetBufferBits(m_data.get(), static_cast<unsigned long long>(bitPos), nBits);
    }
    unsigned char bytes[kMaxFieldBytes] = {};
    for (int i = 0; i < kMaxFieldBytes; ++i) {
        const std::int64_t at = (std::int64_t{bitPos} >> 3) + i;
        if (at >= 0 && at < static_cast<std::int64_t>(m_capacity))
            bytes[i] = m_data[static_cast<std::size_t>(at)];
    }
    return KivGetBufferBits(bytes, static_cast<unsigned>(bitPos) & 7, nBits);
}

void CKivDynaBuffer::SetBits(int bitPos, int nBits, unsigned long value) {
    if (Holds(bitPos, nBits)) {
        KivSetBufferBits(m_data.get(), static_cast<unsigned long long>(bitPos), nBits, value);
    }
}

// Changes the storage to n zero-filled bytes, more than before, that begin with the old ones.
bool CKivDynaBuffer::Resize(std::uint64_t n) {
    if (n > kMaxSize) return false;
    std::unique_ptr<unsigned char[]> grown(new (std::nothrow) unsigned char[static_cast<std::size_t>(n)]());
    if (!grown) return false;
    if (m_data) std::memcpy(grown.get(), m_data.get(), m_capacity);
    m_data     = std::move(grown);
    m_capacity = static_cast<std::uint32_t>(n);
    return true;
}

bool CKivDynaBuffer::Holds(int bitPos, int nBits) const {
    const int width = nBits == 0 ? 32 : nBits;
    return bitPos >= 0 && width > 0 && std::int64_t{bitPos} + width <= std::int64_t{m_capacity} * 8;
}
