#pragma once

/// The framework's numeric utilities. Interpolated values are formed in double and rounded once to float; a position on
/// a node returns the value of the node unchanged.
namespace host::local {

/// Piecewise linear interpolation of m points at n positions. A position below the first or above the last point takes
/// the given end value; one point has its value at its own position only; without points every value is `below`.
///
/// @param[in]  x     x[m]     positions of the points, ascending
/// @param[in]  y     y[m]     their values
/// @param[in]  xOut  xOut[n]  positions asked for, in any order
/// @param[out] yOut  yOut[n]
void intlin(int m, const float* x, const float* y, int n, const float* xOut, float* yOut, float below, float above);

/// Linear resampling of a function from interval dt to interval dtOut, both grids starting at time t0.
///
/// Output sample j stands at float(j) * dtOut. Where that is the time float(i) * dt of an input sample, the output is
/// that sample unchanged; so it is when one interval is a whole multiple of the other to within their rounding, though
/// the products may then differ in their last bit.
///
/// @param[in]  in     in[n]      samples at interval dt (ms)
/// @param[out] out    out[nOut]  samples at interval dtOut (ms)
/// @param[in]  first  value before the first input sample
/// @param[in]  last   value beyond the last input sample
void ress8r(int n, const float* in, int nOut, float* out, float dt, float t0, float first, float last, float dtOut);

/// Shifts a trace in time in place: out(t) = in(t - shift), with zeros outside the trace.
///
/// A shift that is a whole number of samples (shift equal to n * dt in single precision) moves the samples unchanged.
/// Any other is interpolated by a sinc of 32 points under a Kaiser window (Kaiser 1974), flat to 0.85 of the Nyquist
/// frequency within 0.001, with its taps normalised to a sum of 1; taps and sums are double. A shift that is not finite
/// leaves the trace as it is.
///
/// @param[in,out] trace  trace[nt]
/// @param[out]    work   work[nt]  scratch
/// @param[in]     dt     sample interval, ms
/// @param[in]     shift  ms, positive: towards later times
void applyStatic2(float* trace, float* work, int nt, float dt, float shift);

/// Number of values in a list: numbers separated by a comma or blanks, where `a-b` stands for the whole numbers from a
/// to b. Ends the list with a zero byte for floatDecode.
///
/// @param[in,out] list    list[2 * length]
/// @param[in]     length  characters of the list, at least 1
/// @throws RunError quoting a text that is no such list
int decodePrep(char* list, int length);

/// Stores the first `count` values of a list that decodePrep has prepared; the last argument is not used.
/// @return the number of values stored
int floatDecode(const char* list, int count, float* values, int origin);

}  // namespace host::local
