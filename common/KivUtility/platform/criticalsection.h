// The cheap recursive lock of a process: the system's critical section, or what stands for it.
#ifndef KIVUTILITY_PLATFORM_CRITICALSECTION_H
#define KIVUTILITY_PLATFORM_CRITICALSECTION_H

#include "KivPlatform.h"

namespace kiv::platform {

// A section is entered between Initialize and Delete, and left as often as it was entered, by the same
// thread.
void Initialize(CRITICAL_SECTION& section) noexcept;
void Delete(CRITICAL_SECTION& section) noexcept; // nobody is in it
void Enter(CRITICAL_SECTION& section) noexcept;
void Leave(CRITICAL_SECTION& section) noexcept;

} // namespace kiv::platform

#endif
