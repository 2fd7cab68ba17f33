#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace kelvo::heif {

enum class Chroma : std::uint8_t { none, c420, c422, c444 };

constexpr std::uint32_t chromaShiftX(Chroma chroma) {
  return chroma == Chroma::c420 || chroma == Chroma::c422 ? 1 : 0;
}
constexpr std::uint32_t chromaShiftY(Chroma chroma) { return chroma == Chroma::c420 ? 1 : 0; }

// Luma and chroma as they are coded. Chroma sizes are rounded up.
struct Planes {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  Chroma chroma = Chroma::c420;
  unsigned depth = 8;  // bits of a sample, at most 16
  std::array<std::vector<std::uint16_t>, 3> samples;

  Planes() = default;
  Planes(std::uint32_t w, std::uint32_t h, Chroma c, unsigned bits)
      : width(w), height(h), chroma(c), depth(bits) {
    for (unsigned k = 0; k < count(); ++k) {
      samples[k].resize(std::size_t{planeWidth(k)} * planeHeight(k));
    }
  }

  [[nodiscard]] unsigned count() const { return chroma == Chroma::none ? 1 : 3; }
  [[nodiscard]] std::uint32_t planeWidth(unsigned plane) const {
    const std::uint32_t shift = plane == 0 ? 0 : chromaShiftX(chroma);
    return (width + shift) >> shift;
  }
  [[nodiscard]] std::uint32_t planeHeight(unsigned plane) const {
    const std::uint32_t shift = plane == 0 ? 0 : chromaShiftY(chroma);
    return (height + shift) >> shift;
  }
  [[nodiscard]] std::span<std::uint16_t> row(unsigned plane, std::uint32_t y) {
    return std::span(samples[plane]).subspan(std::size_t{y} * planeWidth(plane), planeWidth(plane));
  }
  [[nodiscard]] std::span<const std::uint16_t> row(unsigned plane, std::uint32_t y) const {
    return std::span(samples[plane]).subspan(std::size_t{y} * planeWidth(plane), planeWidth(plane));
  }
};

}  // namespace kelvo::heif
