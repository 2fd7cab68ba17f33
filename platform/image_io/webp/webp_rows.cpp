#include "platform/image_io/webp/webp_rows.h"

#include <fmt/format.h>
#include <webp/decode.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace kelvo {
namespace {

// Lossless pictures can be marked opaque and still have an alpha; it is decoded to be looked at.
bool decodesAlpha(const WebpFrame& frame) { return frame.alpha || frame.lossless; }

Error decodingError(VP8StatusCode status) {
  switch (status) {
    case VP8_STATUS_OUT_OF_MEMORY:
      return Error{"there is not enough memory to decode the picture"};
    case VP8_STATUS_UNSUPPORTED_FEATURE:
      return Error{"the picture data asks for something that is not supported"};
    default:
      return Error{"the picture data is damaged"};
  }
}

Result<std::vector<std::byte>> decode(const WebpFrame& frame) {
  WebPDecoderConfig config;
  if (WebPInitDecoderConfig(&config) == 0) return Error{"the WebP library is another version"};
  const bool alpha = decodesAlpha(frame);
  const std::size_t rowBytes = std::size_t{frame.width} * (alpha ? 4 : 3);
  std::vector<std::byte> pixels(rowBytes * frame.height);
  config.output.colorspace = alpha ? MODE_RGBA : MODE_RGB;
  config.output.is_external_memory = 1;
  config.output.u.RGBA.rgba = reinterpret_cast<std::uint8_t*>(pixels.data());
  config.output.u.RGBA.stride = static_cast<int>(rowBytes);
  config.output.u.RGBA.size = pixels.size();
  const VP8StatusCode status = WebPDecode(
      reinterpret_cast<const std::uint8_t*>(frame.stored.data()), frame.stored.size(), &config);
  WebPFreeDecBuffer(&config.output);
  if (status != VP8_STATUS_OK) return decodingError(status);
  return pixels;
}

class DecodedRows final : public RowSource {
 public:
  DecodedRows(std::shared_ptr<const WebpFile> file, const WebpFrame& frame)
      : file_(std::move(file)), frame_(frame) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    if (!decoded_) {
      if (auto fits = checkWebpMemory(*file_, frame_, WebpUse::decode); !fits) return fits;
      auto all = decode(frame_);
      if (!all) return std::move(all).error();
      picture_ = *std::move(all);
      decoded_ = true;
    }
    const bool dropsAlpha = decodesAlpha(frame_) && !frame_.alpha;
    const std::size_t bytes = dropsAlpha ? pixels.size() / 3 * 4 : pixels.size();
    if (bytes > picture_.size() - position_) return Error{"there are no more rows"};
    const auto rows = std::span<const std::byte>(picture_).subspan(position_, bytes);
    position_ += bytes;
    if (dropsAlpha) return copyOpaque(rows, pixels);
    std::ranges::copy(rows, pixels.begin());
    return {};
  }

 private:
  static Result<void> copyOpaque(std::span<const std::byte> rgba, std::span<std::byte> rgb) {
    std::byte* out = rgb.data();
    for (std::size_t i = 0; i < rgba.size(); i += 4, out += 3) {
      if (rgba[i + 3] != std::byte{255}) {
        return Error{"the picture data is damaged: a picture without alpha is not opaque"};
      }
      std::copy_n(rgba.data() + i, 3, out);
    }
    return {};
  }

  std::shared_ptr<const WebpFile> file_;
  const WebpFrame& frame_;  // in the file
  std::vector<std::byte> picture_;
  std::size_t position_ = 0;
  bool decoded_ = false;
};

}  // namespace

PixelLayout webpLayout(const WebpFrame& frame) {
  return frame.alpha ? PixelLayout{.components = 4, .alpha = AlphaInfo::last}
                     : PixelLayout{.components = 3};
}

std::unique_ptr<RowSource> openWebpRows(std::shared_ptr<const WebpFile> file,
                                        const WebpFrame& frame) {
  return std::make_unique<DecodedRows>(std::move(file), frame);
}

Result<void> checkWebpMemory(const WebpFile& file, const WebpFrame& frame, WebpUse use) {
  // What the library and we hold at the most, by measurement.
  constexpr std::uint64_t kDecodeLossy = 4;
  constexpr std::uint64_t kDecodeLossless = 9;
  constexpr std::uint64_t kRewriteLossy = 8;
  constexpr std::uint64_t kRewriteLossless = 40;  // of the colours or of the alpha
  const bool lossless = frame.lossless || frame.alpha;
  std::uint64_t bytesPerPixel = 0;
  switch (use) {
    case WebpUse::decode:
      bytesPerPixel = lossless ? kDecodeLossless : kDecodeLossy;
      break;
    case WebpUse::rewrite:
      bytesPerPixel = lossless ? kRewriteLossless : kRewriteLossy;
      break;
  }
  const std::uint64_t needed = frame.pixels() * bytesPerPixel;
  if (needed <= file.limits().maxMemoryBytes) return {};
  return Error{
      fmt::format("a picture of {} x {} pixels takes {} bytes of memory, over the limit of {} "
                  "(--max-memory)",
                  frame.width, frame.height, needed, file.limits().maxMemoryBytes)};
}

}  // namespace kelvo
