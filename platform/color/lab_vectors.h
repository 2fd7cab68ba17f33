#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvo {

// The vector part of the way between 8-bit RGB and 8-bit L*a*b*. Arrays of bytes hold `count`
// pixels, count at most kLabBlock. Every processor gives the same results.
constexpr std::size_t kLabBlock = 256;

// What leads from levels to linear light: what each level of r, g and b contributes to X/Xn, Y/Yn
// and Z/Zn, and 0.
struct LabEncoding {
  alignas(16) std::array<std::array<std::array<float, 4>, 256>, 3> shares{};
};

// f of X/Xn, Y/Yn and Z/Zn is the cube root above 216/24389, linear below (CIE 15);
// L* = 116 fy - 16, a* = 500 (fx - fy), b* = 200 (fy - fz), encoded and rounded to nearest. `rgb`
// and `lab` may be the same memory.
void encodeLab(const LabEncoding& encoding, const std::uint8_t* rgb, std::uint8_t* lab,
               std::size_t count);

// From Y/Yn: the first byte of what encodeLab gives. Both arrays have room for kLabBlock.
void encodeLightness(const float* y, std::uint8_t* levels, std::size_t count);

// A channel's curve from linear light to levels, for looking up. A bucket is a range of the bits of
// a float, 1/128 of an octave; no two levels begin within one. Its entry is the level at its
// beginning, times its size, plus the distance from where the next level begins to its end: adding
// a float's place within the bucket carries into the level from there on.
class LevelSteps {
 public:
  static constexpr std::uint32_t kBucketBits = 16;
  // Below 2^-13 all is level 0.
  static constexpr std::uint32_t kFirstBits = 0x39000000;
  static constexpr std::uint32_t kLastBits = 0x3f800000;  // 1

  // `thresholds`: linear light from which a level is k, k = 1…255, rising, to 1.
  explicit LevelSteps(const std::array<double, 256>& thresholds);

  // The entries for the bits of floats from kFirstBits to kLastBits. One by one: the processors'
  // own way to gather them takes twice as long.
  void lookUp(const std::int32_t* bits, std::int32_t* entries, std::size_t count) const;

 private:
  std::array<std::int32_t, ((kLastBits - kFirstBits) >> kBucketBits) + 1> entries_{};
};

// What leads from L*a*b* to levels: `matrix` to linear light from X/Xn, Y/Yn, Z/Zn, rows r, g, b.
struct LabDecoding {
  float matrix[9] = {};
  const LevelSteps* steps[3] = {};  // of r, g, b
};

// Levels r, g, b from encoded L*a*b*. Both hold `count` pixels; they may be the same memory.
void decodeLab(const std::uint8_t* lab, const LabDecoding& decoding, std::uint8_t* rgb,
               std::size_t count);

}  // namespace kelvo
