// Event posting: envelopes, the log file's lines, the cutting of texts, and reports from a source position.
#include "KivSvrPostMsg.h"

#include "ConsistencyReport.h"
#include "KivStrRes.h"
#include "platform/executable.h"
#include "platform/messagebox.h"
#include "platform/wallclock.h"
#include "platform/window.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
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

// Messages are freed by whoever fetches them, so they come from malloc, which all modules of a process share.
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

// One line and one write, so that lines of several threads do not mix. The date is as ctime has it in every
// locale; ctime itself is not for several threads.
void WriteLogLine(std::FILE* file, const Kiv_EVENTLOG_INFO& event) {
    static constexpr char kDays[][4]   = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr char kMonths[][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::tm         at           = kiv::platform::LocalTime(event.time);
    char                  line[256];
    const int length = std::snprintf(line, sizeof line, "%s %s %2d %02d:%02d:%02d %d, %s(%d) : %.*s\n",
                                     kDays[at.tm_wday], kMonths[at.tm_mon], at.tm_mday, at.tm_hour, at.tm_min,
                                     at.tm_sec, at.tm_year + 1900, SeverityName(event.eventType),
                                     event.eventId, static_cast<int>(sizeof event.text), event.text);
    if (length < 0) return;
    std::fwrite(line, 1, static_cast<std::size_t>(length), file);
    std::fflush(file);
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

constinit std::atomic<KivPopUpHandler> g_showPopUp = kiv::platform::ShowMessageBox;

} // namespace

constinit CSvrPostMsg g_theSvrPostMsg;

void KivSetPopUpHandler(KivPopUpHandler handler) {
    g_showPopUp = handler != nullptr ? handler : kiv::platform::ShowMessageBox;
}

CSvrPostMsg::~CSvrPostMsg() {
    // no file for those who post to the process's poster while they are destroyed themselves, after it
    if (std::FILE* const file = m_logFile.exchange(nullptr)) std::fclose(file);
}

void CSvrPostMsg::EnableLogFile() {
    if (m_logFile != nullptr) return;
    const std::string folder = kiv::platform::ExecutableFolder();
    if (folder.empty()) return;
    std::FILE* const file   = std::fopen((folder + "LogFile.txt").c_str(), "w");
    std::FILE*       before = nullptr;
    if (file != nullptr && !m_logFile.compare_exchange_strong(before, file)) std::fclose(file);
}

void CSvrPostMsg::Register(HWND window, unsigned int msgId) {
    if (m_window != window || m_msgId != msgId) PostMsg("Kiv_SvrPostMsg_Register change hWnd & msgId");
    m_window = window;
    m_msgId  = msgId;
}

void CSvrPostMsg::UnRegister() {
    PostMsg("Kiv_SvrPostMsg_UnRegister called");
    m_window = nullptr;
    m_msgId  = 0;
}

int CSvrPostMsg::PostMsg(int value) {
    return PostMsg(Kiv_SPMSG_INT, reinterpret_cast<void*>(static_cast<LPARAM>(value)));
}

int CSvrPostMsg::PostMsg(const char* text) {
    auto copy = Copy(text, text != nullptr ? std::strlen(text) + 1 : 0);
    return copy ? PostMsg(Kiv_SPMSG_STRING, copy.release()) : 0;
}

int CSvrPostMsg::PostMsg(const Kiv_EVENTLOG_INFO* info) {
    auto copy = Copy(info);
    if (!copy) return 0;
    if (copy->time == 0) copy->time = kiv::platform::Now();
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): whoever fetches the message frees the copy
    return PostMsg(Kiv_SPMSG_EVENTLOG, copy.release());
}

int CSvrPostMsg::PostMsg(const Kiv_STM_SESSION_INFO* info) {
    auto copy = Copy(info);
    return copy ? PostMsg(Kiv_SPMSG_SESSION, copy.release()) : 0;
}

int CSvrPostMsg::PostMsg(Kiv_SPMSG_TYPE type, void* payload) {
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
    std::FILE* const file = m_logFile;
    if (file == nullptr || type != Kiv_SPMSG_EVENTLOG) return 0;
    WriteLogLine(file, *static_cast<const Kiv_EVENTLOG_INFO*>(payload));
    return 1;
}

int CSvrPostMsg::PostEvent(Kiv_SUBSYSTEM subsystem, int eventId, Kiv_EVENT_TYPE type, const char* text,
                           long time) {
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

void CSvrPostMsg::DisposeMsg(WPARAM wParam) {
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
    if (popUp != 0) g_showPopUp.load()("PopUp Error", report);
}

void kiv::ReportFailedCheck(const char* unit, int line, const char* text) noexcept {
    try {
        Kiv_RaiseWEmsg(kKivEvent_Error, unit, line, 0, text, 1);
    } catch (...) { // no memory, or a handler of pop-ups that breaks its contract
        return;
    }
}
