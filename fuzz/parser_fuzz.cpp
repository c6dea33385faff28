// Attacks one parser, KIV_PARSER: any bytes, as a block and as a file.
#include "KivUtility.h"

#include "input_file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<unsigned char> block(data, data + size); // a stream may write to its first bytes
    block.push_back(0);
    CKivBitStream memory;
    KIV_PARSER    ofMemory;
    if (memory.SourceFromBuffer(block.data(), static_cast<int>(size)) != 0) ofMemory.ParseFile(&memory);

    const InputFile file(data, size);
    CKivBitStream   stream;
    KIV_PARSER      ofFile;
    if (stream.SourceFromFile(InputFile::Path()) != 0) ofFile.ParseFile(&stream);
    return 0;
}
