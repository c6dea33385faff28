// Files that a test makes and that vanish with it.
#ifndef KIVUTILITY_TESTS_TEMP_FOLDER_H
#define KIVUTILITY_TESTS_TEMP_FOLDER_H

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

// A folder of its own, removed with everything in it.
class TempFolder {
public:
    TempFolder()
        : m_path(std::filesystem::temp_directory_path()
                 / ("kiv-test-" + std::to_string(std::random_device{}()))) {
        std::filesystem::create_directories(m_path);
    }

    TempFolder(const TempFolder&)            = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    // The path of `name` in the folder.
    std::string Path(const std::string& name) const { return (m_path / name).string(); }

    // Writes a file and returns its path.
    std::string Write(const std::string& name, const Bytes& bytes) const {
        std::ofstream(Path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return Path(name);
    }

private:
    std::filesystem::path m_path;
};

inline Bytes ReadWholeFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline std::string ReadWholeText(const std::filesystem::path& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline Bytes RandomBytes(std::mt19937& random, std::size_t size) {
    Bytes bytes(size);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
    return bytes;
}

// The media files of samples/, in a stable order.
inline std::vector<std::filesystem::path> Samples() {
    std::vector<std::filesystem::path> samples;
    for (const auto& entry : std::filesystem::directory_iterator(KIV_SAMPLES_DIR)) {
        const auto extension = entry.path().extension();
        if (!extension.empty() && extension != ".md") samples.push_back(entry.path());
    }
    std::sort(samples.begin(), samples.end());
    return samples;
}

} // namespace test

#endif
