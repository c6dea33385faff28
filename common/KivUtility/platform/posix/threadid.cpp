// The kernel's number of a thread, asked for once a thread.
#include "platform/threadid.h"

#include <unistd.h>

namespace kiv::platform {

std::uint32_t CurrentThreadId() noexcept {
    thread_local std::uint32_t id =
        0; // nothing to destroy: a thread that ends must not come back into this library
    if (id == 0) id = static_cast<std::uint32_t>(::gettid());
    return id;
}

} // namespace kiv::platform
