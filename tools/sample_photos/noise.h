#pragma once

#include <cstdint>

// Repeatable randomness: the same numbers for the same place, on every machine.
namespace kelvo::samples {

// Evenly spread in [0, 1), a pure function of its arguments.
float hash(std::int64_t x, std::int64_t y, std::uint32_t seed);

// Smooth noise in [0, 1] with features about one unit wide.
float noise(float x, float y, std::uint32_t seed);

// Noise of several octaves, each half as wide and half as strong, in [0, 1].
float fractal(float x, float y, int octaves, std::uint32_t seed);

// Like fractal, with sharp crests: the outline of mountains.
float ridged(float x, float y, int octaves, std::uint32_t seed);

// A bell curve with mean 0 and variance 1, near enough for sensor noise.
float gaussian(std::int64_t x, std::int64_t y, std::uint32_t seed);

}  // namespace kelvo::samples
