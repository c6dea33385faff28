// Attacks every record's reader, and writes back what it read.
#include "KivUtility.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

// Reads a record from exactly these bytes; what was read must go through every other operation, and what is
// written must read back as the same.
template <class Record, class Wrapper> void ReadAndWrite(const std::vector<char>& bytes) {
    Record  record;
    Wrapper wrapper(record);
    wrapper.setIncomingStruct(bytes.data(), static_cast<int>(bytes.size()));
    wrapper.toHostByteOrder();
    wrapper.toNetByteOrder();
    CKivDynaBuffer written;
    wrapper.getOutgoingStruct(written);
    if (written.GetSize() != wrapper.getExactStructSize()) std::abort();
    wrapper.setIncomingStruct(static_cast<const char*>(written.GetBufferPtr()),
                              static_cast<int>(written.GetSize()));
}

using Attack = void (*)(const std::vector<char>&);
#define ATTACK(Record, Wrapper) ReadAndWrite<Record, Wrapper>,
constexpr Attack kAttacks[] = {KIV_FOR_EACH_RECORD(ATTACK)};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    KivSetPopUpHandler([](const char*, const char*) {});
    const std::vector<char> bytes(data, data + size);
    for (const Attack attack : kAttacks) attack(bytes);
    return 0;
}
