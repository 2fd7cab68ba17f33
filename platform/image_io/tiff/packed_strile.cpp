#include "platform/image_io/tiff/packed_strile.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/image_io/tiff/lzw.h"
#include "platform/image_io/tiff/predictor.h"
#include "platform/image_io/tiff/strile_encoder.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

class PackedStrileEncoder final : public StrileEncoder {
 public:
  PackedStrileEncoder(const Format& format, const Picture& picture)
      : format_(format),
        picture_(picture),
        deflater_(static_cast<std::size_t>(picture.planeBytes(picture.strileWidth))) {}

  Result<std::span<const std::byte>> encode(std::uint32_t, std::uint32_t,
                                            std::span<std::byte> samples) override {
    toStored(samples, format_, picture_);
    if (picture_.compression == kNoCompression) return std::span<const std::byte>(samples);
    if (picture_.compression == kLzw) {
      encodeLzw(samples, packed_);
    } else if (auto deflated = deflater_.deflate(samples, packed_); !deflated) {
      return std::move(deflated).error();
    }
    return std::span<const std::byte>(packed_);
  }

 private:
  Format format_;
  Picture picture_;
  Deflater deflater_;
  std::vector<std::byte> packed_;
};

}  // namespace

bool isPackedHere(const Picture& picture) {
  if (!isPredictable(picture) || picture.photometric == kYCbCr) return false;
  return picture.compression == kNoCompression || picture.compression == kLzw ||
         isDeflated(picture);
}

bool StrileUnpacker::unpack(std::span<const std::byte> strile, const Format& format,
                            const Picture& picture, std::span<std::byte> samples) const {
  if (isDeflated(picture)) {
    if (!inflater_.inflate(strile, samples)) return false;
  } else if (picture.compression == kLzw) {
    if (!decodeLzw(strile, samples)) return false;
  } else {
    if (strile.size() < samples.size()) return false;
    std::copy_n(strile.begin(), samples.size(), samples.begin());
  }
  toSamples(samples, format, picture);
  return true;
}

std::unique_ptr<StrileEncoder> makePackedStrileEncoder(const Format& format,
                                                       const Picture& picture) {
  if (!isPackedHere(picture) || picture.fillOrder != 1) return nullptr;
  return std::make_unique<PackedStrileEncoder>(format, picture);
}

}  // namespace kelvo::tiff
