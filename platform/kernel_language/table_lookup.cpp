// Three tables of 256 levels, as fast as memory gives the pixels.
#define HWY_WANT_AVX3_DL

#include "platform/kernel_language/channel_tables.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/kernel_language/table_lookup.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kelvo::kernel_language {
namespace HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_SSSE3 || HWY_TARGET == HWY_SSE4

// With vectors of 16 bytes, sixteen permutations take longer than sixteen loads.
std::size_t lookUpBlocks(const ChannelTables&, const std::uint8_t*, std::uint8_t*, std::size_t,
                         std::size_t) {
  return 0;
}

#else

namespace hn = hwy::HWY_NAMESPACE;
using DB = hn::ScalableTag<std::uint8_t>;
using VB = hn::Vec<DB>;
constexpr std::size_t kBytes = hn::MaxLanes(DB());

#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3_DL

// 256 entries are four vectors: two permutations of 128 entries each.
struct Table {
  HWY_ATTR explicit Table(const std::array<std::uint8_t, 256>& levels, const std::uint8_t*)
      : a(_mm512_loadu_si512(levels.data())),
        b(_mm512_loadu_si512(levels.data() + 64)),
        c(_mm512_loadu_si512(levels.data() + 128)),
        d(_mm512_loadu_si512(levels.data() + 192)) {}

  HWY_ATTR VB operator()(VB level) const {
    const __m512i low = _mm512_permutex2var_epi8(a, level.raw, b);
    const __m512i high = _mm512_permutex2var_epi8(c, level.raw, d);
    return VB{_mm512_mask_blend_epi8(_mm512_movepi8_mask(level.raw), low, high)};
  }

  __m512i a, b, c, d;
};

#else

// Sixteen permutations of 16 entries. A permutation gives 0 where the index is negative; an index
// falls by 16 from one to the next and stays negative once it is, so level 16 k + i collects the
// steps of 0 … k, which add up to its own entry.
struct Table {
  HWY_ATTR explicit Table(const std::array<std::uint8_t, 256>&, const std::uint8_t* steps)
      : steps_(steps) {}

  HWY_ATTR VB operator()(VB level) const {
    const DB d;
    const hn::RebindToSigned<DB> di;
    const auto sixteen = hn::Set(di, 16);
    auto low = hn::BitCast(di, level);
    auto high = hn::BitCast(di, hn::Xor(level, hn::Set(d, 0x80)));
    VB result = hn::Xor(entries(0, low), entries(8, high));
    for (std::size_t k = 1; k < 8; ++k) {
      low = hn::SaturatedSub(low, sixteen);
      high = hn::SaturatedSub(high, sixteen);
      result = hn::Xor(result, hn::Xor(entries(k, low), entries(8 + k, high)));
    }
    return result;
  }

  template <class VI>
  HWY_ATTR VB entries(std::size_t k, VI index) const {
    const DB d;
    return hn::TableLookupBytesOr0(hn::LoadDup128(d, steps_ + 16 * k), hn::BitCast(d, index));
  }

  const std::uint8_t* steps_;
};

#endif

HWY_ATTR std::size_t lookUpBlocks(const ChannelTables& tables, const std::uint8_t* from,
                                  std::uint8_t* to, std::size_t pixels, std::size_t components) {
  const DB d;
  const Table red(tables.levels[0], tables.steps[0].data());
  const Table green(tables.levels[1], tables.steps[1].data());
  const Table blue(tables.levels[2], tables.steps[2].data());
  std::size_t i = 0;
  for (; pixels - i >= kBytes; i += kBytes) {
    VB r, g, b;
    hn::LoadInterleaved3(d, from + 3 * i, r, g, b);
    r = red(r);
    g = green(g);
    b = blue(b);
    if (components == 3) {
      hn::StoreInterleaved3(r, g, b, d, to + 3 * i);
    } else {
      hn::StoreInterleaved4(r, g, b, hn::Set(d, 255), d, to + 4 * i);
    }
  }
  return i;
}

#endif

}  // namespace

void lookUpRow(const ChannelTables& tables, const std::uint8_t* from, std::uint8_t* to,
               std::size_t pixels, std::size_t components) {
  const std::size_t done = lookUpBlocks(tables, from, to, pixels, components);
  lookUpPlainly(tables, from + 3 * done, to + components * done, pixels - done, components);
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::kernel_language
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kelvo::kernel_language {

HWY_EXPORT(lookUpRow);

void lookUpVectors(const ChannelTables& tables, const std::uint8_t* from, std::uint8_t* to,
                   std::size_t pixels, std::size_t components) {
  HWY_DYNAMIC_DISPATCH(lookUpRow)(tables, from, to, pixels, components);
}

}  // namespace kelvo::kernel_language
#endif
