// Attacks the bit stream reader: a sequence of calls, then the bytes that they read, as a block and as a
// file.
#include "KivUtility.h"

#include "input_file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

constexpr std::size_t kCallBytes = 4; // an operation and its argument
constexpr std::size_t kMaxCalls  = 256;

void Run(CKivBitStream& stream, const std::uint8_t* calls, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* call   = calls + i * kCallBytes;
        const unsigned long number = static_cast<unsigned long>(call[1] << 16 | call[2] << 8 | call[3]);
        switch (call[0] % 7) {
        case 0: stream.GetBits(call[1]); break;
        case 1: stream.ShowBits(call[1]); break;
        case 2: stream.ShowBits(call[1], static_cast<unsigned short>(number & 0xFFFF)); break;
        case 3: stream.SkipBits(number); break;
        case 4: stream.BitsAlignment(call[1]); break;
        case 5: stream.BytesJump(number); break;
        default: stream.BytesJump(~0ULL - number); break;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::size_t          calls = std::min(size / kCallBytes / 2, kMaxCalls);
    std::vector<unsigned char> block(data + calls * kCallBytes, data + size);
    {
        const InputFile input(block.data(), block.size());
        CKivBitStream   file;
        file.SourceFromFile(InputFile::Path());
        Run(file, data, calls);
    }
    const int length = static_cast<int>(block.size());
    block.push_back(0); // a field at the end may take bits from the byte behind the block
    CKivBitStream memory;
    memory.SourceFromBuffer(block.data(), length);
    Run(memory, data, calls);
    return 0;
}
