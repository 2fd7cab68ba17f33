// Three tables of 256 levels, as fast as memory gives the pixels.
//
// Pixels are interleaved. Where a table is cheap to look up, in vectors of 64 bytes that are looked
// up as they lie, each byte in the table of its channel, and where all channels share one table,
// they stay so; else they are taken apart and put together again.
#define HWY_WANT_AVX3_DL

#include "platform/pixels/level_tables.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/pixels/level_tables_vectors.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kelvo {
namespace HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_SSSE3 || HWY_TARGET == HWY_SSE4

// With vectors of 16 bytes, sixteen permutations take longer than sixteen loads.
std::size_t lookUpBlocks(const LevelTables&, const std::uint8_t*, std::uint8_t*, std::size_t,
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
  static constexpr bool kIsCheap = true;

  HWY_ATTR explicit Table(const LevelTables::Channel& channel)
      : a(_mm512_loadu_si512(channel.levels.data())),
        b(_mm512_loadu_si512(channel.levels.data() + 64)),
        c(_mm512_loadu_si512(channel.levels.data() + 128)),
        d(_mm512_loadu_si512(channel.levels.data() + 192)) {}

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
  static constexpr bool kIsCheap = false;

  HWY_ATTR explicit Table(const LevelTables::Channel& channel) : steps_(channel.steps.data()) {}

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

// Bytes as they lie, all in one table.
HWY_ATTR std::size_t lookUpAlike(const LevelTables& tables, const std::uint8_t* from,
                                 std::uint8_t* to, std::size_t pixels) {
  const DB d;
  const Table table(tables.channel(0));
  std::size_t i = 0;
  for (; pixels - i >= kBytes; i += kBytes) {
    for (std::size_t at = 3 * i; at < 3 * (i + kBytes); at += kBytes) {
      hn::StoreU(table(hn::LoadU(d, from + at)), d, to + at);
    }
  }
  return i;
}

// Bytes as they lie, each in the table of its channel; tables that change nothing are left out.
HWY_ATTR std::size_t lookUpInPlace(const LevelTables& tables, const std::uint8_t* from,
                                   std::uint8_t* to, std::size_t pixels) {
  const DB d;
  HWY_ALIGN std::array<std::uint8_t, kBytes> phases;
  std::array<VB, 3> phase;  // of the first, second and third vector: each byte's channel
  for (std::size_t v = 0; v < 3; ++v) {
    for (std::size_t i = 0; i < kBytes; ++i) {
      phases[i] = static_cast<std::uint8_t>((v * kBytes + i) % 3);
    }
    phase[v] = hn::Load(d, phases.data());
  }
  const std::array<Table, 3> table{Table(tables.channel(0)), Table(tables.channel(1)),
                                   Table(tables.channel(2))};
  const bool changes[] = {tables.channel(0).changes, tables.channel(1).changes,
                          tables.channel(2).changes};
  std::size_t i = 0;
  for (; pixels - i >= kBytes; i += kBytes) {
    for (std::size_t v = 0; v < 3; ++v) {
      const std::size_t at = 3 * i + v * kBytes;
      const VB levels = hn::LoadU(d, from + at);
      VB result = levels;
      for (std::size_t c = 0; c < 3; ++c) {
        if (!changes[c]) continue;
        const auto isOfChannel = hn::Eq(phase[v], hn::Set(d, static_cast<std::uint8_t>(c)));
        result = hn::IfThenElse(isOfChannel, table[c](levels), result);
      }
      hn::StoreU(result, d, to + at);
    }
  }
  return i;
}

HWY_ATTR std::size_t lookUpApart(const LevelTables& tables, const std::uint8_t* from,
                                 std::uint8_t* to, std::size_t pixels, std::size_t components) {
  const DB d;
  const Table red(tables.channel(0));
  const Table green(tables.channel(1));
  const Table blue(tables.channel(2));
  std::size_t i = 0;
  for (; pixels - i >= kBytes; i += kBytes) {
    VB r, g, b;
    hn::LoadInterleaved3(d, from + 3 * i, r, g, b);
    if (tables.channel(0).changes) r = red(r);
    if (tables.channel(1).changes) g = green(g);
    if (tables.channel(2).changes) b = blue(b);
    if (components == 3) {
      hn::StoreInterleaved3(r, g, b, d, to + 3 * i);
    } else {
      hn::StoreInterleaved4(r, g, b, hn::Set(d, 255), d, to + 4 * i);
    }
  }
  return i;
}

std::size_t lookUpBlocks(const LevelTables& tables, const std::uint8_t* from, std::uint8_t* to,
                         std::size_t pixels, std::size_t components) {
  const bool areAlike = tables.channel(1).like == 0 && tables.channel(2).like == 0;
  if (components == 3 && areAlike) return lookUpAlike(tables, from, to, pixels);
  if (components == 3 && Table::kIsCheap) return lookUpInPlace(tables, from, to, pixels);
  return lookUpApart(tables, from, to, pixels, components);
}

#endif

}  // namespace

void lookUpRow(const LevelTables& tables, const std::uint8_t* from, std::uint8_t* to,
               std::size_t pixels, std::size_t components) {
  const std::size_t done = lookUpBlocks(tables, from, to, pixels, components);
  tables.applyPlainly(from + 3 * done, to + components * done, pixels - done, components);
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kelvo {

HWY_EXPORT(lookUpRow);

void LevelTables::apply(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels,
                        std::size_t components) const {
  HWY_DYNAMIC_DISPATCH(lookUpRow)(*this, from, to, pixels, components);
}

}  // namespace kelvo
#endif
