// Attacks the reading of what the files of one stream must have in common.
#include "KivUtility.h"

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CKivBitStream stream;
    // A stream overwrites the first bytes of its block and reads up to one byte behind it.
    std::vector<unsigned char> block(data, data + size);
    block.push_back(0);
    stream.SourceFromBuffer(block.data(), static_cast<int>(size));
    KivReadStreamFacts(&stream);
    return 0;
}
