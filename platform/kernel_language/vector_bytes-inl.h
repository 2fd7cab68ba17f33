// 8-bit pixels to block registers without planes of bytes in between, once per target: the bytes of
// a component are shuffled straight into the lanes. Only where the vectors have such shuffles.
#if defined(KELVO_VECTOR_BYTES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef KELVO_VECTOR_BYTES_INL_H_
#undef KELVO_VECTOR_BYTES_INL_H_
#else
#define KELVO_VECTOR_BYTES_INL_H_
#endif

#include <array>

#include "platform/kernel_language/vector_lanes-inl.h"

#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {

#if KELVO_X86_VECTORS

using DBytes = hn::Repartition<std::uint8_t, D>;
using VBytes = hn::Vec<DBytes>;
using DWords = hn::RebindToUnsigned<D>;

// Of the four pixels in each block of 16 bytes, the bytes of one component, widened to four lanes.
HWY_INLINE VBytes componentShuffle(std::size_t component) {
  constexpr std::uint8_t kNothing = 0x80;
  HWY_ALIGN std::array<std::uint8_t, 4 * kLanes> shuffle;
  for (std::size_t i = 0; i < shuffle.size(); ++i) {
    shuffle[i] = i % 4 == 0 ? static_cast<std::uint8_t>(i % 16 / 4 * 3 + component) : kNothing;
  }
  return hn::Load(DBytes(), shuffle.data());
}

// The four-byte words of a load from `skipped` words before a vector's first pixel, so that each
// block of 16 bytes begins with the four pixels that are its own.
HWY_INLINE auto pixelWords(std::size_t skipped) {
  HWY_ALIGN std::array<std::int32_t, kLanes> words;
  for (std::size_t i = 0; i < kLanes; ++i) {
    const std::size_t word = i / 4 * 3 + (i % 4 < 3 ? i % 4 : 2);
    words[i] = static_cast<std::int32_t>(word + skipped);
  }
  return hn::SetTableIndices(DI(), words.data());
}

// `store(component, lane, levels)` gets vectors of levels of a block of pixels with three
// components.
template <class Store>
HWY_INLINE void forLevelsOfThree(const std::uint8_t* HWY_RESTRICT pixels, const Store& store) {
  const DI di;
  const DBytes bytes;
  // A vector's pixels fill three quarters of it. All loads but the first reach back by the quarter
  // that is too much, so that none reaches beyond the block.
  constexpr std::size_t kBack = kLanes / 4;
  const auto first = pixelWords(0);
  const auto later = pixelWords(kBack);
  const std::array shuffles{componentShuffle(0), componentShuffle(1), componentShuffle(2)};
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const std::uint8_t* from = pixels + 3 * i - (i == 0 ? 0 : 4 * kBack);
    const VI loaded = hn::BitCast(di, hn::LoadU(bytes, from));
    const VI words = hn::TableLookupLanes(loaded, i == 0 ? first : later);
    for (std::size_t c = 0; c < 3; ++c) {
      store(c, i, hn::BitCast(di, hn::TableLookupBytesOr0(hn::BitCast(bytes, words), shuffles[c])));
    }
  }
}

// The same with four components.
template <class Store>
HWY_INLINE void forLevelsOfFour(const std::uint8_t* HWY_RESTRICT pixels, const Store& store) {
  const DI di;
  const DWords words;
  const auto low = hn::Set(words, 0xffU);
  for (std::size_t i = 0; i < kBlock; i += kLanes) {
    const auto pixel = hn::BitCast(words, hn::LoadU(DBytes(), pixels + 4 * i));
    store(0, i, hn::BitCast(di, hn::And(pixel, low)));
    store(1, i, hn::BitCast(di, hn::And(hn::ShiftRight<8>(pixel), low)));
    store(2, i, hn::BitCast(di, hn::And(hn::ShiftRight<16>(pixel), low)));
    store(3, i, hn::BitCast(di, hn::ShiftRight<24>(pixel)));
  }
}

#endif  // KELVO_X86_VECTORS

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();
#endif  // HWY_SCALAR

#endif
