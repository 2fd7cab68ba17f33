#include <algorithm>
#include <array>

#include "platform/image_io/codec_module.h"
#include "platform/image_io/heif/boxes.h"

// All that the main library knows of the format; the rest is loaded with the first such file.
namespace kelvo {
namespace heif {
namespace {

constexpr char kModule[] = "kelvo-heif";

constexpr std::array kAvifBrands = {fourCC("avif"), fourCC("avis")};
constexpr std::array kHeifBrands = {fourCC("heic"), fourCC("heix"), fourCC("heim"), fourCC("heis"),
                                    fourCC("hevc"), fourCC("hevx"), fourCC("hevm"), fourCC("hevs"),
                                    fourCC("mif1"), fourCC("mif2"), fourCC("msf1"), fourCC("miaf")};

// Whether the brands that a file claims to be readable as are among those given.
template <typename Brands>
bool claims(std::span<const std::byte> head, const Brands& brands) {
  Reader reader(head);
  const std::uint32_t size = reader.u32();
  if (reader.u32() != fourCC("ftyp") || size < 16 || head.size() < 16) return false;
  Reader fields(head.subspan(8, std::min<std::size_t>(size, head.size()) - 8));
  const auto known = [&](FourCC brand) {
    return std::find(brands.begin(), brands.end(), brand) != brands.end();
  };
  if (known(fields.u32())) return true;
  fields.u32();
  while (fields.rest().size() >= 4) {
    if (known(fields.u32())) return true;
  }
  return false;
}

bool matchesAvif(std::span<const std::byte> head) { return claims(head, kAvifBrands); }
bool matchesHeic(std::span<const std::byte> head) {
  return claims(head, kHeifBrands) && !claims(head, kAvifBrands);
}

}  // namespace
}  // namespace heif

const Codec kHeicCodec = {.type = "public.heic",
                          .displayName = "HEIC",
                          .matches = &heif::matchesHeic,
                          .open = &openByModule<heif::kModule>,
                          .createWriter = &createWriterByModule<heif::kModule>};

const Codec kAvifCodec = {.type = "public.avif",
                          .displayName = "AVIF",
                          .matches = &heif::matchesAvif,
                          .open = &openByModule<heif::kModule>,
                          .createWriter = &createWriterByModule<heif::kModule>};

}  // namespace kelvo
