// The Win32 types that the interface is written in: the system's own on Windows, equivalents elsewhere.
#ifndef KIVUTILITY_KIVPLATFORM_H
#define KIVUTILITY_KIVPLATFORM_H

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

#endif

#endif
