// Attacks every record's reader, and packs again what it read.
#include "KivUtility.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// With an operation of its own, so that every field goes through it.
template <class Wrapper> class ByFields : public Wrapper {
public:
    using Wrapper::Wrapper;

private:
    void setAndAdvance(void* dst, const char*& src, int len, const char* bound) override {
        Wrapper::setAndAdvance(dst, src, len, bound);
    }
};

// The record that was read, packed again.
template <class Record, class Wrapper> std::string Repacked(const char* bytes, int size) {
    Record  record;
    Wrapper wrapper(record);
    wrapper.setIncomingStruct(bytes, size);
    wrapper.toHostByteOrder();
    wrapper.toNetByteOrder();
    CKivDynaBuffer packed;
    wrapper.getOutgoingStruct(packed);
    return {static_cast<const char*>(packed.GetBufferPtr()), static_cast<std::size_t>(packed.GetSize())};
}

// Whatever a record was read from, both ways of reading agree, and what was packed reads back as the same.
// The key of a file address is read from elsewhere than it is written.
template <class Record, class Wrapper> void ReadAndPack(const std::vector<char>& bytes) {
    const int         size   = static_cast<int>(bytes.size());
    const std::string packed = Repacked<Record, Wrapper>(bytes.data(), size);
    if (packed != Repacked<Record, ByFields<Wrapper>>(bytes.data(), size)) std::abort();
    if (std::is_same_v<Record, Kiv_FILE_ADDRESS>) return;
    if (packed != Repacked<Record, Wrapper>(packed.data(), static_cast<int>(packed.size()))) std::abort();
}

using Attack = void (*)(const std::vector<char>&);
#define ATTACK(Record, Wrapper) ReadAndPack<Record, Wrapper>,
constexpr Attack kAttacks[] = {KIV_FOR_EACH_RECORD(ATTACK)};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    KivSetPopUpHandler([](const char*, const char*) {});
    const std::vector<char> bytes(data, data + size);
    for (const Attack attack : kAttacks) attack(bytes);
    return 0;
}
