// Symbol export for the Kmath shared library. The library is built with
// hidden visibility, so only what is marked KMATH_API is reachable from
// outside; header-only templates need no mark.
#pragma once

#if defined(KMATH_STATIC)
#define KMATH_API
#elif defined(_WIN32)
#if defined(KMATH_BUILDING)
#define KMATH_API __declspec(dllexport)
#else
#define KMATH_API __declspec(dllimport)
#endif
#else
#define KMATH_API __attribute__((visibility("default")))
#endif
