#pragma once

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

// A second rendering of the curve's arithmetic for comparison to the bit: one array per quantity,
// one loop per step, and every operation stored into a float or double of its own.
namespace kelvo::testing {

struct PlainPoint {
  float x;
  float y;
};

struct PlainSpline {
  std::vector<PlainPoint> points;
  std::vector<float> a, b, c, d;

  explicit PlainSpline(std::vector<PlainPoint> through) : points(std::move(through)) {
    const int n = static_cast<int>(points.size());
    const auto segments = static_cast<std::size_t>(n - 1);
    const auto all = static_cast<std::size_t>(n);
    a.assign(segments, 0);
    b.assign(segments, 0);
    c.assign(segments, 0);
    d.assign(segments, 0);
    std::vector<float> h(segments), lower(segments), upper(segments), diag(all), rhs(all), M(all);
    const auto x = [&](int i) { return points[static_cast<std::size_t>(i)].x; };
    const auto y = [&](int i) { return points[static_cast<std::size_t>(i)].y; };
    const auto at = [](std::vector<float>& v, int i) -> float& {
      return v[static_cast<std::size_t>(i)];
    };

    for (int i = 0; i <= n - 2; ++i) at(h, i) = x(i + 1) - x(i);
    at(diag, 0) = 1;
    at(diag, n - 1) = 1;
    for (int i = 1; i <= n - 2; ++i) {
      const float sum = at(h, i - 1) + at(h, i);
      at(diag, i) = 2 * sum;
    }
    for (int i = 0; i <= n - 3; ++i) at(lower, i) = at(h, i);
    at(lower, n - 2) = 0;
    at(upper, 0) = 0;
    for (int i = 1; i <= n - 2; ++i) at(upper, i) = at(h, i);
    at(rhs, 0) = 0;
    at(rhs, n - 1) = 0;
    for (int i = 1; i <= n - 2; ++i) {
      const float rise = y(i + 1) - y(i);
      const float before = y(i) - y(i - 1);
      const float right = rise / at(h, i);
      const float left = before / at(h, i - 1);
      const float change = right - left;
      at(rhs, i) = 6 * change;
    }
    for (int i = 1; i <= n - 1; ++i) {
      const float m = at(lower, i - 1) / at(diag, i - 1);
      const float offDiagonal = m * at(upper, i - 1);
      at(diag, i) = at(diag, i) - offDiagonal;
      const float offRight = m * at(rhs, i - 1);
      at(rhs, i) = at(rhs, i) - offRight;
    }
    for (int i = n - 2; i >= 1; --i) {
      const float known = at(upper, i) * at(M, i + 1);
      const float rest = at(rhs, i) - known;
      at(M, i) = rest / at(diag, i);
    }
    for (int i = 0; i <= n - 2; ++i) {
      const float bend = at(M, i + 1) - at(M, i);
      const double width = at(h, i);
      const double sixWidths = width * 6;
      const double cubic = bend / sixWidths;
      at(a, i) = static_cast<float>(cubic);
      at(b, i) = at(M, i) * 0.5F;
      const float rise = y(i + 1) - y(i);
      const float slope = rise / at(h, i);
      const double here = at(M, i);
      const double twice = here + here;
      const double next = at(M, i + 1);
      const double ends = next + twice;
      const double sixth = ends / -6;
      const double bendOverWidth = sixth * width;
      const double linear = slope + bendOverWidth;
      at(c, i) = static_cast<float>(linear);
      at(d, i) = y(i);
    }
  }

  // Neither rounded nor limited.
  [[nodiscard]] float real(float at) const { return evaluated(at, false); }
  // Rounded and limited on the segments.
  [[nodiscard]] float level(float at) const { return evaluated(at, true); }

  [[nodiscard]] std::array<float, 256> cache() const {
    std::array<float, 256> values{};
    for (int i = 0; i < 256; ++i) {
      values[static_cast<std::size_t>(i)] = level(static_cast<float>(i));
    }
    return values;
  }

 private:
  [[nodiscard]] float evaluated(float at, bool asLevel) const {
    if (points.size() < 2) return 0;
    if (at < points.front().x) return points.front().y;
    if (at > points.back().x) return points.back().y;
    for (std::size_t i = 0; i < points.size() - 1; ++i) {
      if (points[i].x <= at && at < points[i + 1].x) {
        const float t = at - points[i].x;
        float cubic = t * a[i];
        cubic = cubic * t;
        cubic = cubic * t;
        float square = t * b[i];
        square = square * t;
        const float line = t * c[i];
        float v = cubic + square;
        v = v + line;
        v = v + d[i];
        return asLevel ? limited(roundf(v)) : v;
      }
    }
    return at == points.back().x ? points.back().y : 0.0F;
  }

  static float limited(float v) {
    if (0 > v) return 0;
    if (v <= 255) return v;
    return std::isnan(v) ? v : 255.0F;
  }
};

// Equal to the bit, so that even the sign of zero and what is not a number count.
inline bool sameBits(float left, float right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

}  // namespace kelvo::testing
