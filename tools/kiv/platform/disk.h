// What the writing of a file that is complete or not there at all needs from the system.
#ifndef KIVTOOL_PLATFORM_DISK_H
#define KIVTOOL_PLATFORM_DISK_H

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace tool::platform {

// Creates a file that was not there and opens it for writing bytes as they are; nobody else can open a
// private one, as far as the system has permissions of that kind. Null on failure, with the reason in
// `error`: std::errc::file_exists where the name is taken.
std::FILE* CreateNew(const std::filesystem::path& path, bool isPrivate, std::error_code& error);

// Opens what is there, a device or a FIFO, for writing bytes as they are. Null on failure.
std::FILE* OpenInPlace(const std::filesystem::path& path, std::error_code& error);

// Whether the stream is open on that very file, under whatever name; false also where either is not there.
bool IsOpenOn(std::FILE* stream, const std::filesystem::path& path);

// From now on the user's interrupt, or any other signal that asks the program to end, removes the file `path`
// before it ends the program. The path must stay where it is until the next call; null removes nothing any
// more. One file at a time in the process.
void RemoveWhenInterrupted(const std::filesystem::path* path);

// Writes everything down to the disk. What is no file on a disk succeeds as well.
std::error_code FlushToDisk(std::FILE* file);

// Gives the file `from` the name `to`, in place of the file that may have it: at every moment `to` is the
// old file or the new one.
std::error_code Replace(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace tool::platform

#endif
