// Critical sections as recursive mutexes.
#include "platform/criticalsection.h"

namespace kiv::platform {

void Initialize(CRITICAL_SECTION& section) noexcept {
    ::pthread_mutexattr_t attributes;
    ::pthread_mutexattr_init(&attributes);
    ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    ::pthread_mutex_init(&section, &attributes);
    ::pthread_mutexattr_destroy(&attributes);
}

void Delete(CRITICAL_SECTION& section) noexcept { ::pthread_mutex_destroy(&section); }

void Enter(CRITICAL_SECTION& section) noexcept { ::pthread_mutex_lock(&section); }

void Leave(CRITICAL_SECTION& section) noexcept { ::pthread_mutex_unlock(&section); }

} // namespace kiv::platform
