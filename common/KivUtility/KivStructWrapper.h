// What packs the management records into bytes and reads them back.
#ifndef KIVUTILITY_KIVSTRUCTWRAPPER_H
#define KIVUTILITY_KIVSTRUCTWRAPPER_H

#include "KivDynaBuffer.h"
#include "KivExport.h"
#include "KivRecords.h"

// Thrown while a record is written, and by nothing else. It keeps the pointer that it was given: a literal.
class KIV_API StructWrapperException {
public:
    explicit StructWrapperException(const char* reason) noexcept : m_reason(reason) {}

    const char* getReason() const noexcept { return m_reason; }

    // Writes the reason where a debugger looks: its output window on Windows, standard error elsewhere.
    virtual void debug_print() const;

private:
    const char* m_reason;
};

// A 64-bit number from host to network byte order and back; both do the same.
KIV_API long long hton64(long long value);
KIV_API long long ntoh64(long long value);

// The base of all wrappers. A wrapper works on one record, which it neither owns nor frees.
//
// Writing and reading never convert: the sender calls toNetByteOrder(), getOutgoingStruct() and, where it
// goes on using the record, toHostByteOrder(); the receiver calls setIncomingStruct() and toHostByteOrder().
// The conversions change the record in place, so nobody else may read it in between. A wrapper is used by
// one thread at a time.
//
// The order of the virtual operations is part of the interface.
class KIV_API KivStructWrapperBase {
public:
    KivStructWrapperBase()                                       = default;
    KivStructWrapperBase(const KivStructWrapperBase&)            = default;
    KivStructWrapperBase& operator=(const KivStructWrapperBase&) = default;

    // Appends the record to the buffer, packed: each field's bytes as they lie in memory, character arrays
    // whole. Throws StructWrapperException "Not enough memory"; what put() appended by then stays.
    virtual void getOutgoingStruct(CKivDynaBuffer& buffer);

    // Fills the record from the `len` bytes at src. Where they are too few, that is reported as an error
    // event with a pop-up, what is there is taken and the rest of the record becomes zero.
    virtual void setIncomingStruct(const char* src, int len);

    // Converts the record's numbers in place.
    virtual void toNetByteOrder();
    virtual void toHostByteOrder();

    // Bytes that the record takes when it is written.
    virtual int getExactStructSize();

protected:
    // Appends `len` bytes; the only operation that touches the buffer. 0 bytes are none. Throws
    // StructWrapperException when there is no memory.
    virtual void put(CKivDynaBuffer& buffer, const char* data, int len);

    // Append the number's bytes as they lie in memory. An unsigned long is sent as 32 bits, which on Linux
    // std::uint64_t is too: cast that to unsigned long long, and a char to unsigned char.
    virtual void put(CKivDynaBuffer& buffer, long long value);
    virtual void put(CKivDynaBuffer& buffer, unsigned long long value);
    virtual void put(CKivDynaBuffer& buffer, int value);
    virtual void put(CKivDynaBuffer& buffer, unsigned int value);
    virtual void put(CKivDynaBuffer& buffer, unsigned long value);
    virtual void put(CKivDynaBuffer& buffer, short value);
    virtual void put(CKivDynaBuffer& buffer, unsigned short value);
    virtual void put(CKivDynaBuffer& buffer, unsigned char value);
    virtual void put(CKivDynaBuffer& buffer, bool value);

    // Copies `len` bytes from src to dst and moves src past them. Bytes at or behind `bound` are never read:
    // where the field reaches beyond it, that is reported and the missing bytes become zero.
    virtual void setAndAdvance(void* dst, const char*& src, int len, const char* bound);

    int m_exactStructSize = 0; // what getExactStructSize() found, 0 before that

public:
    virtual ~KivStructWrapperBase() = default;
};

// What the wrappers of the records below have in common. `record` must outlive the wrapper.
// A class derived from a wrapper sees each field go through put() and setAndAdvance(), in the order of the
// wire; a record within the record has a wrapper of its own, and goes through put() as one block. Programs
// that derive are built with run-time type information.
template <class Record> class KIV_API KivRecordWrapper : public KivStructWrapperBase {
public:
    explicit KivRecordWrapper(Record& record) : m_record(&record) {}

    void getOutgoingStruct(CKivDynaBuffer& buffer) override;
    void setIncomingStruct(const char* src, int len) override;
    void toNetByteOrder() override;
    void toHostByteOrder() override;
    int  getExactStructSize() override;

private:
    Record* m_record;

    bool                       MayReplaceOperations() const;
    template <class Part> void PutFields(CKivDynaBuffer& buffer, Part& part);
    template <class Part> void SetFields(Part& part, const char*& src, const char* start, const char* bound);
};

// Every record and its wrapper: RECORD(type, wrapper).
#define KIV_FOR_EACH_RECORD(RECORD)                                                                          \
    RECORD(Kiv_APP_INFO, Kiv_APP_INFO_WRAPPER)                                                               \
    RECORD(Kiv_SYSTEM_STATUS, Kiv_SYSTEM_STATUS_WRAPPER)                                                     \
    RECORD(Kiv_FS_PERFORMANCE, Kiv_FS_PERFORMANCE_WRAPPER)                                                   \
    RECORD(Kiv_STM_PERFORMANCE, Kiv_STM_PERFORMANCE_WRAPPER)                                                 \
    RECORD(Kiv_FILE_KEY, Kiv_FILE_KEY_WRAPPER)                                                               \
    RECORD(Kiv_FILE_ADDRESS, Kiv_FILE_ADDRESS_WRAPPER)                                                       \
    RECORD(Kiv_FILE_INFO_STATIC, Kiv_FILE_INFO_STATIC_WRAPPER)                                               \
    RECORD(Kiv_FILE_INFO_DYNAMIC, Kiv_FILE_INFO_DYNAMIC_WRAPPER)                                             \
    RECORD(Kiv_FILE_INFO_UPDATABLE, Kiv_FILE_INFO_UPDATABLE_WRAPPER)                                         \
    RECORD(Kiv_FILE_INFO, Kiv_FILE_INFO_WRAPPER)                                                             \
    RECORD(Kiv_FS_SESSION_INFO, Kiv_FS_SESSION_INFO_WRAPPER)                                                 \
    RECORD(Kiv_STM_TARGET, Kiv_STM_TARGET_WRAPPER)                                                           \
    RECORD(Kiv_STM_CONNECT_INFO, Kiv_STM_CONNECT_INFO_WRAPPER)                                               \
    RECORD(Kiv_STM_SESSION_INFO, Kiv_STM_SESSION_INFO_WRAPPER)                                               \
    RECORD(Kiv_SIMPLE_STM_SESSION_INFO, Kiv_SIMPLE_STM_SESSION_INFO_WRAPPER)                                 \
    RECORD(Kiv_LOGIN_INFO, Kiv_LOGIN_INFO_WRAPPER)                                                           \
    RECORD(Kiv_FILE_HANDLE, Kiv_FILE_HANDLE_WRAPPER)                                                         \
    RECORD(Kiv_EVENTLOG_INFO, Kiv_EVENTLOG_INFO_WRAPPER)                                                     \
    RECORD(Kiv_DISK_INFO, Kiv_DISK_INFO_WRAPPER)                                                             \
    RECORD(Kiv_USER_DISK_QUOTA, Kiv_USER_DISK_QUOTA_WRAPPER)                                                 \
    RECORD(Kiv_USER_INFO, Kiv_USER_INFO_WRAPPER)                                                             \
    RECORD(Kiv_GROUP_INFO, Kiv_GROUP_INFO_WRAPPER)                                                           \
    RECORD(Kiv_SIMPLE_USER_GRP_INFO, Kiv_SIMPLE_USER_GRP_INFO_WRAPPER)                                       \
    RECORD(sLiveChannelInfo, sLiveChannelInfo_WRAPPER)                                                       \
    RECORD(sUploadFileInfo, sUploadFileInfo_WRAPPER)                                                         \
    RECORD(_UpLoad_Time_, sUpLoadTime_WRAPPER)

// NOLINTBEGIN(bugprone-macro-parentheses): types cannot stand in parentheses
#define KIV_DECLARE_WRAPPER(Record, Wrapper)                                                                 \
    extern template class KIV_API KivRecordWrapper<Record>;                                                  \
    class KIV_API                 Wrapper : public KivRecordWrapper<Record> {                                \
                    public:                                                                                  \
                        using KivRecordWrapper<Record>::KivRecordWrapper;                                    \
    };
KIV_FOR_EACH_RECORD(KIV_DECLARE_WRAPPER)
#undef KIV_DECLARE_WRAPPER
// NOLINTEND(bugprone-macro-parentheses)

#endif
