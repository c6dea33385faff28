// Gives a fuzz target every file of the folders named on the command line, whole and cut short.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream                   in(entry.path(), std::ios::binary);
            const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
            for (std::size_t size = bytes.size();; size /= 2) {
                // A copy of exactly this length: what reads beyond it is caught.
                const std::vector<std::uint8_t> piece(bytes.begin(),
                                                      bytes.begin() + static_cast<std::ptrdiff_t>(size));
                LLVMFuzzerTestOneInput(piece.data(), piece.size());
                if (size == 0) {
                    break;
                }
            }
            ++files;
        }
    }
    std::printf("%d files\n", files);
    return files == 0;
}
