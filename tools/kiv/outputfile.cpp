// Writing files that are complete or not there.
#include "outputfile.h"

#include "console.h"
#include "names.h"
#include "platform/disk.h"
#include "platform/paths.h"
#include "platform/terminal.h"

#include <cerrno>
#include <random>
#include <stdexcept>
#include <system_error>

namespace tool {

namespace {

namespace fs = std::filesystem;

std::error_code LastError() { return {errno, std::generic_category()}; }

// Short, so that it is a valid name in whatever folder the file's own name is.
std::string TemporaryName() {
    static std::random_device random;
    char                      name[32];
    std::snprintf(name, sizeof name, ".kiv-%08x%08x.tmp", random(), random());
    return name;
}

// Room for the bytes of many small writes; for the process, as standard output is written until it ends.
char g_room[1 << 16];

// The file behind a symbolic link, there or not: it is made or replaced, and the link stays.
fs::path BehindLinks(fs::path path) {
    constexpr int   kMostLinks = 40; // as the system: where they lead in a circle the path stays a link
    std::error_code error;
    for (int links = 0; links < kMostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++links) {
        const fs::path target = fs::read_symlink(path, error);
        if (error) break;
        path.replace_filename(target); // an absolute one takes the whole path's place
    }
    return path;
}

} // namespace

bool IsStandardOutput(const std::string& name) { return name == "-"; }

bool IsSameFile(const fs::path& input, const std::string& output) {
    if (IsStandardOutput(output)) return platform::IsOpenOn(stdout, input);
    std::error_code notThere;
    return fs::equivalent(input, platform::FromNarrow(output), notThere);
}

void OutputFile::Close::operator()(std::FILE* file) const {
    if (file != stdout) std::fclose(file);
}

OutputFile::OutputFile(const std::string& name)
    : m_shown(IsStandardOutput(name) ? "standard output" : tool::Shown(platform::FromNarrow(name))) {
    if (IsStandardOutput(name)) {
        if (platform::IsTerminal(stdout)) throw std::runtime_error(m_shown + ": is a terminal");
        platform::MakeBinary(stdout);
        m_file.reset(stdout);
        GiveRoom();
        return;
    }
    if (name.empty()) throw std::runtime_error("the output has no name");
    m_target = BehindLinks(platform::FromNarrow(name));
    std::error_code       error;
    const fs::file_status status = fs::status(m_target, error);
    if (!fs::status_known(status)) Check(error);
    if (fs::is_directory(status)) Check(std::make_error_code(std::errc::is_a_directory));
    if (!fs::exists(status) || fs::is_regular_file(status))
        CreateTemporary(fs::exists(status));
    else
        OpenInPlace();
    GiveRoom();
}

OutputFile::~OutputFile() {
    m_file.reset();
    if (m_temporary.empty()) return;
    std::error_code ignored;
    fs::remove(m_temporary, ignored);
    platform::RemoveWhenInterrupted(nullptr);
}

// What replaces a file is private until it has that file's permissions.
void OutputFile::CreateTemporary(bool isPrivate) {
    std::error_code error;
    do {
        fs::path path = m_target;
        path.replace_filename(TemporaryName());
        m_file.reset(platform::CreateNew(path, isPrivate, error));
        if (m_file) m_temporary = path;
    } while (error == std::errc::file_exists);
    Check(error);
    platform::RemoveWhenInterrupted(&m_temporary);
}

void OutputFile::OpenInPlace() {
    std::error_code error;
    m_file.reset(platform::OpenInPlace(m_target, error));
    Check(error);
}

void OutputFile::GiveRoom() { std::setvbuf(m_file.get(), g_room, _IOFBF, sizeof g_room); }

void OutputFile::Write(const void* data, std::size_t bytes) {
    if (std::fwrite(data, 1, bytes, m_file.get()) != bytes) Check(LastError());
    m_bytes += bytes;
}

void OutputFile::Commit() {
    if (std::fflush(m_file.get()) != 0) Check(LastError());
    if (m_temporary.empty()) return m_file.reset();

    Check(platform::FlushToDisk(m_file.get()));
    m_file.reset();
    std::error_code       error;
    const fs::file_status before = fs::status(m_target, error);
    if (fs::exists(before)) fs::permissions(m_temporary, before.permissions(), error);
    Check(platform::Replace(m_temporary, m_target));
    platform::RemoveWhenInterrupted(nullptr);
    m_temporary.clear();
}

void OutputFile::Check(const std::error_code& error) const {
    if (error) Fail(m_shown, error);
}

} // namespace tool
