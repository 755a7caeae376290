#pragma once

namespace solution {

/// What one CDP adds to the five sums of a_sauavg with weights and scale of 1, to the same bits: the running sums of
/// the four products and of the weight go side by side, one a vector lane.
///
/// @param[in]  ar, ai, br, bi  [ns]     as of a_sauavg
/// @param[in]  ns              samples
/// @param[in]  ntwin           smoothing window, samples
/// @param      scratch         [10 ns]
/// @param[out] products        [ns][5]  smoothed |A|^2, |B|^2, real and imaginary part of A conj(B), weight
void smoothed_products(const float* ar, const float* ai, const float* br, const float* bi, int ns, int ntwin,
                       float* scratch, float* products) noexcept;

}  // namespace solution
