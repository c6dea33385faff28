// What threads wait for: mutexes, semaphores and events, unnamed and of this process alone.
#ifndef KIVUTILITY_PLATFORM_KERNELOBJECT_H
#define KIVUTILITY_PLATFORM_KERNELOBJECT_H

#include "KivPlatform.h"

#include <cstdint>

namespace kiv::platform {

enum class Wait { Signalled, TimedOut, Failed };
inline constexpr std::uint32_t kForever = 0xFFFFFFFF;

// Each gives an object to Close(), or null without memory. Every operation below also takes null: a wait
// fails at once, all else does nothing. An operation of one kind is not for handles of another.
HANDLE NewMutex() noexcept;                         // free
HANDLE NewSemaphore(std::int32_t initial) noexcept; // initial: 0 or more; the most it counts is 0x7FFFFFFF
HANDLE NewEvent(bool manualReset, bool signalled) noexcept;

// Nobody waits for the object any more. A thread that was woken by it may close it although the waking call
// has not returned yet in the other thread. A mutex may still be the caller's.
void Close(HANDLE object) noexcept;

// Waits for at most `ms` milliseconds; 0 only looks, kForever never gives up. Setting the machine's date
// changes nothing. A wait that ended as Signalled has taken the mutex, or one off the semaphore's count, or
// the signal of an auto-reset event; one that ended otherwise has taken nothing.
Wait WaitFor(HANDLE object, std::uint32_t ms) noexcept;

// Mutexes are recursive: the owner releases one as often as it waited for it. A release by anybody else
// changes nothing. When a thread ends that owns one, the next wait gets it, as Signalled.
void Release(HANDLE mutex) noexcept;

// Adds `count`, 1 or more; it adds nothing where that would exceed the most.
void Post(HANDLE semaphore, std::int32_t count) noexcept;

// Waits under way when an event is signalled or pulsed are over, whatever follows at once: all of them for a
// manual-reset event, one for an auto-reset event, and that one has taken the signal. Set leaves the event
// signalled when no wait took it, Pulse leaves it unsignalled. Two signals before a wait count as one.
void Set(HANDLE event) noexcept;
void Pulse(HANDLE event) noexcept;
void Reset(HANDLE event) noexcept;

} // namespace kiv::platform

#endif
