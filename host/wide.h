#pragma once

/// A function marked KORVANE_WIDE is compiled once a vector width; the processor decides at start-up which one runs.
/// The widths give the same bits: such a function vectorises across independent results, never along a sum.
#if defined(__x86_64__) && !defined(KORVANE_BASELINE)
#define KORVANE_WIDE __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define KORVANE_WIDE
#endif
