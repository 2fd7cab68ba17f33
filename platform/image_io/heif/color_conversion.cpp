#include "platform/image_io/heif/color_conversion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace kelvo::heif {
namespace {

using Matrix = std::array<std::array<double, 3>, 3>;

constexpr unsigned kIdentity = 0;
constexpr unsigned kYCgCo = 8;

struct LumaWeights {
  double red;
  double blue;
};

// ITU-T H.273, table 4. What is unspecified is taken for BT.601, as decoders of the format do.
std::optional<LumaWeights> lumaWeights(unsigned matrix) {
  switch (matrix) {
    case 1:
      return LumaWeights{.red = 0.2126, .blue = 0.0722};
    case 2:
    case 5:
    case 6:
      return LumaWeights{.red = 0.299, .blue = 0.114};
    case 4:
      return LumaWeights{.red = 0.30, .blue = 0.11};
    case 7:
      return LumaWeights{.red = 0.212, .blue = 0.087};
    case 9:
      return LumaWeights{.red = 0.2627, .blue = 0.0593};
    default:
      return std::nullopt;
  }
}

std::optional<Matrix> matrixToRgb(unsigned matrix) {
  if (matrix == kIdentity) return Matrix{{{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}};
  if (matrix == kYCgCo) return Matrix{{{1, -1, 1}, {1, 1, 0}, {1, -1, -1}}};
  const auto weights = lumaWeights(matrix);
  if (!weights) return std::nullopt;
  const double green = 1 - weights->red - weights->blue;
  const double fromBlue = 2 * (1 - weights->blue);
  const double fromRed = 2 * (1 - weights->red);
  return Matrix{{{1, 0, fromRed},
                 {1, -weights->blue * fromBlue / green, -weights->red * fromRed / green},
                 {1, fromBlue, 0}}};
}

Matrix inverse(const Matrix& m) {
  Matrix cofactors;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t k = 0; k < 3; ++k) {
      const auto at = [&](std::size_t r, std::size_t c) { return m[(i + r) % 3][(k + c) % 3]; };
      cofactors[i][k] = at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1);
    }
  }
  const double determinant =
      m[0][0] * cofactors[0][0] + m[0][1] * cofactors[0][1] + m[0][2] * cofactors[0][2];
  Matrix result;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t k = 0; k < 3; ++k) result[i][k] = cofactors[k][i] / determinant;
  }
  return result;
}

Matrix3 rounded(const Matrix& m) {
  Matrix3 result;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t k = 0; k < 3; ++k) result[i][k] = static_cast<float>(m[i][k]);
  }
  return result;
}

std::uint16_t toSample(float value, float maximum) {
  return static_cast<std::uint16_t>(std::clamp(value + 0.5F, 0.0F, maximum + 0.4F));
}

}  // namespace

Result<ColorConversion> ColorConversion::create(const ColorCoding& color, Chroma chroma,
                                                unsigned depth) {
  const auto matrix = matrixToRgb(color.matrix);
  const bool identity = color.matrix == kIdentity;
  if (chroma != Chroma::none && (!matrix || (identity && chroma != Chroma::c444))) {
    return Error{"the colour coding of the picture is not supported (matrix " +
                 std::to_string(color.matrix) + ")"};
  }
  ColorConversion conversion;
  if (matrix) {
    conversion.toRgb_ = rounded(*matrix);
    conversion.fromRgb_ = rounded(inverse(*matrix));
  }
  const auto unit = static_cast<float>(1U << (depth - 8));
  conversion.maximum_ = static_cast<float>((1U << depth) - 1);
  const float lumaOffset = color.fullRange ? 0 : 16 * unit;
  const float lumaScale = color.fullRange ? conversion.maximum_ : 219 * unit;
  const float chromaScale = color.fullRange ? conversion.maximum_ : 224 * unit;
  conversion.offset_ = {lumaOffset, 128 * unit, 128 * unit};
  conversion.scale_ = {lumaScale, chromaScale, chromaScale};
  if (identity) {
    conversion.offset_.fill(lumaOffset);
    conversion.scale_.fill(lumaScale);
  }
  return conversion;
}

template <typename Sample>
void ColorConversion::toRgb(const Planes& planes, std::uint32_t y, std::uint32_t count, Sample* out,
                            std::size_t step) const {
  constexpr auto kMaximum = static_cast<float>(std::numeric_limits<Sample>::max());
  const auto store = [&](float value) {
    return static_cast<Sample>(std::clamp(value, 0.0F, 1.0F) * kMaximum + 0.5F);
  };
  const auto luma = planes.row(0, y);
  if (planes.chroma == Chroma::none) {
    for (std::uint32_t x = 0; x < count; ++x) {
      out[x * step] = store((static_cast<float>(luma[x]) - offset_[0]) / scale_[0]);
    }
    return;
  }
  const std::uint32_t shift = chromaShiftX(planes.chroma);
  const std::uint32_t chromaY = y >> chromaShiftY(planes.chroma);
  const auto first = planes.row(1, chromaY);
  const auto second = planes.row(2, chromaY);
  for (std::uint32_t x = 0; x < count; ++x) {
    const float a = (static_cast<float>(luma[x]) - offset_[0]) / scale_[0];
    const float b = (static_cast<float>(first[x >> shift]) - offset_[1]) / scale_[1];
    const float c = (static_cast<float>(second[x >> shift]) - offset_[2]) / scale_[2];
    for (std::size_t k = 0; k < 3; ++k) {
      out[x * step + k] = store(toRgb_[k][0] * a + toRgb_[k][1] * b + toRgb_[k][2] * c);
    }
  }
}

template void ColorConversion::toRgb(const Planes&, std::uint32_t, std::uint32_t, std::uint8_t*,
                                     std::size_t) const;
template void ColorConversion::toRgb(const Planes&, std::uint32_t, std::uint32_t, std::uint16_t*,
                                     std::size_t) const;

PlaneWriter::PlaneWriter(const ColorConversion& conversion, Planes& planes)
    : conversion_(conversion), planes_(planes) {
  for (auto& sums : sums_) sums.assign(planes.planeWidth(1), 0);
  counts_.assign(planes.planeWidth(1), 0);
}

void PlaneWriter::addRow(std::span<const float> rgb) {
  if (y_ >= planes_.height) return;
  last_.assign(rgb.begin(), rgb.end());
  last_.resize(std::size_t{3} * planes_.width);
  for (std::size_t i = rgb.size(); i < last_.size(); ++i) last_[i] = last_[i - 3];

  const std::uint32_t shift = chromaShiftX(planes_.chroma);
  const auto luma = planes_.row(0, y_);
  const Matrix3& m = conversion_.fromRgb_;
  for (std::uint32_t x = 0; x < planes_.width; ++x) {
    const float* const p = last_.data() + std::size_t{3} * x;
    const auto value = [&](std::size_t k) {
      return m[k][0] * p[0] + m[k][1] * p[1] + m[k][2] * p[2];
    };
    luma[x] =
        toSample(conversion_.offset_[0] + conversion_.scale_[0] * value(0), conversion_.maximum_);
    sums_[0][x >> shift] += value(1);
    sums_[1][x >> shift] += value(2);
    counts_[x >> shift] += 1;
  }
  ++y_;
  const std::uint32_t rowsOfOne = 1U << chromaShiftY(planes_.chroma);
  if (y_ % rowsOfOne == 0 || y_ == planes_.height) finishChromaRow();
}

void PlaneWriter::finishChromaRow() {
  if (planes_.chroma != Chroma::none) {
    const std::uint32_t y = (y_ - 1) >> chromaShiftY(planes_.chroma);
    for (unsigned k = 0; k < 2; ++k) {
      const auto row = planes_.row(k + 1, y);
      for (std::size_t x = 0; x < row.size(); ++x) {
        const float mean = sums_[k][x] / counts_[x];
        row[x] = toSample(conversion_.offset_[k + 1] + conversion_.scale_[k + 1] * mean,
                          conversion_.maximum_);
      }
    }
  }
  for (auto& sums : sums_) std::fill(sums.begin(), sums.end(), 0.0F);
  std::fill(counts_.begin(), counts_.end(), 0.0F);
}

void PlaneWriter::finish() {
  while (y_ < planes_.height && !last_.empty()) {
    const std::vector<float> repeated = last_;
    addRow(repeated);
  }
}

}  // namespace kelvo::heif
