#pragma once

#include <algorithm>
#include <cmath>

namespace kelvo::samples {

// Linear light, 1 being the white of the finished picture; straight alpha.
struct Colour {
  float r = 0.0F;
  float g = 0.0F;
  float b = 0.0F;
  float a = 1.0F;
};

inline Colour operator+(Colour p, Colour q) { return {p.r + q.r, p.g + q.g, p.b + q.b, p.a}; }
inline Colour operator*(Colour p, float k) { return {p.r * k, p.g * k, p.b * k, p.a}; }
inline Colour operator*(Colour p, Colour q) { return {p.r * q.r, p.g * q.g, p.b * q.b, p.a}; }

// p where t is 0, q where it is 1.
inline Colour blend(Colour p, Colour q, float t) {
  return {std::lerp(p.r, q.r, t), std::lerp(p.g, q.g, t), std::lerp(p.b, q.b, t), p.a};
}

inline float smoothStep(float from, float to, float x) {
  const float t = std::clamp((x - from) / (to - from), 0.0F, 1.0F);
  return t * t * (3.0F - 2.0F * t);
}

// The sRGB curve, both ways; 0…1.
inline float decodeSrgb(float v) {
  return v <= 0.04045F ? v / 12.92F : std::pow((v + 0.055F) / 1.055F, 2.4F);
}
inline float encodeSrgb(float v) {
  return v <= 0.0031308F ? 12.92F * v : 1.055F * std::pow(v, 1.0F / 2.4F) - 0.055F;
}

// A colour given as the 8-bit numbers that people pick.
inline Colour fromLevels(float r, float g, float b) {
  return {decodeSrgb(r / 255.0F), decodeSrgb(g / 255.0F), decodeSrgb(b / 255.0F), 1.0F};
}

}  // namespace kelvo::samples
