// The Win32 types that the interface is written in: the system's own on Windows, equivalents elsewhere.
#ifndef KIVUTILITY_KIVPLATFORM_H
#define KIVUTILITY_KIVPLATFORM_H

#include "KivExport.h"

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#else

#include <cstdint>
#include <cstring>
#include <memory>
#include <pthread.h>

// An object of the kernel; null is none.
using HANDLE = void*;

// A cheap lock, recursive for the thread that is in it.
using CRITICAL_SECTION = pthread_mutex_t;

// An open registry key, or one of the roots below. The roots are never closed.
using HKEY = struct KivRegistryKey*;

inline const HKEY HKEY_CLASSES_ROOT  = reinterpret_cast<HKEY>(std::uintptr_t{0x80000000});
inline const HKEY HKEY_CURRENT_USER  = reinterpret_cast<HKEY>(std::uintptr_t{0x80000001});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});
inline const HKEY HKEY_USERS         = reinterpret_cast<HKEY>(std::uintptr_t{0x80000003});

// A 128-bit identifier; the first three fields are numbers in the host's byte order.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t  Data4[8];
};

inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }

// Names a window; null is none. It is an identity and points to nothing: the handle of a window that is gone
// names no other one, for as long as the library stays loaded.
using HWND = struct KivWindow*;

// The two words that a message carries, each wide enough for a pointer.
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

// A message as it was posted to a window.
struct KivWindowMessage {
    unsigned int id;
    WPARAM       wParam;
    LPARAM       lParam;
};

namespace kiv::platform {
class MessageQueue;
}

// What a console has instead of a window: a queue of the messages posted to its handle. Any thread may post
// and any thread may fetch; messages come in the order in which they were posted.
//
// At most 10,000 messages wait at one time; a post to a full queue fails and leaves it as it is. So does a
// post to the handle once the window is destroyed. Messages that were not fetched by then are lost with what
// they carry: a console stops those who post, then fetches until none is left. Nobody
// may be fetching when the window is destroyed.
class KIV_API KivMessageWindow {
public:
    // Throws std::bad_alloc.
    KivMessageWindow();
    ~KivMessageWindow();

    KivMessageWindow(const KivMessageWindow&)            = delete;
    KivMessageWindow& operator=(const KivMessageWindow&) = delete;

    // Never null.
    HWND GetHandle() const;

    // Moves the oldest message into `out`. Where there is none it waits for one, at most `timeoutMs`
    // milliseconds: 0 only looks, -1 waits for ever. False, and `out` as it was, when none came.
    bool Get(KivWindowMessage& out, int timeoutMs);

private:
    std::unique_ptr<kiv::platform::MessageQueue> m_queue;
};

#endif

// Shows a pop-up and, where somebody has to answer it, returns when he has. It gets NUL-terminated texts that
// live as long as the call, must not throw, and may be called by several threads at once. It must stay
// callable until the process ends: one that was replaced may still be under way.
using KivPopUpHandler = void (*)(const char* title, const char* text);

// Sets what shows the library's pop-ups from now on; a service or a test sets its own. Null restores the
// default: a message box without owner and with an OK button on Windows, one line on standard error
// elsewhere. Any thread; a pop-up on its way in another thread may still go to the handler before.
KIV_API void KivSetPopUpHandler(KivPopUpHandler handler);

#endif
