#pragma once

/// Moveout and filter kernels: velocity to squared slowness, fractional-sample interpolators, normal moveout, and the
/// design of the two band filters of the AVO engine.
///
/// Every array is a pointer to its first element and must not overlap another; a shape such as x[n] names the elements
/// that are read or written. Formulas count from 1 unless an index range says otherwise. Two-dimensional arrays are
/// column-major. Every scalar is copied before anything is written, so that one variable may serve as an input and as
/// an output. Nothing is allocated; scratch comes from the caller and its contents carry no meaning between calls.
/// Arithmetic is single precision, each operation rounded once, sums taken in the order written, unless stated
/// otherwise.
namespace moveout {

// ---- slowness ------------------------------------------------------------------------------------------------------

/// Squared slowness from a velocity function, smoothed along time.
///
///     sloth[m] = 1 / (intr(m) + vinc)^2        m = 1 .. ns, index from 0; guard values at 0 and ns + 1
///
/// Sum, square and quotient each round to float. The guard values are copies of their neighbours, and the smoother
/// (a_masmth) then runs over them as over any sample. Multiplied by a squared offset the result is a squared time.
///
/// @param[in]  intr    intr[ns]        velocity, in length units per second, above 0
/// @param[out] sloth   sloth[ns + 2]   squared slowness, smoothed
/// @param[out] slothi  slothi[ns + 2]  equal to sloth on return; scratch on the way
/// @param[in]  ns      samples, at least 1
/// @param[in]  ivsmth  half-length of the smoothing window in samples; below 1: none
/// @param[in]  vinc    velocity added before the conversion
/// @param[out] ier     0, or the index (from 1) of the first velocity at or below 0; then nothing else is written
void a_savelc(const float* intr, float* sloth, float* slothi, const int& ns, const int& ivsmth, const float& vinc,
              int& ier) noexcept;

/// Centred running mean whose window shrinks towards both ends.
///
///     L = min(l, nx / 2)
///     y(k) = mean of x(k - h .. k + h)         h = min(L, k - 1, nx - k)
///
/// The sums are double precision: each end accumulates outwards, and the interior continues the left one as a running
/// sum that adds the sample entering the window before it takes off the one leaving. A sum rounds to float before its
/// division, and that is a float division. The first and the last value never change; with L below 1 none does.
///
/// @param[in]     nx      values in the series; below 1: nothing is done
/// @param[in]     istrid  distance between consecutive values of the series in x, at least 1
/// @param[in]     id      position (from 1) of the first value in x
/// @param[in,out] x       the series, value k at position id + (k - 1) istrid; smoothed on return
/// @param[out]    y       y[nx]  the smoothed series, contiguous
/// @param[in]     l       requested half-length of the window in samples
void a_masmth(const int& nx, const int& istrid, const int& id, float* x, float* y, const int& l) noexcept;

// ---- interpolation filters -----------------------------------------------------------------------------------------

/// Bank of least-squares interpolators, one for each hundredth of a sample.
///
/// Column k, laid over input samples b + 1 .. b + lfltr, estimates the input at position b + lfltr / 2 + k / 100. The
/// model signal has a flat spectrum up to mxfreq of the Nyquist frequency and nothing above it, so that the filter f
/// for a shift s solves the normal equations
///
///     sum over i of sinc(j - i) f(i) = sinc(j - lfltr / 2 - s),  sinc(u) = sin(pi mxfreq u) / (pi mxfreq u)
///
/// Columns 1 .. 50 are solved (a_mwienr), for shifts that grow by 0.01 with a rounding at every step (the last one is
/// 0.49999979). Columns 51 .. 99 are columns 49 .. 1 with the taps reversed, which for an even lfltr is the shift
/// 1 - s. Column 100 is left as it is: a_samvot writes it.
///
/// @param[in]  lfltr   taps per filter, even, at least 2
/// @param[in]  mxfreq  band edge as a fraction of the Nyquist frequency, above 0 and below 1
/// @param      acor    acor[lfltr]  scratch: autocorrelation of the model signal
/// @param      ccor    ccor[lfltr]  scratch: its correlation with the sample to be estimated
/// @param      fltr    fltr[lfltr]  scratch: one filter
/// @param      work    work[lfltr]  scratch: prediction-error operator
/// @param[out] coef    coef[lfltr][100]  the bank, taps fastest
///
/// Method: N. Wiener (1949), least-squares interpolation of a stationary series.
void a_mcofgn(const int& lfltr, const float& mxfreq, float* acor, float* ccor, float* fltr, float* work,
              float* coef) noexcept;

/// Solves the normal equations of a least-squares filter by recursion over its length, in single precision.
///
///     sum over j of acor(|i - j| + 1) fltr(j) = rhs(i)        i = 1 .. lfltr
///
/// The system must be positive definite; a prediction-error power that vanishes is not looked for.
///
/// @param[in]  lfltr  taps, at least 1
/// @param[in]  acor   acor[lfltr]  autocorrelation from lag 0
/// @param[in]  rhs    rhs[lfltr]   right-hand side
/// @param[out] err    err[lfltr]   prediction-error operator of the full length, its first value 1
/// @param[out] fltr   fltr[lfltr]  the filter
///
/// Method: N. Levinson (1946).
void a_mwienr(const int& lfltr, const float* acor, const float* rhs, float* err, float* fltr) noexcept;

// ---- moveout -------------------------------------------------------------------------------------------------------

/// Corrects one prestack trace for normal moveout.
///
///     t(i) = (i - 1) tsamp + t0
///     r(i) = (sqrt(sloth[i] xoff^2 + t(i)^2) - t0) / tsamp              input position, samples from 0
///     p(i) = (r(i) - ncoef / 2) + 0.495,  k = floor(p(i) + 0.5)         filter base
///     trout(i) = sum over j = 1 .. ncoef of coef(j, col) trin(k + j)    col = trunc((p(i) - k) 100 + 51) in 1 .. 100
///
/// The position is thereby rounded to the nearest hundredth of a sample; col = 100, the unit impulse, is a position on
/// a sample. A filter that starts behind sample nsin, or ends at or before sample iflv, gives 0, and so does a
/// position that is not a number; a filter that overlaps an end of the trace reads zeros there. No stretch mute.
/// Each product rounds before it is added to the sum over the taps before it.
///
/// @param[in]     trin    trin[nsin + 2 ncoef]  the input trace with ncoef zeros on either side
/// @param[in]     sloth   sloth[lsa + 1]  squared slowness of sample i at index i (from 0): a_savelc's sloth
/// @param[in,out] coef    coef[ncoef][100]  filter bank of a_mcofgn; column 100 becomes the impulse at ncoef / 2 + 1
/// @param[out]    trout   trout[lsa]  corrected trace; only samples fsa .. lsa are touched
/// @param         trcoef  trcoef[n][ncoef][2]  scratch, n = lsa - fsa + 1: coefficient and input sample of each tap
/// @param         ifrc    ifrc[n]  scratch: filter column of each sample
/// @param[in]     nsin    samples per trace
/// @param[in]     ncoef   taps per filter, at least 2
/// @param[in]     fsa     first sample to compute, from 1
/// @param[in]     lsa     last sample to compute; below fsa: only column 100 and the two counts are written
/// @param[in]     xoff    offset, in the length unit of the velocities
/// @param[in]     iflv    first live input sample, from 1
/// @param[in]     t0      time of sample 1, s
/// @param[in]     tsamp   sample interval, s
/// @param[out]    nflv    first sample of the accumulated range: the first whose filter has a coefficient other than 0
///                        at tap ncoef / 2 + 1, lsa if there is none; 0 for an empty range. Before it trout is 0
/// @param[out]    nllv    last sample of that range, fsa if there is none; 0 for an empty range. After it trout is 0
///
/// Travel time: C. H. Dix (1955).
void a_samvot(const float* trin, const float* sloth, float* coef, float* trout, float* trcoef, float* ifrc,
              const int& nsin, const int& ncoef, const int& fsa, const int& lsa, const float& xoff, const int& iflv,
              const float& t0, const float& tsamp, int& nflv, int& nllv) noexcept;

// ---- band filters --------------------------------------------------------------------------------------------------

/// Designs two symmetric least-squares filters for a Ricker wavelet r in white and coloured noise: h1 estimates the
/// wavelet itself, h2 its change under a small stretch of time, t r'(t).
///
/// In the scaled time t = w0 T (w0 the peak angular frequency) the wavelet is r(t) = (1 - t^2 / 2) exp(-t^2 / 4). With
/// x = (n w0t)^2 for lag n, and up to one common factor, its autocorrelation and its correlation with t r'(t) are
///
///     corr(n) = (48 - (24 - x) x) exp(-x / 8)                            0 from x = 200 on
///     c2(n)   = -(((x - 36) x + 144) x + 192) exp(-x / 8) / 8            0 above x = 200
///
/// Each filter solves the Toeplitz system of corr plus noise (a_swlev), with corr and c2 as its right-hand side. The
/// noise is corr(0) pctwns / 100 at lag 0, plus corr(0) pctcns / 100 times a^n at lag n; the powers and the sums that
/// add and remove the coloured noise are double precision, rounded to float once a lag.
///
/// @param[out] h1      h1[2 mxh + 1]     first filter, lag L at index mxh + L (from 0); 0 beyond lag nh
/// @param[out] h2      h2[2 mxh + 1]     second filter, likewise
/// @param[out] corr    corr[2 nh + 1]    scratch; on return the autocorrelation from lag 0, noise removed
/// @param[out] cvect   cvect[2 mxh + 1]  scratch; on return c2 with lag L at index mxh + L (from 0), up to lag nh
/// @param      work    work[4 nh + 1]    scratch
/// @param[in]  mxh     largest lag that the buffers hold
/// @param[in]  nh      largest lag of the filters, at least 1
/// @param[in]  w0t     peak angular frequency times the sample interval, radians
/// @param[in]  pctwns  white noise, per cent of the zero-lag autocorrelation, above 0
/// @param[in]  pctcns  coloured noise, likewise
/// @param[in]  a       pole of the coloured noise, between -1 and 1
/// @param[out] ier     0; 1: pctwns is not above 0; 2: nh exceeds mxh; 3: a is not inside the unit circle (the highest
///                     that applies). Nothing else is written when it is not 0
///
/// Wavelet: N. Ricker (1953).
void a_sarkft(float* h1, float* h2, float* corr, float* cvect, double* work, const int& mxh, const int& nh,
              const float& w0t, const float& pctwns, const float& pctcns, const double& a, int& ier) noexcept;

/// Solves a symmetric Toeplitz system in double precision, the solution rounded to float (a_hermtp).
///
///     sum over j of x(|i - j| + 1) y(j) = u(i)        i = 1 .. n
///
/// When the recursion fails, a warning goes to standard output and the values of y it had not reached are 0.
///
/// @param[in]  x     x[n]  first row of the matrix
/// @param[in]  incx  stride of x: 1; with any other stride of x or u nothing is done
/// @param[in]  u     u[n]  right-hand side
/// @param[in]  incu  stride of u: 1
/// @param[out] y     n values, value i at position 1 + (i - 1) incy: the solution
/// @param[in]  incy  stride of y, at least 1
/// @param[in]  n     order, at least 2
/// @param      aux   aux[2 n - 1]  scratch
void a_swlev(const float* x, const int& incx, const float* u, const int& incu, float* y, const int& incy, const int& n,
             double* aux) noexcept;

/// Solves a symmetric Toeplitz system of order m + 1 by recursion over its order, in double precision.
///
/// The first row of the matrix is t0, t(1) .. t(m). Inputs are widened as they are read; only the first quotient,
/// z(1) / t0, is formed in single precision.
///
/// @param[in]  m      order less 1, at least 1
/// @param[in]  t0     diagonal of the matrix
/// @param[in]  t      t[m]      first row behind the diagonal
/// @param[in]  z      z[m + 1]  right-hand side
/// @param[out] x      x[m + 1]  the solution
/// @param      a      a[m]      scratch: prediction-error operator
/// @param[out] istat  0, or 1: t0 is 0, m is below 1, or a leading minor is not positive. Then x holds the solution of
///                    the last order completed, and beyond that what the caller left there
///
/// Method: N. Levinson (1946).
void a_hermtp(const int& m, const float& t0, const float* t, const float* z, double* x, double* a, int& istat) noexcept;

}  // namespace moveout
