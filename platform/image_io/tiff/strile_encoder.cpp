#include "platform/image_io/tiff/strile_encoder.h"

#include <utility>

#include "platform/image_io/tiff/libtiff_handle.h"

namespace kelvo::tiff {
namespace {

class LibtiffStrileEncoder final : public StrileEncoder {
 public:
  explicit LibtiffStrileEncoder(std::unique_ptr<EncodingHandle> handle)
      : handle_(std::move(handle)) {}

  Result<std::span<const std::byte>> encode(std::uint32_t index, std::uint32_t,
                                            std::span<std::byte> samples) override {
    if (auto written = handle_->writeStrile(index, samples); !written) {
      return std::move(written).error();
    }
    return std::span<const std::byte>(handle_->encoded());
  }

 private:
  std::unique_ptr<EncodingHandle> handle_;
};

}  // namespace

Result<std::unique_ptr<StrileEncoder>> makeStrileEncoder(const Format& format,
                                                         const Picture& picture) {
  if (auto packed = makePackedStrileEncoder(format, picture)) return packed;
  auto handle = EncodingHandle::open(format, picture);
  if (!handle) return std::move(handle).error();
  return std::unique_ptr<StrileEncoder>(std::make_unique<LibtiffStrileEncoder>(*std::move(handle)));
}

}  // namespace kelvo::tiff
