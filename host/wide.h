#pragma once

/// A function marked KORVANE_WIDE is compiled once a vector width; the processor decides at start-up which one runs.
/// The widths give the same bits: such a function vectorises across independent results, never along a sum.
#if defined(__x86_64__) && !defined(KORVANE_BASELINE)
#define KORVANE_WIDE __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define KORVANE_WIDE
#endif

/// In front of a loop: its iterations touch different elements, although the compiler cannot see that.
#if defined(__clang__)
#define KORVANE_INDEPENDENT _Pragma("clang loop vectorize(assume_safety)")
#else
#define KORVANE_INDEPENDENT _Pragma("GCC ivdep")
#endif
