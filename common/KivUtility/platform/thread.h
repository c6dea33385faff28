// Threads of the system, and how they stand to the loading and unloading of this library.
#ifndef KIVUTILITY_PLATFORM_THREAD_H
#define KIVUTILITY_PLATFORM_THREAD_H

#include "KivPlatform.h"

#include <cstdint>

namespace kiv::platform {

using ThreadBody = void (*)(void* argument);

// Begins a thread that calls body(argument) and ends with it. Both results are written before the body is
// called: `thread` a handle to be closed, null where the system has no thread to give, and `id` the system's
// number of the thread, which is left alone in that case.
//
// On Windows the thread holds a reference on this library until its end. Elsewhere whoever unloads the
// library has joined its threads before.
void StartThread(ThreadBody body, void* argument, HANDLE& thread, std::uint32_t& id) noexcept;

// What follows does nothing, and gives false, for a null handle. In a process that was forked off, all
// threads of its parent have ended.

// Another handle of the same thread; null without memory.
HANDLE ShareThread(HANDLE thread) noexcept;

// Gives a handle back. The thread goes on.
void CloseThread(HANDLE thread) noexcept;

bool IsAlive(HANDLE thread) noexcept;

// Waits until the thread has ended, at most `ms` milliseconds; 0 only looks, kForever never gives up. Whether
// it has: it then runs no code any more.
bool JoinThread(HANDLE thread, std::uint32_t ms) noexcept;

// The suspensions of a thread that count, as on Windows.
inline constexpr int kMostSuspensions = 127;

// Stops the thread wherever it is until it was resumed as often, and returns when it has stopped or ended.
void Suspend(HANDLE thread) noexcept;
void Resume(HANDLE thread) noexcept;

// How the thread stands to others: one of these or 0, where it begins. A refusal is not told.
inline constexpr int kHighestLevel = 2;
inline constexpr int kLowestLevel  = -2;
void                 SetLevel(HANDLE thread, int level) noexcept;

// For the destructors of static objects: true when no thread but this one is inside the library any more, so
// that nobody is to be waited for and a lock may still be held by somebody who is gone. So it is when Windows
// unloads a library or ends a process; elsewhere threads run on meanwhile.
bool IsAloneAtUnload() noexcept;

} // namespace kiv::platform

#endif
