#include "platform/image_io/jpeg/marker_search.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/image_io/jpeg/marker_search.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.
#include <hwy/highway.h>

#include <cstdint>

// In entropy-coded data every 256th byte is 0xFF by chance, followed by a stuffed 0: a search for
// 0xFF alone stops there each time.
HWY_BEFORE_NAMESPACE();
namespace kelvo::jpeg {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

bool beginsMarker(std::uint8_t byte, std::uint8_t next) {
  return byte == 0xFF && next != 0 && (next & 0xF8U) != 0xD0;
}

std::size_t findMarkerHere(const std::uint8_t* data, std::size_t size, std::size_t from,
                           std::size_t to) {
  std::size_t at = from;
#if HWY_TARGET != HWY_SCALAR
  const hn::ScalableTag<std::uint8_t> d;
  const std::size_t lanes = hn::Lanes(d);
  const auto zero = hn::Zero(d);
  const auto restart = hn::Set(d, 0xD0);
  for (; at + lanes <= to && at + lanes < size; at += lanes) {
    const auto byte = hn::LoadU(d, data + at);
    const auto next = hn::LoadU(d, data + at + 1);
    const auto isHarmless =
        hn::Or(hn::Eq(next, zero), hn::Eq(hn::And(next, hn::Set(d, 0xF8)), restart));
    const auto isMarker = hn::AndNot(isHarmless, hn::Eq(byte, hn::Set(d, 0xFF)));
    const auto found = hn::FindFirstTrue(d, isMarker);
    if (found >= 0) return at + static_cast<std::size_t>(found);
  }
#endif
  for (; at < to && at + 1 < size; ++at) {
    if (beginsMarker(data[at], data[at + 1])) return at;
  }
  return to;
}

}  // namespace HWY_NAMESPACE
}  // namespace kelvo::jpeg
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kelvo::jpeg {

HWY_EXPORT(findMarkerHere);

std::size_t findMarker(std::span<const std::byte> data, std::size_t from, std::size_t to) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(data.data());
  return HWY_DYNAMIC_DISPATCH(findMarkerHere)(bytes, data.size(), from, to);
}

}  // namespace kelvo::jpeg
#endif
