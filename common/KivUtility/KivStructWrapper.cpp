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

// Bytes from `src` up to `bound`, of the `len` that are wanted.
int Available(const char* src, int len, const char* bound) {
    if (std::less_equal<>()(bound, src)) return 0;
    return static_cast<int>(std::min<std::ptrdiff_t>(bound - src, len));
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
    const int available = Available(src, len, bound);
    if (available < len) kiv::ReportFailedCheck(kUnit, __LINE__, "(src+len) <= bound Failed");
    const auto taken = static_cast<std::size_t>(available);
    if (taken != 0) std::memcpy(dst, src, taken);
    std::memset(static_cast<char*>(dst) + taken, 0, static_cast<std::size_t>(len) - taken);
    src += len;
}

// A class derived from this one may have replaced put() or setAndAdvance().
template <class Record> bool KivRecordWrapper<Record>::IsDerivedFrom() const {
    return typeid(*this) != typeid(KivRecordWrapper);
}

template <class Record> int KivRecordWrapper<Record>::getExactStructSize() {
    if (m_exactStructSize == 0) m_exactStructSize = kiv::WireSizeOf<Record>();
    return m_exactStructSize;
}

template <class Record> void KivRecordWrapper<Record>::getOutgoingStruct(CKivDynaBuffer& buffer) {
    if (IsDerivedFrom()) return PutFields(buffer, *m_record);
    std::array<unsigned char, kiv::WireSizeOf<Record>()> bytes;
    kiv::Store(*m_record, bytes.data());
    put(buffer, BytesOf(bytes), bytes.size());
}

template <class Record>
template <class Part>
void KivRecordWrapper<Record>::PutFields(CKivDynaBuffer& buffer, Part& part) {
    kiv::FieldsOf<Part>::ForEach(part, [&](auto, auto& value) {
        using Value = std::remove_reference_t<decltype(value)>;
        if constexpr (kiv::kIsEntry<Value>) {
            PutFields(buffer, value);
        } else if constexpr (kiv::kIsRecord<Value>) {
            CKivDynaBuffer nested;
            KivRecordWrapper<Value>(value).getOutgoingStruct(nested);
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
    if (len >= kiv::WireSizeOf<Record>() && !IsDerivedFrom()) {
        kiv::Load(*m_record, reinterpret_cast<const unsigned char*>(src));
    } else {
        const char* at = src;
        SetFields(*m_record, at, src, src + len);
    }
}

template <class Record>
template <class Part>
void KivRecordWrapper<Record>::SetFields(Part& part, const char*& src, const char* start, const char* bound) {
    kiv::FieldsOf<Part>::ForEach(part, [&]<class Field>(Field, auto& value) {
        using Value = std::remove_reference_t<decltype(value)>;
        if constexpr (kiv::kIsEntry<Value>) {
            SetFields(value, src, start, bound);
        } else if constexpr (kiv::kIsRecord<Value>) {
            // the nested reader is always given all of its bytes: zeros for those that the block lacks
            constexpr int           kSize = kiv::WireSizeOf<Value>();
            std::array<char, kSize> bytes{};
            const char*             from  = Field::kReadFromStart ? start : src;
            const int               taken = Available(from, kSize, bound);
            std::copy_n(from, taken, bytes.begin());
            KivRecordWrapper<Value>(value).setIncomingStruct(bytes.data(), kSize);
            if (!Field::kReadFromStart) src += kSize;
        } else {
            setAndAdvance(&value, src, sizeof(value), bound);
        }
    });
}

template <class Record> void KivRecordWrapper<Record>::toNetByteOrder() { kiv::ToggleByteOrder(*m_record); }

template <class Record> void KivRecordWrapper<Record>::toHostByteOrder() { kiv::ToggleByteOrder(*m_record); }

#define KIV_INSTANTIATE_WRAPPER(Record, Wrapper) template class KivRecordWrapper<Record>;
KIV_FOR_EACH_RECORD(KIV_INSTANTIATE_WRAPPER)
