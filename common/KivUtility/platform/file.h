// Reading a regular file at any offset.
#ifndef KIVUTILITY_PLATFORM_FILE_H
#define KIVUTILITY_PLATFORM_FILE_H

#include <cstdint>
#include <memory>
#include <span>

namespace kiv::platform {

// A regular file open for reading, closed with the object. Others may write, rename and delete it meanwhile.
// Any number of threads may read at once.
class File {
public:
    // Opens `path`, spelt as the system's narrow file calls take it. Never waits: a directory, a FIFO, a
    // device or a socket is refused. Null on any failure.
    static std::unique_ptr<File> OpenForReading(const char* path) noexcept;

    File(const File&)            = delete;
    File& operator=(const File&) = delete;
    ~File();

    // Bytes in the file when it was opened.
    std::uint64_t Size() const noexcept { return m_size; }

    // Fills `into` with the bytes from `offset` on. Returns how many were read: fewer than asked for only at
    // the file's end or when the reading failed, 0 when there is nothing at `offset`.
    std::size_t ReadAt(std::uint64_t offset, std::span<unsigned char> into) const noexcept;

private:
    File(std::intptr_t handle, std::uint64_t size) noexcept : m_handle(handle), m_size(size) {}

    std::intptr_t m_handle; // descriptor or HANDLE
    std::uint64_t m_size;
};

} // namespace kiv::platform

#endif
