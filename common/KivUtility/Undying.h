// Objects of the library that are used until the process ends, by whatever is destroyed last.
#ifndef KIVUTILITY_UNDYING_H
#define KIVUTILITY_UNDYING_H

#include <new>

namespace kiv {

// The one T of this name, made by whoever asks first, in any thread, and never destroyed. It lies in the
// library itself, so that nothing of it is left behind when the library is unloaded, as long as T holds
// nothing by then.
template <class T> T& Undying() {
    alignas(T) static unsigned char place[sizeof(T)];
    static T&                       object = *::new (place) T;
    return object;
}

} // namespace kiv

#endif
