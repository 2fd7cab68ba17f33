#include "platform/open_save/exif_tree.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

using Fields = std::vector<kelvo::ExifField>;

void require(bool good) {
  if (!good) std::abort();
}

// The block has them in the order of their tags.
bool same(Fields a, const Fields& b) {
  std::ranges::stable_sort(a, {}, &kelvo::ExifField::tag);
  return std::ranges::equal(a, b, [](const kelvo::ExifField& x, const kelvo::ExifField& y) {
    return x.tag == y.tag && x.type == y.type && x.count == y.count && x.value == y.value;
  });
}

}  // namespace

// Any bytes as an Exif block or a TIFF file: the tree that is read is read again from the block
// that is built of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto tree = kelvo::readExifTree({reinterpret_cast<const std::byte*>(data), size});
  if (!tree) return 0;
  const unsigned orientation = kelvo::orientationOf(*tree);
  require(orientation >= 1 && orientation <= 8);
  const auto block = kelvo::buildExifBlock(*tree);
  require(block.empty() == tree->empty() || !tree->interoperability.empty());
  if (block.empty()) return 0;
  const auto again = kelvo::readExifTree(block);
  require(again.ok() && again->bigEndian == tree->bigEndian);
  require(same(tree->image, again->image) && same(tree->exif, again->exif));
  require(same(tree->gps, again->gps) && same(tree->interoperability, again->interoperability));
  require(kelvo::orientationOf(*again) == orientation);
  require(kelvo::buildExifBlock(*again) == block);
  return 0;
}
