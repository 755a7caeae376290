#pragma once

#include <cstddef>

/// AVO attribute extraction: from the moved-out traces of a gather to its intercept trace A and gradient trace B.
///
/// The amplitude d of a moved-out sample is fitted over the traces of a gather by
///
///     d = A + B x^2 + C x^4        x = sin(theta), theta the incidence angle (Shuey 1985, in powers of the sine)
///
/// a_sahcic adds one trace to the weighted sums of the fit, a_sahci solves the sums of a complete gather and conditions
/// A and B, with the solver a_matv, the convolution a_maconv, the residual energy a_avoe and the Hilbert transform
/// a_mahlbt.
///
/// Arrays are passed by their first element. Samples, rows and taps count from 1; two-dimensional arrays are stored by
/// columns, the sample index fastest. Arithmetic is single precision in the order written unless an entry says
/// otherwise, every operation rounded on its own. Arrays of one call do not overlap; one variable may serve several
/// scalar arguments. Nothing is allocated and no state is kept: every routine is reentrant.
namespace avo {

/// First element of a column, counted from 0, of an array stored by columns.
template <class T>
constexpr T* column(T* array, int rows, int k) noexcept {
  return array + static_cast<std::ptrdiff_t>(rows) * k;
}

/// Columns, counted from 0, of the sums array of a gather. w is the weight of a trace, d its sample, x the sine of its
/// incidence angle there; each column holds the sum of its term over the traces.
namespace sums {
enum Column : int {
  sy,    ///< w d
  sx2y,  ///< w d x^2
  sx4y,  ///< w d x^4
  sx0,   ///< w
  sx2,   ///< w x^2
  sx4,   ///< w x^4
  sx6,   ///< w x^6
  sx8,   ///< w x^8
  sy2,   ///< w d^2
  count
};
}  // namespace sums

/// Positions, counted from 0, in the parameter block of a_sahci.
namespace slot {
enum Position : int {
  ftrlen,  ///< length of the Hilbert filter: 95, 63, 43 or 31
  order1,  ///< fit of stage 1, see a_sahci: 1, 2 or 3
  order2,  ///< fit of stage 2: 1, 2 or 3
  dstrch,  ///< 1: the stretch term works on A band-passed with h2
  sphflg,  ///< not 0: water-velocity term in B
  vflag,   ///< not 0: A and B scaled by t / (v0^2 S)
  v0,      ///< water velocity, length units per second; below 0: second form of the water-velocity term
  ihilb,   ///< selection of the output pair, 0 to 3
  idsmth,  ///< half-length of the smoothing of the cross products, samples
  iaflg,   ///< cross products divided by the envelope (above 0) or power (below 0) of A, smoothed over |iaflg| samples
  ibflg,   ///< the same for B
  taper,   ///< taper length, samples
  phrot,   ///< phase rotation of A and B, degrees
  abrot,   ///< rotation in the plane of A and B, tenths of a degree
  errflg,  ///< residual energies: 0 none, 1 to 3 that many columns of their roots, below 0 the energy itself; 4 on: 0
  count
};
}  // namespace slot

/// Columns of the result array of a_sahci.
inline constexpr int out_size = 5;

/// Adds one moved-out trace to the sums of its gather.
///
///     x^2 = (xoff^2 S) / (t^2 + xoff^2 S)      t = (i - 1) tsamp + t0 above 0 (straight ray), x^2 = 1 at t <= 0
///     x^2 = sin(xoff)^2                        angle form
///
/// Live samples run from the first to the last that is not zero (a NaN is live), cut to rows fout .. lout; of these the
/// first contiguous run with alim1 <= x^2 <= alim2 is added. The offset form is single precision; in the angle form the
/// angle in radians is, sine and square are double. Products and sums of columns sx2y to sx8 are double, rounded to
/// float once a sample; those of sy and sy2 are float, with w d formed first.
///
/// @param[in,out] s        s[lout - fout + 1][9]  sums, rows fout .. lout
/// @param[in]     trace    trace[lin]             moved-out trace
/// @param[in]     sloth    sloth[lin + 1]         squared slowness S; the first element is the guard before sample 1
/// @param[out]    scratch  scratch[lout]          scratch: x^2, or -1 where the angle is rejected
/// @param[in]     isz      columns of s; not used
/// @param[in,out] fin,lin  samples to examine; on return the samples added, 0 and -1 when there are none. For an angle
///                         form whose angle is outside the limits they come back exchanged (0 and -1 when equal).
///                         fin > lin is a trace without live samples
/// @param[in]     fout,lout  rows that s holds
/// @param[in]     t0       time of sample 1, s
/// @param[in]     tsamp    sample interval, s
/// @param[in]     xoff     absolute offset, in the length unit of the velocities; angle form: angle in degrees
/// @param[in]     alim1,alim2  lowest and highest x^2
/// @param[in]     angfmt   0: offset form, else angle form
/// @param[in]     tr_fold  weight w of the trace
void a_sahcic(float* s, const float* trace, const float* sloth, double* scratch, const int& isz, int& fin, int& lin,
              const int& fout, const int& lout, const float& t0, const float& tsamp, const float& xoff,
              const float& alim1, const float& alim2, const int& angfmt, const float& tr_fold) noexcept;

/// Intercept and gradient trace from the sums of a gather.
///
///     out[., 1] = A * h1
///     out[., 2] = (B * h1 + water (A * h1) + 1/2 (1 - t S' / S) (A * h2)) / (S / Si)
///
/// with * the centred convolution, A and B damped, solved and tapered, S' the central time difference of S and
///
///     water = (2 - v0^2 S) / 2,  v0 < 0: (v0^2 S + 1) / 2 / (v0^2 S)        sphflg not 0, else 0
///
/// The steps, over rows first .. last: raise sx8, sx4 and sx0 by avo sx0 with avo = 10^(-avopct / 20) (double, stored
/// as float); solve (a_matv); residual energies when errflg asks for them; clear s, which from there on holds working
/// columns; band-pass; correct B (double, but S / Si, t and water are float); scale both by t / (v0^2 S) when vflag is
/// not 0; quadrature stage unless ihilb is 3 and phrot 0; copy the selected pair to columns 1 and 2 of out.
///
/// Fit of a stage: order1 = 1, 2, 3 is the intercept of the one, two, three-term fit; order2 = 1, 2 the gradient of the
/// two, three-term fit, order2 = 3 the curvature C. Two stages are solved; with errflg above 0 order1 stages, the third
/// being C. A stage beyond those is never selected: it gives 0 and asks for no fold.
///
/// Residual energies: column 3 of out receives the energy that the fit leaves (a_avoe); with errflg 2 or 3, columns 4
/// and 5 the parts of stage 1 due to sy alone and of stage 2 due to sx2y alone. With errflg above 0 the first errflg of
/// these columns are replaced by their roots, 0 where not positive.
///
/// Quadrature stage: Hilbert transforms qA (from sample 1) and qB (from sample 2) of the conditioned pair; rotation of
/// (A, qA) and (B, qB) by phrot; rotation of (B, A) and (qB, qA) by abrot; in-phase and quadrature cross products A B +
/// qA qB and qA B - A qB, each smoothed (a_masmth) and, as iaflg and ibflg tell, divided by the smoothed envelope or
/// power of A, then of B, where that exceeds 1e-40. ihilb selects 0: both cross products; 1: A, quadrature product; 2:
/// A, in-phase product; 3: A, B.
///
/// @param[in,out] s       s[maxsmp][isz]     sums of the gather; all zero on return, except after an early return
/// @param[in]     h1,h2   [2 maxh + 1]       band filters, lags -maxh .. maxh
/// @param[in]     sloth   sloth[maxsmp + 2]  squared slowness S of samples 0 .. maxsmp + 1, the two ends guard values
/// @param[in]     slothi  slothi[maxsmp + 2] the same after smoothing, Si
/// @param[in]     parm    parm[nparm]        parameter block, see slot::Position
/// @param[in,out] out     out[maxsmp][5]     results; rows that are not solved keep their values, taper apart (a_matv)
/// @param[in]     maxsmp  rows of s and out
/// @param[in]     maxh    largest lag that h1 and h2 hold
/// @param[in]     nparm   length of parm, 15
/// @param[in,out] first,last  samples to process, 1 <= first <= last <= maxsmp; on return the samples solved
/// @param[in]     nh      largest lag in use, at most maxh
/// @param[in]     isz     columns of s, 9
/// @param[in]     t0      time of sample 1, s
/// @param[in]     tsamp   sample interval, s
/// @param[in]     avopct  damping level, dB
///
/// Early returns: a fit outside 1 .. 3 in a stage in use leaves out as it is and s damped; no sample with enough fold
/// leaves s damped and first > last.
void a_sahci(float* s, const float* h1, const float* h2, const float* sloth, const float* slothi, const int* parm,
             float* out, const int& maxsmp, const int& maxh, const int& nparm, int& first, int& last, const int& nh,
             const int& isz, const float& t0, const float& tsamp, const float& avopct) noexcept;

/// Solves the normal equations of every sample by cofactors, on the range with enough fold, and tapers its ends.
///
/// With s4p = s4 - avop s4, the matrix [s0 s2 s4p; s2 s4 s6; s4p s6 s8] and the right-hand side (sy, sx2y, sx4y) the
/// double-precision cofactors and determinants of the 1 x 1, 2 x 2 and 3 x 3 systems are
///
///     t1 = 0          t5 = s0 s4 - s2 s2                              t8  = s0 s8 - s4p s4p
///     t2 = s0         t6 = s2 s4p - s0 s6                             t9  = s6 s4p - s2 s8
///     t3 = -s2        t7 = (s2 s6 - s4 s4) + s4 (s4 avop)             t10 = s4 s8 - s6 s6
///     t4 = s4
///     d1 = s0         d2 = t5         d3 = ((t5 s8 + s6 t6) + t7 s4) + (s4 s4p - s2 s6) (s4 avop)
///
/// and stage g gives ((sy t[num(g,1)] + sx2y t[num(g,2)]) + sx4y t[num(g,3)]) / d[nd(g)], rounded to float, or 0 where
/// the determinant is not above 1e-40.
///
/// The range loses leading and trailing samples whose sum of weights, rounded to nearest (halves away from 0), is below
/// max(nd(1), nd(2)); samples between are solved whatever their fold. Then the first taper + 1 rows of the range are
/// multiplied by 0, 1/taper .. 1 and the last taper rows by 1 .. 1/taper, whether they were solved or not.
///
/// @param[in]     s      s[nsamp][>= 8]   damped sums
/// @param[out]    out    out[nsamp][nstg] one column a stage
/// @param[in]     num    num[3][3]        cofactors of stage g (first index) for right-hand side k; 0 or 1: none
/// @param[in]     nd     nd[3]            determinant of each stage; 0: none, the stage is 0
/// @param[in]     nsamp  rows of s and out
/// @param[in,out] first,last  samples to solve, 1 <= first <= last <= nsamp; on return the samples solved, exchanged
///                       when none of them has enough fold
/// @param[in]     nstg   stages, at most 3; below 1: none
/// @param[in]     isz    columns of s; not used
/// @param[in]     taper  taper length in samples; below 1: none
/// @param[in]     avop   part of s4 that is damping
void a_matv(const float* s, float* out, const int* num, const int* nd, const int& nsamp, int& first, int& last,
            const int& nstg, const int& isz, const int& taper, const double& avop) noexcept;

/// Convolution centred on a tap.
///
///     b[i] = sum over j = 1 .. nf of f[j] a[i + |noff| - j]        i = 1 .. nab, a zero outside 1 .. nab
///
/// The terms are added to 0 in ascending j.
///
/// @param[in]  a     a[nab]  input
/// @param[in]  f     f[nf]   filter; nf below 1: b is cleared
/// @param[out] b     b[nab]  output
/// @param[in]  nab   samples; below 1: nothing is written
/// @param[in]  nf    taps
/// @param[in]  noff  tap of lag 0; its sign has no effect
void a_maconv(const float* a, const float* f, float* b, const int& nab, const int& nf, const int& noff) noexcept;

/// Energy that a fit leaves unexplained.
///
///     out[i, 3] = max(0, sy2[i] - sum over k = 1 .. nstg of out[i, k] s[i, k])        i = first .. last
///
/// Products are float; they are added in double from 0, and the difference is rounded once.
///
/// @param[in]     s      s[n][9]     sums
/// @param[in,out] out    out[n][no]  coefficients in the first nstg columns; column 3 receives the energy
/// @param[in]     n      rows of s and out
/// @param[in]     first,last  samples
/// @param[in]     isz    columns of s; not used
/// @param[in]     no     columns of out; below 3: nothing is done
/// @param[in]     nstg   stages, at most 3
void a_avoe(const float* s, float* out, const int& n, const int& first, const int& last, const int& isz, const int& no,
            const int& nstg) noexcept;

/// Hilbert transform (quadrature trace) by a short filter with odd lags only.
///
///     h[i] = sum over L = 1 - 2m, 3 - 2m .. 2m - 1 of g[L] a[i - L]        m = (ftrlen + 1) / 4, g[-L] = -g[L]
///
/// for i = max(is1, 1) .. min(is2, nt), a zero outside 1 .. nt; the terms are added to 0 in ascending L. g is the ideal
/// response 2 / (pi L), windowed.
///
/// @param[in]  a       a[nt]  input
/// @param[out] h       h[nt]  output, 0 outside is1 .. is2
/// @param[in]  nt      samples
/// @param[in]  is1,is2 first and last output sample
/// @param[in]  ftrlen  filter length: 95, 63, 43 or 31; any other gives zeros
void a_mahlbt(const float* a, float* h, const int& nt, const int& is1, const int& is2, const int& ftrlen) noexcept;

}  // namespace avo
