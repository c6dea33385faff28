// Writing and reading of records, driven by their layouts.
#include "KivStructWrapper.h"

#include "ConsistencyReport.h"
#include "RecordLayouts.h"
#include "platform/debugoutput.h"

#include <algorithm>
#include <array>
#include <functional>
#include <typeinfo>

namespace {

constexpr const char* kUnit = "common/KivUtility/KivStructWrapper";

template <class Value> const char* BytesOf(const Value& value) {
    return reinterpret_cast<const char*>(&value);
}

// Bytes from `src` up to `bound`, of the `len` that are wanted; src may lie behind bound.
int Available(const char* src, int len, const char* bound) {
    if (std::less_equal<>()(bound, src)) return 0;
    return static_cast<int>(std::min<std::ptrdiff_t>(bound - src, len));
}

// The wrapper of a record type.
template <class Record> struct WrapperOf;
#define KIV_WRAPPER_OF(Record, Wrapper)                                                                      \
    template <> struct WrapperOf<Record> { using Type = Wrapper; };
KIV_FOR_EACH_RECORD(KIV_WRAPPER_OF)

template <class Record> constexpr bool CachesSize() {
    if constexpr (requires { kiv::Wire<Record>::kCachesSize; }) return kiv::Wire<Record>::kCachesSize;
    return true;
}

} // namespace

void StructWrapperException::debug_print() const { kiv::platform::WriteDebugText(m_reason); }

long long hton64(long long value) {
    return static_cast<long long>(kiv::ToggleNetworkOrder(static_cast<unsigned long long>(value)));
}

long long ntoh64(long long value) { return hton64(value); }

void KivStructWrapperBase::getOutgoingStruct(CKivDynaBuffer& /*buffer*/) {}

void KivStructWrapperBase::setIncomingStruct(const char* /*src*/, int /*len*/) {}

void KivStructWrapperBase::toNetByteOrder() {}

void KivStructWrapperBase::toHostByteOrder() {}

int KivStructWrapperBase::getExactStructSize() { return 0; }

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, const char* data, int len) {
    if (len == 0) return;
    if (!buffer.Append(data, static_cast<unsigned long>(len)))
        throw StructWrapperException("Not enough memory");
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, long long value) {
    put(buffer, BytesOf(value), sizeof(value));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, unsigned long long value) {
    put(buffer, BytesOf(value), sizeof(value));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, int value) {
    put(buffer, BytesOf(value), sizeof(value));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, unsigned int value) {
    put(buffer, BytesOf(value), sizeof(value));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, unsigned long value) {
    const auto number = static_cast<std::uint32_t>(value);
    put(buffer, BytesOf(number), sizeof(number));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, short value) {
    put(buffer, BytesOf(value), sizeof(value));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, unsigned short value) {
    put(buffer, BytesOf(value), sizeof(value));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, unsigned char value) {
    put(buffer, BytesOf(value), sizeof(value));
}

void KivStructWrapperBase::put(CKivDynaBuffer& buffer, bool value) {
    const unsigned char number = value ? 1 : 0;
    put(buffer, BytesOf(number), sizeof(number));
}

void KivStructWrapperBase::setAndAdvance(void* dst, const char*& src, int len, const char* bound) {
    len                 = std::max(len, 0);
    const int available = Available(src, len, bound);
    if (available < len) kiv::ReportFailedCheck(kUnit, __LINE__, "(src+len) <= bound Failed");
    const auto taken = static_cast<std::size_t>(available);
    if (taken != 0) std::memcpy(dst, src, taken);
    std::memset(static_cast<char*>(dst) + taken, 0, static_cast<std::size_t>(len) - taken);
    src += len;
}

// Only a class derived from the record's wrapper can have operations of its own.
template <class Record> bool KivRecordWrapper<Record>::MayReplaceOperations() const {
    return typeid(*this) != typeid(typename WrapperOf<Record>::Type);
}

template <class Record> int KivRecordWrapper<Record>::getExactStructSize() {
    if (!CachesSize<Record>()) return kiv::WireSizeOf<Record>();
    if (m_exactStructSize == 0) m_exactStructSize = kiv::WireSizeOf<Record>();
    return m_exactStructSize;
}

template <class Record> void KivRecordWrapper<Record>::getOutgoingStruct(CKivDynaBuffer& buffer) {
    if (MayReplaceOperations()) return PutFields(buffer, *m_record);
    std::array<unsigned char, kiv::WireSizeOf<Record>()> bytes;
    kiv::Store(*m_record, bytes.data());
    put(buffer, BytesOf(bytes), bytes.size());
}

template <class Record>
template <class Part>
void KivRecordWrapper<Record>::PutFields(CKivDynaBuffer& buffer, Part& part) {
    kiv::FieldsOf<Part>::ForEach(part, [&]<class Each>(Each, auto& value) {
        using Value = std::remove_reference_t<decltype(value)>;
        if constexpr (kiv::Entry<Value>) {
            PutFields(buffer, value);
        } else if constexpr (Each::kWrittenDirectly) {
            typename WrapperOf<Value>::Type(value).getOutgoingStruct(buffer);
        } else if constexpr (kiv::kIsRecord<Value>) {
            CKivDynaBuffer nested;
            typename WrapperOf<Value>::Type(value).getOutgoingStruct(nested);
            put(buffer, static_cast<const char*>(nested.GetBufferPtr()), static_cast<int>(nested.GetSize()));
        } else if constexpr (std::is_array_v<Value>) {
            put(buffer, BytesOf(value), sizeof(value));
        } else if constexpr (sizeof(value) == sizeof(long long)) {
            put(buffer, static_cast<unsigned long long>(value)); // on Linux std::uint64_t is an unsigned long
        } else {
            put(buffer, value);
        }
    });
}

template <class Record> void KivRecordWrapper<Record>::setIncomingStruct(const char* src, int len) {
    if (!kiv::Wire<Record>::Accepts(getExactStructSize(), len)) {
        kiv::ReportFailedCheck(kUnit, __LINE__, kiv::Wire<Record>::kLengthReport);
    }
    if (len >= kiv::WireSizeOf<Record>() && !MayReplaceOperations()) {
        kiv::Load(*m_record, reinterpret_cast<const unsigned char*>(src));
        return;
    }
    const char* start = len > 0 ? src : ""; // src may be null where there are no bytes
    const char* at    = start;
    SetFields(*m_record, at, start, start + std::max(len, 0));
}

template <class Record>
template <class Part>
void KivRecordWrapper<Record>::SetFields(Part& part, const char*& src, const char* start, const char* bound) {
    kiv::FieldsOf<Part>::ForEach(part, [&]<class Each>(Each, auto& value) {
        using Value = std::remove_reference_t<decltype(value)>;
        if constexpr (kiv::Entry<Value>) {
            SetFields(value, src, start, bound);
        } else if constexpr (kiv::kIsRecord<Value>) {
            // the nested reader is always given all of its bytes: zeros for those that the block lacks
            constexpr int           kSize = kiv::WireSizeOf<Value>();
            std::array<char, kSize> bytes{};
            const char*             from = Each::kReadFromStart ? start : src;
            std::copy_n(from, Available(from, kSize, bound), bytes.begin());
            typename WrapperOf<Value>::Type(value).setIncomingStruct(bytes.data(), kSize);
            if (!Each::kReadFromStart) src += kSize;
        } else {
            setAndAdvance(&value, src, sizeof(value), bound);
        }
    });
}

template <class Record> void KivRecordWrapper<Record>::toNetByteOrder() { kiv::ToggleByteOrder(*m_record); }

template <class Record> void KivRecordWrapper<Record>::toHostByteOrder() { kiv::ToggleByteOrder(*m_record); }

#define KIV_INSTANTIATE_WRAPPER(Record, Wrapper) template class KivRecordWrapper<Record>;
KIV_FOR_EACH_RECORD(KIV_INSTANTIATE_WRAPPER)
