// Attacks the recognition and measuring of media: any bytes, as a block and as a file.
#include "KivUtility.h"

#include "input_file.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CMObjParserMgr manager;
    const int      length = static_cast<int>(size);
    manager.checkFormat(data, length);
    manager.parse(data, length);
    const InputFile file(data, size);
    manager.checkFormat(InputFile::Path());
    manager.parse(InputFile::Path());
    return 0;
}
