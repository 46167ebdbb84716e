#pragma once
// Pixel kernels that matter for the frame rate are built a second time for AVX2 and
// picked when the library is loaded. Their files also ask for the full loop vectorizer
// (the library as a whole builds at -O2, whose cost model leaves these loops scalar).
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && !defined(LSKX2_NO_CLONES)
#define LSKX2_VECTOR_KERNEL __attribute__((target_clones("avx2", "default")))
#else
#define LSKX2_VECTOR_KERNEL
#endif

// Bodies shared by several kernels must be inlined into each version to be built for it.
#if defined(__GNUC__)
#define LSKX2_KERNEL_INLINE __attribute__((always_inline)) inline
#else
#define LSKX2_KERNEL_INLINE inline
#endif
