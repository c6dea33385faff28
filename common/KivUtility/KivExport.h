// KIV_API marks what the shared library exports; everything else stays hidden in it. KIV_PRINTF has the
// compiler hold arguments against a printf format.
#ifndef KIVUTILITY_KIVEXPORT_H
#define KIVUTILITY_KIVEXPORT_H

// KIV_STATIC: the units are linked straight into a program, as the tests of internal units do.
#if defined(KIV_STATIC)
#define KIV_API
#elif defined(_WIN32) && defined(KIV_BUILDING)
#define KIV_API __declspec(dllexport)
#elif defined(_WIN32)
#define KIV_API __declspec(dllimport)
#else
#define KIV_API __attribute__((visibility("default")))
#endif

// KIV_PRINTF(FORMAT, FIRST): parameter FORMAT, counted from 1, is a printf format, and its arguments begin at
// parameter FIRST; 0 where they are a va_list. Formats are those of ISO C on every system.
#if defined(__clang__)
#define KIV_PRINTF(FORMAT, FIRST) __attribute__((format(printf, FORMAT, FIRST)))
#else
#define KIV_PRINTF(FORMAT, FIRST) __attribute__((format(gnu_printf, FORMAT, FIRST)))
#endif

#endif
