#pragma once

#include <cstddef>
#include <cstdint>

namespace kelvo {

// The vector part of the way between linear light and 8-bit L*a*b*. All arrays hold `count` values,
// count at most kLabBlock, and have room for kLabBlock. Every processor gives the same results.
constexpr std::size_t kLabBlock = 256;

// f of each value of each array, in place: CIE 15, the cube root above 216/24389, linear below.
// Values from 0 up.
void labRoots(float* x, float* y, float* z, std::size_t count);

// The same for one array.
void labRoots(float* y, std::size_t count);

// L* = 116 fy - 16, encoded and rounded to nearest: the first byte of what encodeLab gives.
// `levels` has room for kLabBlock.
void encodeLightness(const float* fy, std::uint8_t* levels, std::size_t count);

// L* = 116 fy - 16, a* = 500 (fx - fy), b* = 200 (fy - fz), encoded and rounded to nearest.
void encodeLab(const float* fx, const float* fy, const float* fz, std::uint8_t* lab,
               std::size_t count);

// Linear light from encoded L*a*b*. `m` is the matrix from X/Xn, Y/Yn, Z/Zn, rows r, g, b.
void decodeLab(const std::uint8_t* lab, const float (&m)[9], float* r, float* g, float* b,
               std::size_t count);

}  // namespace kelvo
