// The error stack's records, and their dump.
#include "errStack.h"

#include "ConsistencyReport.h"
#include "KivReturnCodes.h"
#include "KivStrRes.h"
#include "KivSynchronizeUtil.h"
#include "platform/file.h"
#include "platform/wallclock.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <utility>

using kiv::platform::OutputFile;

namespace {

constexpr const char* kUnit = "common/KivUtility/errStack";

constexpr KivES_ERR_TYPE kNoError{0}, kBreak{1};
constexpr std::uint32_t  kLastRcWithoutCause = 2;   // success, false and the general error explain nothing
constexpr std::uint32_t  kFirstNetworkRc     = 104; // those below are rows of the message table

std::unique_ptr<OutputFile> CreateFirstFreeDump() {
    for (int number = 1;; ++number) {
        char name[24];
        std::snprintf(name, sizeof name, "errDump%05d.dat", number);
        auto            file = OutputFile::Open(name, OutputFile::Existing::Refuse);
        std::error_code failed;
        if (file || !std::filesystem::exists(std::filesystem::symlink_status(name, failed))) return file;
    }
}

} // namespace

struct CKivErrorStack::Record {
    KivES_ERR_TYPE type;
    std::uint32_t  kivRc;
    std::int32_t   oEC;
    std::string    msg;

    std::string DumpLine() const {
        const std::tm now = kiv::platform::LocalTime(kiv::platform::Now());
        char          date[32], fields[64];
        std::strftime(date, sizeof date, "%m/%d/%y : %H:%M:%S : ", &now);
        std::snprintf(fields, sizeof fields, "Type=%d\tKivRc=%d\toEC=%d\tMsg=", type,
                      static_cast<std::int32_t>(kivRc), oEC);
        return date + (fields + msg) + '\n';
    }
};

// What a stack shares with its copies.
struct CKivErrorStack::State {
    explicit State(int mostRecords) : capacity(static_cast<std::size_t>(std::max(mostRecords, 0))) {}

    const std::size_t           capacity;
    Mutex                       lock;                   // of the rest
    std::deque<Record>          records;                // a record stays where it is until it is dropped
    std::atomic<KivES_ERR_TYPE> highestType = kNoError; // may be read without the lock
    std::unique_ptr<OutputFile> log;

    std::deque<Record> CopyRecords() {
        const ScopeLock held(lock);
        return records;
    }

    // Nothing where there is no such record.
    std::optional<Record> CopyRecord(std::size_t index) {
        const ScopeLock held(lock);
        return index < records.size() ? std::optional(records[index]) : std::nullopt;
    }
};

CKivErrorStack::CKivErrorStack(int capacity) : m_state(std::make_shared<State>(capacity)) {}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the records are copied before any is dropped
CKivErrorStack& CKivErrorStack::operator=(const CKivErrorStack& other) {
    CKivErrorStack copy(static_cast<int>(m_state->capacity));
    for (Record& record : other.m_state->CopyRecords()) {
        if (copy.Add(std::move(record)) == 0) throw std::bad_alloc();
    }
    const ScopeLock held(m_state->lock);
    Reset();
    m_state->records.swap(copy.m_state->records);
    m_state->highestType = copy.GetHighestErrType();
    return *this;
}

// Without memory 0, and everything is as it was.
int CKivErrorStack::Add(Record record) noexcept {
    const ScopeLock held(m_state->lock);
    auto&           records  = m_state->records;
    const bool      wasEmpty = records.empty();
    std::string     line;
    try {
        if (m_state->log) line = record.DumpLine();
        records.push_back(std::move(record));
    } catch (const std::bad_alloc&) {
        return 0;
    }
    const KivES_ERR_TYPE type = records.back().type;
    if (type > m_state->highestType) m_state->highestType = type;
    while (!wasEmpty && records.size() > m_state->capacity) ChopHeadRecord();
    if (m_state->log) {
        m_state->log->Write(line);
        m_state->log->Commit(); // what was written, also where the disk is full
    }
    return 1;
}

int CKivErrorStack::AddErrMsg(KivES_ERR_TYPE type, unsigned long kivRc, int oEC, const char* msg) {
    try {
        return Add({type, static_cast<std::uint32_t>(kivRc), oEC, msg != nullptr ? msg : ""});
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

int CKivErrorStack::ExpandErrMsg(KivES_ERR_TYPE type, unsigned long kivRc, unsigned long causeRc,
                                 int causeOEC, const char* msg) {
    const auto      cause = static_cast<std::uint32_t>(causeRc);
    const ScopeLock held(m_state->lock);
    int             added = 1;
    try {
        if (cause > kLastRcWithoutCause) {
            const CKivString text =
                cause < kFirstNetworkRc ? KivGetStrRes(static_cast<int>(cause)) : FindNetErrorMsg(cause);
            added = AddErrMsg(type, cause, causeOEC, text);
        }
    } catch (const std::bad_alloc&) {
        return 0;
    }
    if (static_cast<std::uint32_t>(kivRc) == 0) return added;
    return added & AddErrMsg(type, kivRc, static_cast<std::int32_t>(cause), msg);
}

void CKivErrorStack::AddBreak() {
    const ScopeLock held(m_state->lock);
    AddErrMsg(kBreak, 0, 0, "break");
    m_state->highestType = kNoError;
}

KivES_ERR_TYPE CKivErrorStack::GetHighestErrType() const { return m_state->highestType; }

int CKivErrorStack::GetErrMsgCount() const {
    const ScopeLock held(m_state->lock);
    return static_cast<int>(m_state->records.size());
}

int CKivErrorStack::GetErrMsg(int index, KivES_ERR_TYPE& type, unsigned long& kivRc, int& oEC,
                              char*& msg) const {
    const ScopeLock held(m_state->lock);
    const auto      at = static_cast<std::size_t>(std::max(index, 0));
    if (at >= m_state->records.size()) return 0;
    Record& record = m_state->records[at];
    type           = record.type;
    kivRc          = record.kivRc;
    oEC            = record.oEC;
    msg            = record.msg.data();
    return 1;
}

int CKivErrorStack::AppendErrStack(const CKivErrorStack* other) {
    if (other == nullptr) return 0;
    if (other == this) kiv::ReportFailedCheck(kUnit, 175, "this!=pErrStack Failed");
    try {
        // one by one, kept: of this very stack, or of one that shares its records, they grow meanwhile, and
        // it ends where the capacity does
        for (std::size_t i = 0; auto record = other->m_state->CopyRecord(i); ++i) {
            if (Add(std::move(*record)) == 0) throw std::bad_alloc();
        }
    } catch (const std::bad_alloc&) {
        kiv::ReportFailedCheck(kUnit, 184, "0 Failed");
        return 0;
    }
    return 1;
}

void CKivErrorStack::ChopHeadRecord() {
    {
        const ScopeLock held(m_state->lock);
        if (!m_state->records.empty()) {
            m_state->records.pop_front();
            return;
        }
    }
    kiv::ReportFailedCheck(kUnit, 165, "m_errMsgCount Failed");
}

void CKivErrorStack::Reset() {
    const ScopeLock held(m_state->lock);
    m_state->records.clear();
    m_state->highestType = kNoError;
    CloseLog();
}

int CKivErrorStack::OpenLog(const char* fileName) {
    const ScopeLock held(m_state->lock);
    CloseLog();
    try {
        const bool isNamed = fileName != nullptr && *fileName != '\0';
        m_state->log =
            isNamed ? OutputFile::Open(fileName, OutputFile::Existing::Overwrite) : CreateFirstFreeDump();
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return m_state->log ? 1 : 0;
}

int CKivErrorStack::CloseLog() {
    const ScopeLock held(m_state->lock);
    m_state->log.reset();
    return 1;
}

CKivString CKivErrorStack::FindNetErrorMsg(unsigned long code) const {
    const ScopeLock held(m_state->lock); // a look-up waits for the record that is being added, kept
    return KivFindNetErrorMsg(code);
}
