#pragma once

/// Element-wise single-precision operations on strided vectors.
///
/// A vector is a pointer to its first element and a stride of at least 1: element m = 1 .. n stands at position
/// (m - 1) * stride. Sources come first, the destination last; the destination may be one of the sources (same first
/// element, same stride). Elements are visited in ascending order, every operation rounds to float once (vsma twice).
/// A count below 1 leaves everything as it is.
namespace host {

/// y = 0
void vclr(float* y, const int& iy, const int& n) noexcept;
/// y = s
void vfill(const float& s, float* y, const int& iy, const int& n) noexcept;
/// y = a
void vmov(const float* a, const int& ia, float* y, const int& iy, const int& n) noexcept;
/// y = a + b
void vadd(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy, const int& n) noexcept;
/// y = a - b
void vsub(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy, const int& n) noexcept;
/// y = a * b
void vmul(const float* a, const int& ia, const float* b, const int& ib, float* y, const int& iy, const int& n) noexcept;
/// y = a / b, and z where b is zero
void vdivz(const float* a, const int& ia, const float* b, const int& ib, const float& z, float* y, const int& iy,
           const int& n) noexcept;
/// y = sqrt(a) where a is above zero, else z
void vsqrtz(const float* a, const int& ia, const float& z, float* y, const int& iy, const int& n) noexcept;
/// y = a * s + b, the product rounded before the addition
void vsma(const float* a, const int& ia, const float& s, const float* b, const int& ib, float* y, const int& iy,
          const int& n) noexcept;
/// y = s * a
void seg_vsmul(const float* a, const int& ia, const float& s, float* y, const int& iy, const int& n) noexcept;
/// Reverses the order of the elements in place.
void vrvrs(float* y, const int& iy, const int& n) noexcept;

}  // namespace host
