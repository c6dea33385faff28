// The error stack: a chain of error records that grows as a failure travels up through the layers of a
// server.
#ifndef KIVUTILITY_ERRSTACK_H
#define KIVUTILITY_ERRSTACK_H

#include "KivExport.h"
#include "KivString.h"

#include <memory>

// How severe a record is, as a number; the programs say which numbers. The library's own records, the breaks,
// are of severity 1.
enum KivES_ERR_TYPE : int {};

// Each layer adds what it knows; the oldest record comes first, and the oldest go when there are too many.
// The stack can mirror each record to a dump file as it is added. Adding takes the same time whatever is
// held.
//
// Any number of threads may use one stack at once. An operation holds the stack's lock while it lasts, also
// while a record goes to the disk; no operation holds the locks of two stacks, so two may be assigned to one
// another crosswise. A stack itself is destroyed or copied by its owner alone.
class KIV_API CKivErrorStack {
public:
    // Keeps at most `capacity` records, but the first one that is added to an empty stack stays whatever the
    // capacity is: with 0, or less, every second record empties the stack. Throws std::bad_alloc.
    CKivErrorStack(int capacity = 256);

    // Shares the records, the highest type, the capacity, the lock and the dump file of `other`: what is done
    // to one is done to both. An assignment copies instead, and servers rely on the difference.
    CKivErrorStack(const CKivErrorStack& other) = default;

    // Replaces the records by copies of those that `other` held at one moment, added one by one; closes this
    // stack's dump file. The capacity stays. Assigned to itself, or to one that shares its records, a stack
    // keeps its records and closes its dump file. Throws std::bad_alloc, and then nothing has changed.
    CKivErrorStack& operator=(const CKivErrorStack& other);

    // The last of those that share the records frees them and closes the dump file; the others leave it all.
    ~CKivErrorStack() = default;

    // Appends a record. `kivRc` is a return code (KivReturnCodes.h), of which 32 bits are kept; `oEC` the
    // system's error code, 0 when there is none; `msg` is copied, null is as good as empty. Returns 1, and 0
    // only without memory, with the stack as it was. That the dump cannot be written is not reported.
    int AddErrMsg(KivES_ERR_TYPE type, unsigned long kivRc, int oEC, const char* msg);

    // Appends the cause that a lower layer gave, in words, then the caller's own record, in which the cause's
    // return code stands for the system's error code. A cause of 0, 1 or 2 makes no record, nor does a
    // `kivRc` of 0. The words are those of KivGetStrRes below 104 and of FindNetErrorMsg from there on.
    // Returns 1, and 0 only without memory, which may leave the cause alone.
    int ExpandErrMsg(KivES_ERR_TYPE type, unsigned long kivRc, unsigned long causeRc, int causeOEC,
                     const char* msg);

    // Separates one chain of errors from the next: a record "break" of severity 1, after which the highest
    // type is 0.
    void AddBreak();

    // The highest type added since the last break, the last reset or the construction, and 0 at least. The
    // record itself may be gone. Waits for no lock.
    KivES_ERR_TYPE GetHighestErrType() const;

    int GetErrMsgCount() const;

    // Record `index`, where 0 and anything below is the oldest. Returns 1; or 0, with the outputs as they
    // were, when there is no such record. `msg` belongs to the stack and is valid until the record is
    // dropped.
    int GetErrMsg(int index, KivES_ERR_TYPE& type, unsigned long& kivRc, int& oEC, char*& msg) const;

    // Appends copies of `other`'s records one by one, oldest first, until there is none behind. Returns 1; 0
    // for a null `other` and, with a report, when memory runs out on the way. `other` being this stack is
    // reported as a mistake and done all the same: it, or a copy that shares its records, grows with every
    // record that is added, so that a stack with any fills up to its capacity.
    int AppendErrStack(const CKivErrorStack* other);

    // Drops all records, sets the highest type to 0 and closes the dump file.
    void Reset();

    // Mirrors each record added from now on to a file, instead of the one before: "MM/DD/YY : HH:MM:SS :
    // Type=", the fields and the message, one line a record, which is on the disk when the operation that
    // added it returns. An existing file is written over from its start and keeps what lies behind. With a
    // null or empty name it is the first of "errDump00001.dat", "errDump00002.dat", ... in the working
    // directory that does not exist, made so that no two processes take the same. Returns 1, or 0 when it
    // cannot be opened: then there is no dump.
    int OpenLog(const char* fileName);

    // Always 1.
    int CloseLog();

    // The text of a return code, as KivFindNetErrorMsg gives it.
    CKivString FindNetErrorMsg(unsigned long code) const;

protected:
    // Drops the oldest record. An empty stack is reported and stays as it is.
    void ChopHeadRecord();

private:
    struct Record;
    struct State;

    std::shared_ptr<State> m_state;

    int Add(Record record) noexcept;
};

#endif
