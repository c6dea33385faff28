// Attacks the extraction of a stream header.
#include "KivUtility.h"

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A stream overwrites the first bytes of its block and reads up to one byte behind it.
    std::vector<unsigned char> block(data, data + size);
    block.push_back(0);
    CKivBitStream stream;
    stream.SourceFromBuffer(block.data(), static_cast<int>(size));
    CKivDynaBuffer header;
    CMObjMpgSystemParser().getHeader(&stream, &header);
    return 0;
}
