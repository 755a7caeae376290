#pragma once

#include <vector>

/// The heavy kernels in the plainest form that their descriptions have, one sample, tap or neighbour after the other:
/// what the shipped ones are compared with, bit for bit by the tests and in time by the benchmarks. Arguments are those
/// of the shipped kernels.
namespace definition {

void a_samvot(const float* trin, const float* sloth, float* coef, float* trout, float* trcoef, float* ifrc,
              const int& nsin, const int& ncoef, const int& fsa, const int& lsa, const float& xoff, const int& iflv,
              const float& t0, const float& tsamp, int& nflv, int& nllv);

void a_sahcic(float* s, const float* trace, const float* sloth, double* scratch, const int& isz, int& fin, int& lin,
              const int& fout, const int& lout, const float& t0, const float& tsamp, const float& xoff,
              const float& alim1, const float& alim2, const int& angfmt, const float& tr_fold);

void a_maconv(const float* a, const float* f, float* b, const int& nab, const int& nf, const int& noff);

/// The fit that the driver asks for: three-term intercept, two-term gradient, stretch term, in-phase pair as it is.
void a_sahci(float* s, const float* h1, const float* h2, const float* sloth, const float* slothi, const int* parm,
             float* out, const int& maxsmp, const int& maxh, const int& nparm, int& first, int& last, const int& nh,
             const int& isz, const float& t0, const float& tsamp, const float& avopct);

/// Coefficients of lags 1, 3, 5 .. of the shipped Hilbert filter of that length, as it answers an impulse.
std::vector<float> hilbert_filter(int length);
/// @param g  coefficients of lags 1, 3, 5 .., `half` of them
void hilbert(const float* a, float* h, int samples, int first, int last, const float* g, int half);

}  // namespace definition
