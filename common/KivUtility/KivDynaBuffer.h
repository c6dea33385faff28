// The growable byte array that packets and records are built in.
#ifndef KIVUTILITY_KIVDYNABUFFER_H
#define KIVUTILITY_KIVDYNABUFFER_H

#include "KivExport.h"

#include <cstdint>
#include <memory>

// Bytes with zero-filled room behind them. It grows to a given increment beyond what is needed, so that
// appending and reading bit fields a little behind the end both stay inside the storage. Capacity never
// shrinks, except when the buffer is cleared or assigned to.
// A growing operation that gets no memory returns false and leaves the buffer as it was. Sizes are 32-bit:
// growing beyond that fails likewise. An object is used by one thread at a time.
class KIV_API CKivDynaBuffer {
public:
    CKivDynaBuffer() = default;

    // Empty, with room for n + 1024 bytes; no storage for n = 0 or without memory.
    CKivDynaBuffer(unsigned long n);

    // A copy of the n bytes at p; empty for n = 0 or without memory.
    CKivDynaBuffer(const void* p, unsigned long n);

    // A deep copy of the bytes. The copy's increment is 1024, whatever the other's is.
    CKivDynaBuffer(const CKivDynaBuffer& other);

    // A deep copy that takes over the other's increment as well. Without memory this buffer is left empty.
    CKivDynaBuffer& operator=(const CKivDynaBuffer& other);

    ~CKivDynaBuffer() = default;

    // Frees the storage; the increment stays.
    void ClearBuffer();

    // Bytes in use.
    long GetSize() const { return static_cast<long>(m_size); }

    // Bytes allocated.
    long GetCapacity() const { return static_cast<long>(m_capacity); }

    // The bytes, null without storage; valid until the buffer grows, is assigned to, cleared or
    // destroyed.
    const void* GetBufferPtr() const { return m_data.get(); }

    // The growth increment in bytes.
    long GetInsBufferByBytes() const { return static_cast<long>(m_increment); }

    // Sets the increment; 0 is ignored.
    void SetBufferIncrementalSize(unsigned long n);

    // Stores b at idx, which may lie behind the end: the bytes skipped over are 0.
    bool SetByte(unsigned long idx, unsigned char b);

    // Appends b.
    bool AddByte(unsigned char b);

    // Replaces the content by n bytes; 0 clears the buffer. Bytes of a longer old content stay behind the
    // new end.
    bool SetBuffer(const void* p, unsigned long n);

    // Appends n bytes, which may lie in this buffer. Returns false for n = 0: nothing to append is a failure.
    bool Append(const void* p, unsigned long n);

    // Removes the first n bytes. False, and nothing happens, when there are fewer.
    bool ChopHead(unsigned long n);

    // KEEPS the first n bytes and removes the rest. False, and nothing happens, when there are fewer.
    bool ChopTail(unsigned long n);

    // The byte at idx, or 0 behind the end.
    unsigned char operator[](unsigned long idx) const { return idx < m_size ? m_data[idx] : 0; }

    // The nBits (0..32, 0 means 32) at bitPos, most significant bit first, without regard to the size: room
    // behind the end reads as it stands, what lies outside the storage reads as 0.
    unsigned long GetBits(int bitPos, int nBits) const;

    // Writes the low nBits of value at bitPos, without regard to the size, which stays as it is. A field
    // that is not wholly inside the storage is not written.
    void SetBits(int bitPos, int nBits, unsigned long value);

private:
    std::unique_ptr<unsigned char[]> m_data;
    std::uint32_t                    m_size      = 0;
    std::uint32_t                    m_capacity  = 0;
    std::uint32_t                    m_increment = 1024;

    bool Resize(std::uint64_t n);
    bool Holds(int bitPos, int nBits) const;
};

#endif
