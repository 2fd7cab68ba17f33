#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "platform/kernel_language/executable.h"

// Helpers for running programs on every target.
namespace kelvo::kernel_language {

constexpr PixelLayout kRgb8{3, SampleType::u8, AlphaInfo::none};
constexpr PixelLayout kRgba8{4, SampleType::u8, AlphaInfo::premultipliedLast};
constexpr PixelLayout kStraight8{4, SampleType::u8, AlphaInfo::last};
constexpr PixelLayout kRgb16{3, SampleType::u16, AlphaInfo::none};
constexpr PixelLayout kRgba16{4, SampleType::u16, AlphaInfo::premultipliedLast};
constexpr PixelLayout kRgbaFloat{4, SampleType::f32, AlphaInfo::premultipliedLast};

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Floats that break careless arithmetic.
inline const std::vector<float>& awkwardFloats() {
  static const std::vector<float> floats{0.0F,
                                         -0.0F,
                                         1.0F,
                                         -1.0F,
                                         255.0F / 256.0F,
                                         256.0F / 255.0F,
                                         0.5F,
                                         -0.5F,
                                         1.5F,
                                         2.5F,
                                         -2.5F,
                                         2.0F,
                                         -2.0F,
                                         3.0F,
                                         -3.0F,
                                         0x1.fffffep-2F,
                                         0x1.fffffep-1F,
                                         0x1.000002p0F,
                                         1e-3F,
                                         -1e-3F,
                                         0.04045F,
                                         0.7F,
                                         -0.3F,
                                         100.25F,
                                         -100.25F,
                                         1e5F,
                                         -1e5F,
                                         0x1p-126F,
                                         0x1p-149F,
                                         -0x1p-149F,
                                         0x1.8p-130F,
                                         8388607.5F,
                                         8388608.0F,
                                         16777216.0F,
                                         -16777215.0F,
                                         2147483520.0F,
                                         2147483648.0F,
                                         -2147483648.0F,
                                         -2147483904.0F,
                                         4e9F,
                                         0x1.fffffep127F,
                                         -0x1.fffffep127F,
                                         kInfinity,
                                         -kInfinity,
                                         kNan,
                                         88.5F,
                                         -103.9F,
                                         127.99F,
                                         -149.5F,
                                         1.5707964F,
                                         3.1415927F,
                                         0x1p40F,
                                         -0x1p40F,
                                         1e30F};
  return floats;
}

template <typename T>
std::vector<std::byte> bytesOf(const std::vector<T>& values) {
  std::vector<std::byte> bytes(values.size() * sizeof(T));
  if (!bytes.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

template <typename T>
std::vector<T> valuesOf(const std::vector<std::byte>& bytes) {
  std::vector<T> values(bytes.size() / sizeof(T));
  if (!values.empty()) std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
  return values;
}

// Runs the target for as long as it lives.
class ForcedTarget {
 public:
  explicit ForcedTarget(const std::string& name) { EXPECT_TRUE(forceTarget(name)); }
  ForcedTarget(const ForcedTarget&) = delete;
  ForcedTarget& operator=(const ForcedTarget&) = delete;
  ~ForcedTarget() { forceTarget(""); }
};

// One row. Input and output are allocated exactly, so that the sanitizers see a step beyond; the
// bytes around the output are checked too.
inline std::vector<std::byte> runRow(const Executable& executable,
                                     const std::vector<std::vector<std::byte>>& sources,
                                     const PixelLayout& output, std::size_t pixels,
                                     std::int32_t x = 0, std::int32_t y = 0) {
  constexpr std::size_t kGuard = 64;
  constexpr std::byte kGuardByte{0xa5};
  std::vector<const std::byte*> inputs;
  inputs.reserve(sources.size());
  for (const auto& source : sources) inputs.push_back(source.data());
  const std::size_t size = pixels * output.pixelBytes();
  std::vector<std::byte> guarded(size + 2 * kGuard, kGuardByte);
  executable.run(inputs, guarded.data() + kGuard, pixels, x, y);
  for (std::size_t i = 0; i < kGuard; ++i) {
    EXPECT_EQ(guarded[i], kGuardByte) << "before the row";
    EXPECT_EQ(guarded[kGuard + size + i], kGuardByte) << "after the row";
  }
  return {guarded.begin() + kGuard, guarded.end() - kGuard};
}

}  // namespace kelvo::kernel_language
