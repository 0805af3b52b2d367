// Floating-point contraction off for the arithmetic public headers define
// inline. Those functions are compiled with the caller's flags, and a caller
// built with -ffp-contract=fast (or a -march with FMA under GNU modes) would
// fuse a * b + c into one rounding and get results that differ in the last
// bit from the library's own, built with contraction off. Wrap only
// arithmetic between the two macros: under GCC a wrapped function carries its
// own options and is not inlined into a caller whose options differ.
#pragma once

#if defined(__clang__)
#define KMATH_FP_CONTRACT_OFF_BEGIN _Pragma("float_control(push)") _Pragma("clang fp contract(off)")
#define KMATH_FP_CONTRACT_OFF_END _Pragma("float_control(pop)")
#elif defined(__GNUC__)
#define KMATH_FP_CONTRACT_OFF_BEGIN _Pragma("GCC push_options") _Pragma("GCC optimize(\"fp-contract=off\")")
#define KMATH_FP_CONTRACT_OFF_END _Pragma("GCC pop_options")
#elif defined(_MSC_VER)
#define KMATH_FP_CONTRACT_OFF_BEGIN __pragma(fp_contract(push)) __pragma(fp_contract(off))
#define KMATH_FP_CONTRACT_OFF_END __pragma(fp_contract(pop))
#else
#define KMATH_FP_CONTRACT_OFF_BEGIN
#define KMATH_FP_CONTRACT_OFF_END
#endif
