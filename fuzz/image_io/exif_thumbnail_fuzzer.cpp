#include "platform/image_io/exif_thumbnail.h"

#include <cstdint>
#include <cstdlib>

// Any bytes as an Exif block: what is taken out leaves the block as long as it was, with nothing
// but zeros where something changed, and is not found a second time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::byte> exif(reinterpret_cast<const std::byte*>(data), size);
  const auto without = kelvo::withoutExifThumbnail(exif);
  if (!without) return 0;
  if (without->size() != size) std::abort();
  for (std::size_t i = 0; i < size; ++i) {
    if ((*without)[i] != exif[i] && (*without)[i] != std::byte{0}) std::abort();
  }
  if (kelvo::withoutExifThumbnail(*without)) std::abort();
  return 0;
}
