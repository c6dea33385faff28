// Reading a regular file at any offset, writing a file from its start, and putting it in another's place.
#ifndef KIVUTILITY_PLATFORM_FILE_H
#define KIVUTILITY_PLATFORM_FILE_H

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace kiv::platform {

// An open file, closed with the object.
class FileHandle {
public:
    FileHandle(const FileHandle&)            = delete;
    FileHandle& operator=(const FileHandle&) = delete;

protected:
    explicit FileHandle(std::intptr_t handle) noexcept : m_handle(handle) {}

    ~FileHandle();

    static constexpr std::intptr_t kNone = -1;

    std::intptr_t m_handle; // descriptor, HANDLE or none
};

// A regular file open for reading. Others may write, rename and delete it meanwhile.
// Any number of threads may read at once.
class File : FileHandle {
public:
    // Opens `path`, spelt as the system's narrow file calls take it. Never waits: a directory, a FIFO, a
    // device or a socket is refused. Null on any failure.
    static std::unique_ptr<File> OpenForReading(const char* path) noexcept;

    // Bytes in the file when it was opened.
    std::uint64_t Size() const noexcept { return m_size; }

    // Fills `into` with the bytes from `offset` on. Returns how many were read: fewer than asked for only at
    // the file's end or when the reading failed, 0 when there is nothing at `offset`.
    std::size_t ReadAt(std::uint64_t offset, std::span<unsigned char> into) const noexcept;

private:
    File(std::intptr_t handle, std::uint64_t size) noexcept : FileHandle(handle), m_size(size) {}

    std::uint64_t m_size;
};

// A file open for writing. One thread at a time.
class OutputFile : FileHandle {
public:
    // What becomes of a file that has the name already.
    enum class Existing { Overwrite, Refuse };

    // Who may read a file that is made here, as far as the process's own mask allows, beside its owner. On
    // Windows its folder decides.
    enum class Readers { Group, Everybody };

    // Opens `path`, spelt as the system's narrow file calls take it, or makes it. What an existing file holds
    // stays until it is written over, from its start on. Where existing ones are refused, no two processes
    // make the same one. Null on any failure.
    static std::unique_ptr<OutputFile> Open(const char* path, Existing existing,
                                            Readers readers = Readers::Group) noexcept;

    // Writes `bytes` behind what was written before; false when not all could be. What was written outlives
    // the process, however that ends.
    bool Write(std::string_view bytes) noexcept;

    // Waits until what was written is on the disk, where a failure of the machine leaves it. False on
    // failure.
    bool Commit() noexcept;

private:
    OutputFile() noexcept : FileHandle(kNone) {}
};

// Gives the file `from`, which nobody has open, the name `to` in the same folder, in place of a file that may
// have it: whoever opens `to` finds the one or the other. Waits until the disk knows it, where it can. False
// on failure: nothing has changed then.
bool MoveIntoPlace(const char* from, const char* to) noexcept;

} // namespace kiv::platform

#endif
