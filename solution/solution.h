#pragma once

/// Velocity solution: from the AVO intercept A and gradient B of a neighbourhood of CDPs to a revised RMS velocity
/// function.
///
/// A velocity that is too low or too high leaves residual moveout on a gather, and residual moveout turns up as the
/// part of the gradient that is in quadrature with the intercept. The order of use:
///
///     a_sauavg  once a CDP of the neighbourhood: adds its energies and its product A conj(B) to five sums
///     a_saucor  sums -> RMS amplitudes and complex correlation coefficient
///     a_sauovb  amplitudes and correlation -> velocity error indicator
///     a_sanewv  indicator -> velocity ratio within limits -> revised velocity function
///
/// A and B are analytic traces (Taner, Koehler and Sheriff 1979): ar, br are the traces, ai, bi their Hilbert
/// transforms.
///
/// What holds for every routine here: scalars come by reference and are read before anything is written; arrays are
/// pointers to their first element, contiguous, of ns samples where nothing else is said, and overlap only where that
/// is said; samples are numbered from 1, a range fsa .. lsa includes both ends and lies within 1 .. ns. Arithmetic is
/// in single precision, every operation rounded, unless double precision is named. Nothing is allocated, nothing is
/// kept between calls, no failure is raised: what cannot be computed is the value stated.
namespace solution {

// Neighbourhood sums -------------------------------------------------------------------------------------------------

/// Adds one CDP to the sums of a neighbourhood.
///
///     asum   += fac smooth(w |A|^2)           absumr += fac smooth(w Re(A conj(B)))
///     bsum   += fac smooth(w |B|^2)           absumi += fac smooth(w Im(A conj(B)))
///     wts    += fac smooth(w)
///
/// smooth() is the cascade of two centred running sums of a_naacms. Before that, w becomes 0 wherever ar or br is 0, so
/// that such a sample adds to none of the five sums, the weight included.
///
/// @param[in,out] asum, bsum, absumr, absumi, wts  double; the caller clears them before the first CDP
/// @param[in]     ar, ai    intercept and its Hilbert transform
/// @param[in]     br, bi    gradient and its Hilbert transform
/// @param[in,out] w         weight of each sample; on return 0 where ar or br is 0
/// @param[out]    scr1, scr2  scratch
/// @param[in]     ns        samples
/// @param[in]     fsa, lsa  first and last sample whose sums are added to
/// @param[in]     ntwin     smoothing window, samples
/// @param[in]     fac       scale of the contribution, weights included
void a_sauavg(double* asum, double* bsum, double* absumr, double* absumi, double* wts, const float* ar, const float* ai,
              const float* br, const float* bi, float* w, float* scr1, float* scr2, const int& ns, const int& fsa,
              const int& lsa, const int& ntwin, const float& fac) noexcept;

/// Smooths a weighted trace over time and adds it to a sum.
///
///     sum(i) += smooth(a w)(i) fac       i = fsa .. lsa
///
/// smooth() is a centred running sum over twin samples followed by one over d + 1 samples, d = (twin - 1) / 3 in
/// integers towards zero; both as a_namsum makes them, so both windows are odd. The first sees the samples fsa - d ..
/// lsa + d that exist, and leaves 0 outside them. The product with fac rounds to float and is added in double
/// precision.
///
/// @param[in,out] sum       double
/// @param[in,out] a         trace; on return the smoothed product
/// @param[in]     w         weight
/// @param[out]    tmp       scratch
/// @param[in]     fsa, lsa  first and last sample added to
/// @param[in]     ns        samples
/// @param[in]     twin      smoothing window, samples
/// @param[in]     fac       scale
void a_naacms(double* sum, float* a, const float* w, float* tmp, const int& fsa, const int& lsa, const int& ns,
              const int& twin, const float& fac) noexcept;

/// Centred running sum, not normalised, cut off at both ends of the data.
///
///     aout(k) = sum of ain(j) over |j - k| <= h, 1 <= j <= ns        window l = 2 h + 1, h = ntwin / 2
///
/// An even window is thus widened by one; 0 and 1 copy. One running total in double precision: it starts from
/// ain(1) .. ain(h), then takes in the leading sample before it drops the trailing one, and rounds to float into aout
/// at every step. A window below -1 gives zeros; with h above ns aout stays as it is.
///
/// @param[in]  ain    trace
/// @param[out] aout   running sums; not ain
/// @param[in]  ns     samples
/// @param[in]  ntwin  window, samples
void a_namsum(const float* ain, float* aout, const int& ns, const int& ntwin) noexcept;

/// out = ar^2 + ai^2: squared magnitude of an analytic trace. out may be ar or ai.
void a_namags(const float* ar, const float* ai, float* out, const int& ns) noexcept;

/// out = ar br + ai bi: real part of A conj(B). out may be any of the sources.
void a_nabrgs(const float* ar, const float* ai, const float* br, const float* bi, float* out, const int& ns) noexcept;

/// out = ai br - ar bi: imaginary part of A conj(B). out may be any of the sources.
void a_nabigs(const float* ar, const float* ai, const float* br, const float* bi, float* out, const int& ns) noexcept;

/// a = 0 wherever z is 0; elsewhere a stays as it is.
void a_nazero(float* a, const float* z, const int& ns) noexcept;

// Correlation --------------------------------------------------------------------------------------------------------

/// Position, from 1, of the first element of largest magnitude.
///
/// Ties keep the earlier element; NaN never wins; 1 when all are 0, when n is below 1 or when inc is below 1.
///
/// @param[in] n    elements
/// @param[in] x    double; element m = 1 .. n stands at position (m - 1) inc
/// @param[in] inc  stride
int a_idamax(const int& n, const double* x, const int& inc) noexcept;

/// RMS amplitudes of A and B and their complex correlation coefficient from the sums of a neighbourhood.
///
///     siga = sqrt(asum / wts)      corr = absumr / (siga sigb wts)
///     sigb = sqrt(bsum / wts)      cori = absumi / (siga sigb wts)
///
/// In double precision, amplitudes included, each result rounded to float once. A weight that is not above 0 gives four
/// zeros, an amplitude product that is not above 0 a correlation of zero. A sum that has come out below 0 gives NaN as
/// its amplitude.
///
/// Output sample i comes from sample i + shift of the sums and is 0 where there is none. Samples before fsa become 0,
/// samples after lsa are left. When the weight of largest magnitude in fsa .. lsa is not above
/// 0, all ns samples become 0.
///
/// @param[in]  asum, bsum, absumr, absumi, wts  double; the sums of a_sauavg
/// @param[out] siga, sigb   RMS amplitude of A and of B
/// @param[out] corr, cori   real and imaginary part of the correlation coefficient; its phase is that of A conj(B)
/// @param      temp         not used
/// @param[in]  ns           samples
/// @param[in]  fsa, lsa     first and last sample computed
/// @param      nsmth        not used
/// @param[in]  shift        sample of the sums less sample of the output
/// @param[out] live         whether the neighbourhood has weight in fsa .. lsa
void a_saucor(const double* asum, const double* bsum, const double* absumr, const double* absumi, const double* wts,
              float* siga, float* sigb, float* corr, float* cori, float* temp, const int& ns, const int& fsa,
              const int& lsa, const int& nsmth, const int& shift, bool& live) noexcept;

// Velocity error -----------------------------------------------------------------------------------------------------

/// Velocity error indicator: the gradient in quadrature with the intercept, relative to the intercept.
///
///     dvel = -ric g            g = sb / sa, 0 where sa is 0
///     kr   = (wrr q - rrc) g   q = sqrt((1 - |r|^2) / (1 - |w|^2)), 0 where the quotient is not above 0 or |w| is 1
///     ki   = (wri q - ric) g
///     sbpr = q sb
///
/// with r = rrc + i ric the correlation found and w = wrr + i wri the reference correlation.
///
/// @param[in]  sa, sb      RMS amplitude of A and of B
/// @param[in]  rrc, ric    correlation coefficient, real and imaginary part
/// @param[out] dvel        velocity error indicator
/// @param[out] kr, ki      residual correlation scaled by g, real and imaginary part
/// @param[out] sbpr        amplitude of B scaled by q
/// @param[in]  wrr, wri    reference correlation, real and imaginary part
/// @param[in]  ns          samples
void a_sauovb(const float* sa, const float* sb, const float* rrc, const float* ric, float* dvel, float* kr, float* ki,
              float* sbpr, const float* wrr, const float* wri, const int& ns) noexcept;

// Velocity revision --------------------------------------------------------------------------------------------------

/// Revises an RMS velocity function by the velocity error indicator, within limits on RMS and interval velocities.
///
/// First every sample of fsa + 1 .. lsa gets a ratio from its indicator, with t the time in seconds:
///
///     ratio = 1 + (dv / (2 pi f t)) / (1 + (t / vt)^vp)       kept within 1 - mindv % .. 1 + maxdv %
///     f     = wf0 (sqrt(a^2 + 1) - a),  a = 2 pi wf0 t / (16 q)
///
/// f is the reference frequency as attenuation leaves it at t, vt = vtime / 1000 s, vp = vpow / 10, and 2 pi is the
/// float 6.2832. Sample fsa takes the ratio of fsa + 1.
///
/// Then, going down from fsa + 1, each ratio is pulled back to where the interval velocity of the revised function over
/// the last sample interval (Dix 1955) stays within -minpct % .. +maxpct % of the one before the revision, within
/// miniv .. maxiv, and in its square within 200000 / fs times the revised interval velocity one sample earlier; and to
/// where the revised RMS velocity stays within minsv .. maxsv. The upper bounds come last, so they win over the lower
/// ones. Input velocities beyond their limits count as the limit. Samples before fsa and after lsa take the ratio of
/// the nearest one in range. At the end vrms = dv vrms.
///
/// Precision: it0, vtime and vpow in seconds and units, the bounds of the ratio and 2 pi / (16 q) are formed in float;
/// everything else is double, a ratio rounding to float whenever it is stored. A NaN operand loses every maximum and
/// minimum: after a velocity inversion the revised interval velocity squared can come out slightly below 0, its root is
/// NaN, and the bounds on its change then do not count; a ratio that is NaN becomes the upper bound.
///
/// Nothing to revise gives ratios of 1: for all samples, with vrms unchanged, when wf0 is not above 0 or vrms(1) is at
/// most 1.5 (no function); and for the whole range when it is a single sample.
///
/// @param[in,out] dv             in: indicator (a_sauovb); out: velocity ratio
/// @param[in,out] vrms           RMS velocity, in length units per second, above 0
/// @param[in]     ns             samples, at least 1
/// @param[in]     it0            time of sample 1, ms
/// @param[in]     fs             sampling rate, Hz
/// @param[in]     wf0            reference frequency, Hz
/// @param[in]     q              quality factor
/// @param[in]     fsa, lsa       first and last sample revised
/// @param[in]     miniv, maxiv   limits of the interval velocity
/// @param[in]     minpct, maxpct largest decrease and increase of an interval velocity, percent
/// @param[in]     mindv, maxdv   largest decrease and increase of an RMS velocity, percent
/// @param[in]     minsv, maxsv   limits of the RMS velocity
/// @param[in]     vtime          damping time, ms
/// @param[in]     vpow           damping power, tenths
/// @param[out]    status         first limit that an input velocity broke: 0 none, 1 minsv, 2 maxsv, 3 miniv, 4 maxiv
/// @param[out]    reft           time of that sample, s; 0 for status 0
void a_sanewv(float* dv, float* vrms, const int& ns, const int& it0, const float& fs, const float& wf0, const float& q,
              const int& fsa, const int& lsa, const int& miniv, const int& maxiv, const float& minpct,
              const float& maxpct, const float& mindv, const float& maxdv, const int& minsv, const int& maxsv,
              const int& vtime, const int& vpow, int& status, float& reft) noexcept;

/// Smooths a velocity function along time as squared slowness, with the centred running mean moveout::a_masmth.
///
///     vels = 1 / sqrt(smooth(1 / vels^2))
///
/// @param[in,out] vels    velocity, in length units per second, above 0
/// @param[out]    scr     scratch
/// @param[in]     ns      samples
/// @param[in]     ivsmth  half-length of the smoothing window in samples; below 1 the window is one sample
void a_samodv(float* vels, float* scr, const int& ns, const int& ivsmth) noexcept;

}  // namespace solution
