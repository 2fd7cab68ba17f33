#include "platform/image_io/gif/gif_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/image_io/gif/gif_indices.h"

namespace kelvo {
namespace {

struct Pass {
  std::uint32_t start;
  std::uint32_t step;
};
constexpr std::array<Pass, 4> kPasses = {{{0, 8}, {4, 8}, {2, 4}, {1, 2}}};

// Which stored row each row of an interlaced frame is.
std::vector<std::uint32_t> storedRows(std::uint32_t height) {
  std::vector<std::uint32_t> stored(height);
  std::uint32_t next = 0;
  for (const Pass& pass : kPasses) {
    for (std::uint32_t y = pass.start; y < height; y += pass.step) stored[y] = next++;
  }
  return stored;
}

class GifRows final : public RowSource {
 public:
  GifRows(std::shared_ptr<const GifFile> file, const GifFrame& frame)
      : file_(std::move(file)), frame_(frame), pixelBytes_(gifLayout(frame).pixelBytes()) {
    std::ranges::copy(gifPalette(*file_, frame_), colors_.begin());
    if (frame_.interlaced) storedRows_ = storedRows(frame_.height);
  }

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    if (indices_.empty()) {
      indices_.resize(frame_.pixels());
      if (auto decoded = decodeGifIndices(*file_, frame_, indices_); !decoded) return decoded;
    }
    if (rows > frame_.height - next_) return Error{"there are no more rows"};
    std::byte* out = pixels.data();
    for (const std::uint32_t end = next_ + rows; next_ < end; ++next_) {
      const std::size_t row = frame_.interlaced ? storedRows_[next_] : next_;
      for (const std::uint8_t index :
           std::span(indices_).subspan(row * frame_.width, frame_.width)) {
        std::memcpy(out, colors_[index].data(), pixelBytes_);
        out += pixelBytes_;
      }
    }
    return {};
  }

 private:
  std::shared_ptr<const GifFile> file_;
  GifFrame frame_;
  std::size_t pixelBytes_;
  std::array<std::array<std::uint8_t, 4>, 256> colors_{};
  std::vector<std::uint32_t> storedRows_;
  std::vector<std::uint8_t> indices_;
  std::uint32_t next_ = 0;
};

}  // namespace

Palette gifPalette(const GifFile& file, const GifFrame& frame) {
  Palette palette;
  const auto colors = file.colors(file.tableOf(frame));
  for (std::size_t i = 0; i < colors.size(); i += 3) {
    const auto at = [&](std::size_t k) { return std::to_integer<std::uint8_t>(colors[i + k]); };
    palette.push_back({at(0), at(1), at(2), 255});
  }
  if (frame.transparent) {
    palette.resize(std::max<std::size_t>(palette.size(), *frame.transparent + 1U));
    palette[*frame.transparent][3] = 0;
  }
  return palette;
}

PixelLayout gifLayout(const GifFrame& frame) {
  if (frame.transparent) return {4, SampleType::u8, AlphaInfo::last};
  return {3, SampleType::u8, AlphaInfo::none};
}

Result<std::unique_ptr<RowSource>> openGifRows(std::shared_ptr<const GifFile> file,
                                               std::size_t frame) {
  const GifFrame& its = file->frames()[frame];
  if (its.pixels() > file->limits().maxMemoryBytes) {
    return Error{fmt::format(
        "a frame of {} x {} pixels takes {} bytes of memory, over the limit of {} (--max-memory)",
        its.width, its.height, its.pixels(), file->limits().maxMemoryBytes)};
  }
  return std::unique_ptr<RowSource>(std::make_unique<GifRows>(std::move(file), its));
}

}  // namespace kelvo
