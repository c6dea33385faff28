// Attacks the recognition and measuring of media: any bytes, as a block in memory.
#include "KivUtility.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CMObjParserMgr manager;
    const int      length = static_cast<int>(size);
    manager.checkFormat(data, length);
    manager.parse(data, length);
    return 0;
}
