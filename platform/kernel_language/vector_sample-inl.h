// Looking up images, once per target.
#if defined(KELVO_VECTOR_SAMPLE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_SAMPLE_INL_H_
#undef KELVO_VECTOR_SAMPLE_INL_H_
#else
#define KELVO_VECTOR_SAMPLE_INL_H_
#endif

#include <algorithm>
#include <array>

#include "platform/kernel_language/executable.h"
#include "platform/kernel_language/vector_lanes-inl.h"

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

// Where a block's coordinates fall along one axis: two neighbours and the weight of the second.
struct BlockPositions {
  HWY_ALIGN std::int32_t first[kBlock];
  HWY_ALIGN std::int32_t second[kBlock];
  HWY_ALIGN float weight[kBlock];
};

// `stride` floats lie between neighbours.
HWY_INLINE void locateBlock(const float* HWY_RESTRICT coordinates, std::uint32_t size,
                            std::int32_t stride, BlockPositions& positions) {
  const D d;
  const DI di;
  const V last = hn::Set(d, static_cast<float>(size - 1));
  const VI lastIndex = hn::Set(di, static_cast<std::int32_t>(size - 1));
  const VI one = hn::Set(di, 1);
  const VI step = hn::Set(di, stride);
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const V inside = lesser(greater(hn::Load(d, coordinates + i), hn::Zero(d)), last);
    const VI first = truncateSmall(inside);
    const V whole = hn::ConvertTo(d, first);
    const VI second = hn::Min(hn::Add(first, one), lastIndex);
    hn::Store(hn::Mul(first, step), di, positions.first + i);
    hn::Store(hn::Mul(second, step), di, positions.second + i);
    hn::Store(hn::Sub(inside, whole), d, positions.weight + i);
  }
}

template <class T>
HWY_INLINE hn::Vec<T> mixedLanes(hn::Vec<T> a, hn::Vec<T> b, hn::Vec<T> weight) {
  return hn::Add(a, hn::Mul(hn::Sub(b, a), weight));
}

// One component: neighbours are fetched one by one, mixed by vectors.
inline void sampleOne(const SampledImage& image, std::size_t component,
                      const BlockPositions& columns, const BlockPositions& rows,
                      float* HWY_RESTRICT to) {
  const D d;
  const float* texels = image.pixels->data() + component;
  const bool flat = image.height == 1;
  HWY_ALIGN std::array<float, kBlock> left;
  HWY_ALIGN std::array<float, kBlock> right;
  const auto mixRow = [&](const std::int32_t* row, float* mixed) HWY_ATTR {
    for (std::size_t i = 0; i < kBlock; ++i) {
      const float* from = texels + (flat ? 0 : row[i]);
      left[i] = from[columns.first[i]];
      right[i] = from[columns.second[i]];
    }
    for (std::size_t i = 0; i < kBlock; i += kLanes) {
      hn::Store(mixedLanes<D>(hn::Load(d, left.data() + i), hn::Load(d, right.data() + i),
                              hn::Load(d, columns.weight + i)),
                d, mixed + i);
    }
  };
  mixRow(rows.first, to);
  if (flat) return;
  HWY_ALIGN std::array<float, kBlock> bottom;
  mixRow(rows.second, bottom.data());
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    hn::Store(mixedLanes<D>(hn::Load(d, to + i), hn::Load(d, bottom.data() + i),
                            hn::Load(d, rows.weight + i)),
              d, to + i);
  }
}

// Several components: a texel's four floats are one vector, loaded once for all of them.
inline void sampleAll(const SampledImage& image, const BlockPositions& columns,
                      const BlockPositions& rows, const std::array<float*, 4>& to) {
  const hn::FixedTag<float, 4> four;
  const D d;
  const float* texels = image.pixels->data();
  const bool flat = image.height == 1;
  HWY_ALIGN std::array<float, 4 * kBlock> pixels;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const auto weight = hn::Set(four, columns.weight[i]);
    const auto mixRow = [&](const float* row) HWY_ATTR {
      return mixedLanes<decltype(four)>(hn::LoadU(four, row + columns.first[i]),
                                        hn::LoadU(four, row + columns.second[i]), weight);
    };
    auto pixel = mixRow(texels + (flat ? 0 : rows.first[i]));
    if (!flat) {
      pixel = mixedLanes<decltype(four)>(pixel, mixRow(texels + rows.second[i]),
                                         hn::Set(four, rows.weight[i]));
    }
    hn::Store(pixel, four, pixels.data() + 4 * i);
  }
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    V r, g, b, a;
    hn::LoadInterleaved4(d, pixels.data() + 4 * i, r, g, b, a);
    if (to[0] != nullptr) hn::Store(r, d, to[0] + i);
    if (to[1] != nullptr) hn::Store(g, d, to[1] + i);
    if (to[2] != nullptr) hn::Store(b, d, to[2] + i);
    if (to[3] != nullptr) hn::Store(a, d, to[3] + i);
  }
}

// Results that nobody needs are null.
HWY_NOINLINE void sampleBlock(const SampledImage& image, const float* x, const float* y,
                              const std::array<float*, 4>& to) {
  BlockPositions columns;
  BlockPositions rows;
  locateBlock(x, image.width, 4, columns);
  if (image.height != 1) {
    locateBlock(y, image.height, static_cast<std::int32_t>(4 * image.width), rows);
  }
  const auto wanted = std::ranges::count_if(to, [](const float* c) { return c != nullptr; });
  if (wanted > 1) {
    sampleAll(image, columns, rows, to);
    return;
  }
  for (std::size_t c = 0; c < 4; ++c) {
    if (to[c] != nullptr) sampleOne(image, c, columns, rows, to[c]);
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
