// Lists of management records, of fixed length, whose copies are the same list.
//
// A copy shares the records and costs nothing; a record written through one copy is seen through all others.
// The records are freed when the last copy lets go. Copies of one list may be made and destroyed on different
// threads at once. One array object, and the records themselves, are guarded by whoever uses them.
#ifndef KIVUTILITY_KIVRECORDARRAY_H
#define KIVUTILITY_KIVRECORDARRAY_H

#include "KivExport.h"
#include "KivRecords.h"

#include <memory>

// What all arrays have in common. Nothing here throws: without memory an array that is made is empty, and one
// that should grow stays as it was.
template <class Record> class KIV_API KivRecordArray {
public:
    KivRecordArray() = default;

    // `count` records, zero in every byte; a count below 1 makes an empty array.
    KivRecordArray(int count) noexcept;

    // The same list from now on. Declared, so that there is no move: it would leave a count without records.
    KivRecordArray(const KivRecordArray&)            = default;
    KivRecordArray& operator=(const KivRecordArray&) = default;
    ~KivRecordArray()                                = default;

    // Record i, 0..size() - 1: there is no check.
    Record& operator[](int i) const { return m_records.get()[i]; }

    int size() const { return m_count; }

    // Whether both are the same list, which two empty ones are as well; what the records hold is not
    // compared.
    bool operator==(const KivRecordArray& other) const { return m_records == other.m_records; }

protected:
    // Lets go of the list, which leaves this array empty.
    void dispose() noexcept { *this = {}; }

    // Makes this array a new list: its records, then those of `other`. Nothing happens when `other` is the
    // same list, without memory, or when the count would not fit into an int.
    void Append(const KivRecordArray& other) noexcept;

private:
    std::shared_ptr<Record> m_records; // the first of them
    int                     m_count = 0;
};

// Every record that there is an array of.
#define KIV_FOR_EACH_LISTED_RECORD(RECORD)                                                                   \
    RECORD(Kiv_FILE_INFO)                                                                                    \
    RECORD(sLiveChannelInfo)                                                                                 \
    RECORD(_UpLoad_Time_)                                                                                    \
    RECORD(sUploadFileInfo)                                                                                  \
    RECORD(Kiv_STM_SESSION_INFO)                                                                             \
    RECORD(Kiv_SYSTEM_STATUS)

#define KIV_DECLARE_RECORD_ARRAY(Record) extern template class KIV_API KivRecordArray<Record>;
KIV_FOR_EACH_LISTED_RECORD(KIV_DECLARE_RECORD_ARRAY)
#undef KIV_DECLARE_RECORD_ARRAY

class KIV_API Kiv_FILE_INFO_ARRAY : public KivRecordArray<Kiv_FILE_INFO> {
public:
    using KivRecordArray::KivRecordArray;
};

class KIV_API Kiv_CHANNEL_INFO_ARRAY : public KivRecordArray<sLiveChannelInfo> {
public:
    using KivRecordArray::KivRecordArray;
};

class KIV_API Kiv_UPLOAD_TIME_ARRAY : public KivRecordArray<_UpLoad_Time_> {
public:
    using KivRecordArray::KivRecordArray;
};

class KIV_API Kiv_UPLOAD_FILEINFO_ARRAY : public KivRecordArray<sUploadFileInfo> {
public:
    using KivRecordArray::KivRecordArray;
};

class KIV_API Kiv_STM_SESSION_INFO_ARRAY : public KivRecordArray<Kiv_STM_SESSION_INFO> {
public:
    using KivRecordArray::KivRecordArray;

    // Appends the sessions of `other`. This array parts from its copies, which keep the shorter list, unless
    // `other` is one of them: then nothing happens, nor does it without memory.
    Kiv_STM_SESSION_INFO_ARRAY& operator+=(const Kiv_STM_SESSION_INFO_ARRAY& other) noexcept;
};

class KIV_API Kiv_SYSTEM_STATUS_ARRAY : public KivRecordArray<Kiv_SYSTEM_STATUS> {
public:
    using KivRecordArray::KivRecordArray;
};

#endif
