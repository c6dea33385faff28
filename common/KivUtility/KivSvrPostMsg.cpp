// Event posting: envelopes, the log file's lines, the cutting of texts, and reports from a source position.
#include "KivSvrPostMsg.h"

#include "KivStrRes.h"
#include "PopUp.h"
#include "Undying.h"
#include "platform/executable.h"
#include "platform/wallclock.h"
#include "platform/window.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kPieceBytes   = 60;
constexpr std::size_t kReportBytes  = 1024; // with the NUL
constexpr int         kGeneralError = 2;    // the return code of whoever names none

static_assert(sizeof(Kiv_SPMSG_ENVELOPE) == 2 * sizeof(LPARAM), "consoles read two words");
static_assert(kPieceBytes + 2 <= sizeof(Kiv_EVENTLOG_INFO::text), "a blank in front, a NUL behind");

struct Free {
    void operator()(void* block) const noexcept { std::free(block); }
};

// From malloc, which gives null instead of an exception. Only DisposeMsg frees what was posted, so that the
// runtime library that made a block also takes it back.
template <class T> using Block = std::unique_ptr<T, Free>;

// A copy of `count` values; null without memory or when there is nothing to copy.
template <class T> Block<T> Copy(const T* from, std::size_t count = 1) {
    if (from == nullptr) return nullptr;
    Block<T> copy(static_cast<T*>(std::malloc(count * sizeof(T))));
    if (copy) std::copy_n(from, count, copy.get());
    return copy;
}

constexpr bool IsBlock(Kiv_SPMSG_TYPE type) { return type >= Kiv_SPMSG_STRING && type <= Kiv_SPMSG_SESSION; }

const char* SeverityName(std::uint32_t eventType) {
    switch (eventType) {
    case kKivEvent_Information: return "Info";
    case kKivEvent_Warning: return "Warning";
    case kKivEvent_Error: return "Error";
    default: return "Unknown";
    }
}

struct LogMutex : std::mutex {};

// Guards the log files; there may be posts until the process ends.
std::mutex& LogLock() { return kiv::Undying<LogMutex>(); }

std::string LogLine(const Kiv_EVENTLOG_INFO& event) {
    const auto* const end = std::ranges::find(event.text, '\0');
    return kiv::platform::DateText(event.time) + ", " + SeverityName(event.eventType) + '('
           + std::to_string(event.eventId) + ") : " + std::string(event.text, end) + '\n';
}

// Takes the next piece off the front of `text`.
std::string_view TakePiece(std::string_view& text) {
    std::size_t length = text.size();
    if (length > kPieceBytes) {
        const std::size_t lastBreak = text.substr(0, kPieceBytes).find_last_of(" \t,.");
        length                      = lastBreak == std::string_view::npos ? kPieceBytes : lastBreak + 1;
    }
    const std::string_view piece = text.substr(0, length);
    text.remove_prefix(length);
    return piece;
}

std::string_view LastPathComponent(const char* path) {
    const std::string_view whole = path != nullptr ? path : "";
    return whole.substr(whole.find_last_of("/\\") + 1); // npos + 1 is 0
}

} // namespace

constinit CSvrPostMsg g_theSvrPostMsg;

CSvrPostMsg::~CSvrPostMsg() {
    const std::lock_guard held(LogLock());
    if (m_logFile != nullptr) std::fclose(m_logFile);
    m_logFile = nullptr; // for those who post while they are destroyed themselves, after this object
}

void CSvrPostMsg::EnableLogFile() {
    const std::lock_guard held(LogLock());
    const std::string     folder = kiv::platform::ExecutableFolder();
    if (m_logFile == nullptr && !folder.empty())
        m_logFile = std::fopen((folder + "LogFile.txt").c_str(), "w");
}

void CSvrPostMsg::Register(HWND window, unsigned int msgId) noexcept {
    if (m_window != window || m_msgId != msgId) PostMsg("Kiv_SvrPostMsg_Register change hWnd & msgId");
    m_window = window;
    m_msgId  = msgId;
}

void CSvrPostMsg::UnRegister() noexcept {
    PostMsg("Kiv_SvrPostMsg_UnRegister called");
    m_window = nullptr;
    m_msgId  = 0;
}

int CSvrPostMsg::PostMsg(int value) noexcept {
    return PostMsg(Kiv_SPMSG_INT, reinterpret_cast<void*>(static_cast<LPARAM>(value)));
}

int CSvrPostMsg::PostMsg(const char* text) noexcept {
    auto copy = Copy(text, text != nullptr ? std::strlen(text) + 1 : 0);
    return copy ? PostMsg(Kiv_SPMSG_STRING, copy.release()) : 0;
}

int CSvrPostMsg::PostMsg(const Kiv_EVENTLOG_INFO* info) noexcept {
    auto copy = Copy(info);
    if (!copy) return 0;
    if (copy->time == 0) copy->time = kiv::platform::Now();
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): whoever fetches the message frees the copy
    return PostMsg(Kiv_SPMSG_EVENTLOG, copy.release());
}

int CSvrPostMsg::PostMsg(const Kiv_STM_SESSION_INFO* info) noexcept {
    auto copy = Copy(info);
    return copy ? PostMsg(Kiv_SPMSG_SESSION, copy.release()) : 0;
}

int CSvrPostMsg::PostMsg(Kiv_SPMSG_TYPE type, void* payload) noexcept {
    if (IsBlock(type) && payload == nullptr) return 0;
    Block<void>        owned(IsBlock(type) ? payload : nullptr);
    const HWND         window = m_window;
    const unsigned int msgId  = m_msgId;
    if (window != nullptr && msgId != 0) {
        const Kiv_SPMSG_ENVELOPE content{type, reinterpret_cast<LPARAM>(payload)};
        auto                     envelope = Copy(&content);
        if (!envelope
            || !kiv::platform::PostToWindow(window, msgId, reinterpret_cast<WPARAM>(envelope.get()), 0)) {
            return 0;
        }
        // the console's now, and perhaps freed already
        static_cast<void>(envelope.release());
        static_cast<void>(owned.release());
        return 1;
    }
    return type == Kiv_SPMSG_EVENTLOG ? Log(*static_cast<const Kiv_EVENTLOG_INFO*>(payload)) : 0;
}

// Writes the event's line to the log file. 0 when there is none, and without memory.
int CSvrPostMsg::Log(const Kiv_EVENTLOG_INFO& event) noexcept {
    try {
        const std::lock_guard held(LogLock());
        if (m_logFile == nullptr) return 0;
        const std::string line = LogLine(event);
        std::fwrite(line.data(), 1, line.size(), m_logFile);
        std::fflush(m_logFile);
        return 1;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

int CSvrPostMsg::PostEvent(Kiv_SUBSYSTEM subsystem, int eventId, Kiv_EVENT_TYPE type, const char* text,
                           long time) noexcept {
    Kiv_EVENTLOG_INFO event{};
    event.subsystem = static_cast<std::uint32_t>(subsystem);
    event.eventId   = eventId;
    event.eventType = static_cast<std::uint32_t>(type);
    event.time      = time != 0 ? static_cast<std::uint32_t>(time) : kiv::platform::Now();

    std::string_view rest = text != nullptr ? text : "";
    if (rest.ends_with('\n')) rest.remove_suffix(1);
    do {
        const std::string_view piece = TakePiece(rest);
        std::ranges::fill(event.text, '\0');
        event.text[0] = ' ';
        piece.copy(event.text + 1, piece.size());
        if (PostMsg(&event) == 0) return 0;
    } while (!rest.empty());
    return 1;
}

void CSvrPostMsg::DisposeMsg(WPARAM wParam) noexcept {
    const Block<Kiv_SPMSG_ENVELOPE> envelope(reinterpret_cast<Kiv_SPMSG_ENVELOPE*>(wParam));
    if (envelope && IsBlock(envelope->type)) std::free(reinterpret_cast<void*>(envelope->payload));
}

int Kiv_RaiseEvent(Kiv_SUBSYSTEM subsystem, int eventId, Kiv_EVENT_TYPE type, const char* text) {
    return g_theSvrPostMsg.PostEvent(subsystem, eventId, type, text, 0);
}

void Kiv_RaiseWEmsg(Kiv_EVENT_TYPE type, const char* file, int line, int kivRc, const char* msg, int popUp) {
    const int              code     = kivRc != 0 ? kivRc : kGeneralError;
    const bool             hasText  = msg != nullptr && *msg != '\0';
    const CKivString       standard = hasText ? CKivString() : KivGetStrRes(code);
    const char* const      text     = hasText ? msg : static_cast<const char*>(standard);
    const std::string_view name     = LastPathComponent(file);

    char report[kReportBytes];
    std::snprintf(report, sizeof report, "%.*s(%d) : %s", static_cast<int>(name.size()), name.data(), line,
                  text);
    g_theSvrPostMsg.PostEvent(kKivSys_Unknown, code, type, report, 0);
    if (popUp != 0) kiv::ShowPopUp("PopUp Error", report);
}
