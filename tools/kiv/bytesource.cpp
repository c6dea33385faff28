// Reading files and standard input as they come.
#include "bytesource.h"

#include "console.h"
#include "names.h"
#include "platform/paths.h"
#include "platform/terminal.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace tool {

ByteSource::ByteSource(const std::string& name) : m_shown("standard input"), m_input(&std::cin) {
    if (name == "-") {
        platform::MakeBinary(stdin);
        std::ios::sync_with_stdio(false); // gives standard input a buffer of its own, which Read() empties
        return;
    }
    const std::filesystem::path path = platform::FromNarrow(name);
    m_shown                          = tool::Shown(path);
    m_input                          = &m_file;
    errno                            = 0;
    m_file.open(path, std::ios::binary);
    Check(m_file.fail());
}

std::size_t ByteSource::Read(std::span<unsigned char> buffer) {
    errno = 0;
    m_input->peek();
    Check(m_input->bad());
    if (!m_input->good()) return 0;
    const std::streamsize there = std::max<std::streamsize>(m_input->rdbuf()->in_avail(), 1);
    const std::streamsize room  = static_cast<std::streamsize>(buffer.size());
    m_input->read(reinterpret_cast<char*>(buffer.data()), std::min(there, room));
    Check(m_input->bad());
    return static_cast<std::size_t>(m_input->gcount());
}

std::size_t ByteSource::Fill(std::span<unsigned char> buffer) {
    errno = 0;
    m_input->read(reinterpret_cast<char*>(buffer.data()), static_cast<std::streamsize>(buffer.size()));
    Check(m_input->bad());
    return static_cast<std::size_t>(m_input->gcount());
}

void ByteSource::Check(bool failed) const {
    if (!failed) return;
    if (errno != 0) Fail(m_shown, {errno, std::generic_category()});
    throw std::runtime_error(m_shown + ": cannot be read");
}

} // namespace tool
