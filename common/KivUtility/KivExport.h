// KIV_API marks what the shared library exports; everything else stays hidden in it.
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

#endif
