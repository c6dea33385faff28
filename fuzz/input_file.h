// The bytes of an input as a file, for what a reader does only with files.
#ifndef KIVUTILITY_FUZZ_INPUT_FILE_H
#define KIVUTILITY_FUZZ_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

// Lives as long as the object; its name is the same throughout a process, so only one exists at a time.
class InputFile {
public:
    InputFile(const std::uint8_t* data, std::size_t size) {
        std::ofstream out(Path(), std::ios::binary);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }

    InputFile(const InputFile&)            = delete;
    InputFile& operator=(const InputFile&) = delete;

    ~InputFile() { std::remove(Path()); }

    static const char* Path() {
        static const std::string path =
            (std::filesystem::temp_directory_path() / ("kiv-fuzz-" + std::to_string(std::random_device{}())))
                .string();
        return path.c_str();
    }
};

#endif
