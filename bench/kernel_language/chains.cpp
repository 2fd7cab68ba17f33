#include "bench/kernel_language/chains.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>

namespace kelvo::kernel_language::bench {
namespace {

constexpr PixelLayout kRgb8{3, SampleType::u8, AlphaInfo::none};
constexpr PixelLayout kRgba8{4, SampleType::u8, AlphaInfo::premultipliedLast};
constexpr PixelLayout kRgb16{3, SampleType::u16, AlphaInfo::none};

// A builder with the few words that the chains are written in.
struct Writer {
  Builder b;

  ValueId k(float value) { return b.constant(value); }
  ValueId add(ValueId x, ValueId y) { return b.binary(Op::add, x, y); }
  ValueId sub(ValueId x, ValueId y) { return b.binary(Op::sub, x, y); }
  ValueId mul(ValueId x, ValueId y) { return b.binary(Op::mul, x, y); }
  ValueId div(ValueId x, ValueId y) { return b.binary(Op::div, x, y); }
  ValueId less(ValueId x, ValueId y) { return b.binary(Op::less, x, y); }
  ValueId limit(ValueId x, float low, float high) {
    return b.binary(Op::min, b.binary(Op::max, x, k(low)), k(high));
  }
  ValueId weighted(const Pixel& p, float r, float g, float bl) {
    return add(add(mul(p[0], k(r)), mul(p[1], k(g))), mul(p[2], k(bl)));
  }
  Pixel input() { return {b.input(0, 0), b.input(0, 1), b.input(0, 2), b.input(0, 3)}; }
  Pixel opaqueInput() { return {b.input(0, 0), b.input(0, 1), b.input(0, 2), k(1.0F)}; }

  // Colour of alpha 0 is 0.
  Pixel unpremultiply(const Pixel& p) {
    const ValueId empty = b.binary(Op::equal, p[3], k(0.0F));
    Pixel result = p;
    for (std::size_t c = 0; c < 3; ++c) result[c] = b.select(empty, k(0.0F), div(p[c], p[3]));
    return result;
  }
  Pixel premultiply(const Pixel& p) {
    return {mul(p[0], p[3]), mul(p[1], p[3]), mul(p[2], p[3]), p[3]};
  }

  Pixel colorControls(const Pixel& p, float saturation, float brightness, float contrast) {
    const ValueId y = weighted(p, 0.2125F, 0.7154F, 0.0721F);
    Pixel result = p;
    for (std::size_t c = 0; c < 3; ++c) {
      const ValueId s = add(y, mul(sub(p[c], y), k(saturation)));
      const ValueId centred = sub(add(s, k(brightness)), k(0.5F));
      result[c] = add(mul(centred, k(contrast)), k(0.5F));
    }
    return result;
  }

  Pixel hueAdjust(const Pixel& p, float angle) {
    const float cosine = std::cos(angle);
    const float side = std::sin(angle) / std::sqrt(3.0F);
    const float even = (1.0F - cosine) / 3.0F;
    return {weighted(p, cosine + even, even - side, even + side),
            weighted(p, even + side, cosine + even, even - side),
            weighted(p, even - side, even + side, cosine + even), p[3]};
  }

  // Rows r, g, b of (r, g, b, a) weights and a bias; alpha is kept.
  Pixel colorMatrix(const Pixel& p, const std::array<std::array<float, 5>, 3>& rows) {
    Pixel result = p;
    for (std::size_t c = 0; c < 3; ++c) {
      const auto& row = rows[c];
      const ValueId colour = weighted(p, row[0], row[1], row[2]);
      result[c] = add(add(colour, mul(p[3], k(row[3]))), k(row[4]));
    }
    return result;
  }

  Pixel invert(const Pixel& p) {
    return {sub(k(1.0F), p[0]), sub(k(1.0F), p[1]), sub(k(1.0F), p[2]), p[3]};
  }

  ValueId linear(ValueId c) {
    const ValueId curve = b.binary(Op::pow, div(add(c, k(0.055F)), k(1.055F)), k(2.4F));
    return b.select(b.binary(Op::lessEqual, c, k(0.04045F)), div(c, k(12.92F)), curve);
  }
  ValueId encoded(ValueId c) {
    const ValueId curve = sub(mul(b.binary(Op::pow, c, k(1.0F / 2.4F)), k(1.055F)), k(0.055F));
    return b.select(b.binary(Op::lessEqual, c, k(0.0031308F)), mul(c, k(12.92F)), curve);
  }
  Pixel exposure(const Pixel& p, float stops) {
    Pixel result = p;
    for (std::size_t c = 0; c < 3; ++c) {
      result[c] = encoded(mul(linear(p[c]), k(std::exp2(stops))));
    }
    return result;
  }

  Pixel fourFilters(const Pixel& p) {
    constexpr std::array<std::array<float, 5>, 3> kMatrix{{{0.9F, 0.2F, -0.1F, 0.0F, 0.0F},
                                                           {-0.05F, 1.1F, 0.03F, 0.0F, 0.0F},
                                                           {0.1F, -0.2F, 1.05F, 0.0F, 0.0F}}};
    return invert(colorMatrix(hueAdjust(colorControls(p, 1.2F, 0.05F, 1.1F), 0.3F), kMatrix));
  }
};

Chain chain(std::string name, PixelLayout input, PixelLayout output, const Writer& writer,
            const Pixel& result, std::vector<SampledImage> images = {}) {
  return {std::move(name), writer.b.finish(result), input, output, std::move(images)};
}

Chain fourFilters(std::string name, PixelLayout layout) {
  Writer w;
  const Pixel result = w.fourFilters(w.opaqueInput());
  return chain(std::move(name), layout, layout, w, result);
}

Chain fourFiltersTranslucent() {
  Writer w;
  const Pixel result = w.premultiply(w.fourFilters(w.unpremultiply(w.input())));
  return chain("four_filters_rgba8", kRgba8, kRgba8, w, result);
}

Chain tables() {
  Writer w;
  Pixel p = w.opaqueInput();
  for (std::size_t c = 0; c < 3; ++c) {
    const ValueId levels = w.mul(w.sub(p[c], w.k(0.1F)), w.k(1.25F));
    p[c] =
        w.b.binary(Op::pow, w.limit(levels, 0.0F, 1.0F), w.k(0.8F + 0.1F * static_cast<float>(c)));
  }
  return chain("tables_rgb8", kRgb8, kRgb8, w, p);
}

Chain threshold() {
  Writer w;
  const Pixel p = w.opaqueInput();
  const ValueId y = w.weighted(p, 0.2125F, 0.7154F, 0.0721F);
  const ValueId v = w.b.select(w.less(y, w.k(0.5F)), w.k(0.0F), w.k(1.0F));
  return chain("threshold_rgb8", kRgb8, kRgb8, w, {v, v, v, p[3]});
}

// Pixels near a colour in a cone of hues turned, the others kept by way of opacity.
Chain nearColor() {
  Writer w;
  const Pixel p = w.opaqueInput();
  const ValueId low = w.b.binary(Op::min, p[0], w.b.binary(Op::min, p[1], p[2]));
  const ValueId high = w.b.binary(Op::max, p[0], w.b.binary(Op::max, p[1], p[2]));
  const ValueId chroma = w.sub(high, low);
  const auto isLeast = [&](std::size_t c) { return w.b.binary(Op::equal, p[c], low); };
  const ValueId difference = w.b.select(
      isLeast(0), w.sub(p[1], p[2]), w.b.select(isLeast(1), w.sub(p[2], p[0]), w.sub(p[0], p[1])));
  const ValueId sector =
      w.b.select(isLeast(0), w.k(3.0F), w.b.select(isLeast(1), w.k(5.0F), w.k(1.0F)));
  const ValueId isGray = w.b.binary(Op::equal, high, low);
  const ValueId hue = w.b.select(isGray, w.k(-1.0F), w.sub(sector, w.div(difference, chroma)));
  const ValueId saturation = w.b.select(isGray, w.k(0.0F), w.div(chroma, high));
  const ValueId across = w.sub(w.mul(saturation, w.b.unary(Op::cos, hue)), w.k(-0.3F));
  const ValueId along = w.sub(w.mul(saturation, w.b.unary(Op::sin, hue)), w.k(-0.1F));
  const ValueId up = w.sub(high, w.k(0.75F));
  const ValueId distance =
      w.b.unary(Op::sqrt, w.add(w.add(w.mul(up, up), w.mul(across, across)), w.mul(along, along)));
  Pixel chosen = p;
  chosen[3] = w.b.select(w.less(distance, w.k(0.3F)), p[3], w.k(0.0F));
  chosen = w.unpremultiply(w.premultiply(chosen));
  Pixel result = w.premultiply(w.hueAdjust(w.colorControls(chosen, 1.2F, 0.0F, 1.0F), 0.3F));
  const ValueId behind = w.sub(w.k(1.0F), result[3]);
  for (std::size_t c = 0; c < 4; ++c) result[c] = w.add(result[c], w.mul(p[c], behind));
  return chain("near_color_rgb8", kRgb8, kRgb8, w, result);
}

Chain invertTranslucent() {
  Writer w;
  const Pixel result = w.premultiply(w.invert(w.unpremultiply(w.input())));
  return chain("invert_rgba8", kRgba8, kRgba8, w, result);
}

Chain exposureTranslucent() {
  Writer w;
  const Pixel result = w.premultiply(w.exposure(w.unpremultiply(w.input()), 0.5F));
  return chain("exposure_rgba8", kRgba8, kRgba8, w, result);
}

Chain curvesTranslucent() {
  Writer w;
  auto ramp = std::make_shared<std::vector<float>>();
  for (int i = 0; i < 256; ++i) {
    for (const float gamma : {0.8F, 0.9F, 1.1F, 1.0F}) {
      ramp->push_back(std::pow(static_cast<float>(i) / 255.0F, gamma));
    }
  }
  const Pixel p = w.unpremultiply(w.input());
  Pixel result = p;
  for (std::uint32_t c = 0; c < 3; ++c) {
    result[c] = w.b.sampleImage(0, c, w.mul(p[c], w.k(255.0F)), w.k(0.0F));
  }
  return chain("curves_rgba8", kRgba8, kRgba8, w, w.premultiply(result), {{256, 1, ramp}});
}

}  // namespace

std::vector<Chain> chains() {
  return {fourFilters("four_filters_rgb8", kRgb8),
          fourFilters("four_filters_rgb16", kRgb16),
          fourFiltersTranslucent(),
          tables(),
          threshold(),
          nearColor(),
          invertTranslucent(),
          exposureTranslucent(),
          curvesTranslucent()};
}

}  // namespace kelvo::kernel_language::bench
