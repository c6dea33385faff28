// Making and joining record arrays.
#include "KivRecordArray.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>
#include <type_traits>

template <class Record> KivRecordArray<Record>::KivRecordArray(int count) noexcept {
    static_assert(std::is_trivially_copyable_v<Record>);
    if (count < 1) return;
    // calloc refuses a product that does not fit, and takes fresh pages as the zeros that they are
    auto* const records = static_cast<Record*>(std::calloc(static_cast<std::size_t>(count), sizeof(Record)));
    if (records == nullptr) return;
    try {
        m_records.reset(records, std::free); // which frees them where it fails
        m_count = count;
    } catch (const std::bad_alloc&) {
        return;
    }
}

template <class Record> void KivRecordArray<Record>::Append(const KivRecordArray& other) noexcept {
    if (*this == other || other.m_count > INT_MAX - m_count) return;
    const KivRecordArray joined(m_count + other.m_count);
    if (joined.m_count == 0) return;
    Record* const behind = std::copy_n(m_records.get(), m_count, joined.m_records.get());
    std::copy_n(other.m_records.get(), other.m_count, behind);
    *this = joined;
}

Kiv_STM_SESSION_INFO_ARRAY&
Kiv_STM_SESSION_INFO_ARRAY::operator+=(const Kiv_STM_SESSION_INFO_ARRAY& other) noexcept {
    Append(other);
    return *this;
}

#define KIV_INSTANTIATE_RECORD_ARRAY(Record) template class KivRecordArray<Record>;
KIV_FOR_EACH_LISTED_RECORD(KIV_INSTANTIATE_RECORD_ARRAY)
