// Attacks the extraction of a stream header.
#include "KivUtility.h"

#include "input_file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CKivBitStream        stream;
    CKivDynaBuffer       header;
    CMObjMpgSystemParser parser;
    // A stream overwrites the first bytes of its block and reads up to one byte behind it.
    std::vector<unsigned char> block(data, data + size);
    block.push_back(0);
    stream.SourceFromBuffer(block.data(), static_cast<int>(size));
    parser.getHeader(&stream, &header);
    const InputFile file(data, size);
    stream.SourceFromFile(InputFile::Path());
    parser.getHeader(&stream, &header);
    return 0;
}
