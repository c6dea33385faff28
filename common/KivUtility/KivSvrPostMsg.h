// Event posting: how a server's threads report to its console window, or to a log file where there is none.
//
// A console registers its window and a message id with g_theSvrPostMsg. From then on each report is copied to
// the heap and posted to the window as a message of that id whose first parameter is an envelope; the console
// looks into it and hands it to CSvrPostMsg::DisposeMsg. A server without a window enables the log file.
//
// Nothing here waits for the console, and only the log file has a lock, so any thread may post at any time.
// Register before the threads that post are started, and end them before UnRegister(): a post on its way
// during a change may still go to the target before, or to the one window with the other's message id.
#ifndef KIVUTILITY_KIVSVRPOSTMSG_H
#define KIVUTILITY_KIVSVRPOSTMSG_H

#include "KivExport.h"
#include "KivNames.h"
#include "KivPlatform.h"
#include "KivRecords.h"

#include <atomic>
#include <cstdio>

// The kind of a posted message, which tells what its payload is.
enum Kiv_SPMSG_TYPE : int {
    Kiv_SPMSG_INT      = 1, // the int itself
    Kiv_SPMSG_STRING   = 2, // const char*, NUL-terminated
    Kiv_SPMSG_EVENTLOG = 3, // const Kiv_EVENTLOG_INFO*
    Kiv_SPMSG_SESSION  = 4  // const Kiv_STM_SESSION_INFO*
};

// How grave an event is; any other value is shown as unknown.
enum Kiv_EVENT_TYPE : int { kKivEvent_Information = 1, kKivEvent_Warning = 2, kKivEvent_Error = 3 };

// What the first parameter of a posted message points to. It and what its payload points to belong to the
// console until it calls CSvrPostMsg::DisposeMsg.
struct Kiv_SPMSG_ENVELOPE {
    Kiv_SPMSG_TYPE type;
    LPARAM         payload; // static_cast<int> gives the int, reinterpret_cast the pointer
};

// Posts reports to one window. The posting operations return 1 when the message was queued or went to the log
// file. They return 0, and nothing is left behind, when there is no target, when the window is gone or its
// queue full, without memory, and for a null pointer.
class KIV_API CSvrPostMsg {
public:
    // Neither target nor log file.
    constexpr CSvrPostMsg() = default;

    // Closes the log file. Nobody is told.
    ~CSvrPostMsg();

    CSvrPostMsg(const CSvrPostMsg&)            = delete;
    CSvrPostMsg& operator=(const CSvrPostMsg&) = delete;

    // Opens "LogFile.txt" in the folder of the running executable and empties it, unless it is open already.
    // Events go there as long as no target is registered; everything else that has no target is dropped. A
    // file that cannot be opened leaves things as they were. Throws std::bad_alloc.
    void EnableLogFile();

    // Posts to `window` from now on, as messages of id `msgId`. Another target registered before is first
    // told so by a text. With a null window or the id 0 there is no target.
    void Register(HWND window, unsigned int msgId) noexcept;

    // Tells the target by a text, then posts to none. For a console before its window goes; it fetches what
    // was posted until then and disposes of it.
    void UnRegister() noexcept;

    // Posts a number.
    int PostMsg(int value) noexcept;

    // Posts a copy of the text.
    int PostMsg(const char* text) noexcept;

    // Posts a copy of the event; a time of 0 becomes the time now in the copy.
    int PostMsg(const Kiv_EVENTLOG_INFO* info) noexcept;

    // Posts a copy of the session's state.
    int PostMsg(const Kiv_STM_SESSION_INFO* info) noexcept;

    // Posts an event. A final line feed of `text` is dropped and the text cut into pieces of at most 60
    // bytes, which end after a blank, tab, comma or full stop where there is one; each piece becomes an event
    // record of its own with a blank in front. A null or empty text gives one record with nothing but the
    // blank. `time` is in seconds since 1970-01-01 UTC, 32 bits of it count, 0 is now. The first piece that
    // cannot be posted ends it with 0; those before it stay posted.
    int PostEvent(Kiv_SUBSYSTEM subsystem, int eventId, Kiv_EVENT_TYPE type, const char* text,
                  long time) noexcept;

    // Frees a message that was posted here, given its first parameter; once for every message. 0 does
    // nothing.
    static void DisposeMsg(WPARAM wParam) noexcept;

protected:
    // Posts `payload`, which it owns from the call on, whatever comes of it: for Kiv_SPMSG_INT the number in
    // a pointer's clothes, otherwise a block from the malloc of the library's own runtime. An event's time is
    // taken as it is.
    int PostMsg(Kiv_SPMSG_TYPE type, void* payload) noexcept;

private:
    std::atomic<HWND>         m_window = nullptr;
    std::atomic<unsigned int> m_msgId  = 0;

    std::FILE* m_logFile = nullptr; // under a lock of its own: it may be closed while others write

    int Log(const Kiv_EVENTLOG_INFO& event) noexcept;
};

// The process's one poster. It is ready before any other static object is, and may be used from their
// constructors.
extern KIV_API CSvrPostMsg g_theSvrPostMsg;

// g_theSvrPostMsg.PostEvent with the time now.
KIV_API int Kiv_RaiseEvent(Kiv_SUBSYSTEM subsystem, int eventId, Kiv_EVENT_TYPE type, const char* text);

// Reports a warning or an error met at a position in a source file, as an event of no subsystem whose id is
// `kivRc`, now: "NAME(LINE) : TEXT". NAME is what stands behind the last slash or backslash of `file`, null
// is as good as empty. TEXT is `msg`, or for a null or empty one the text of message `kivRc` (KivStrRes.h); a
// `kivRc` of 0 counts as 2, the general error. What is longer than 1023 bytes is cut off. With `popUp` other
// than 0 the report is also shown, titled "PopUp Error", whether it could be posted or not: by default that
// waits for somebody to press a button (KivSetPopUpHandler). Throws std::bad_alloc, and only without `msg`.
KIV_API void Kiv_RaiseWEmsg(Kiv_EVENT_TYPE type, const char* file, int line, int kivRc, const char* msg,
                            int popUp);

#endif
