#include "platform/image_io/jpeg2000/picture_rows.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/image_io/jpeg2000/tiles.h"

namespace kelvo::jpeg2000 {
namespace {

class Rows final : public RowSource {
 public:
  explicit Rows(Jpeg2000FileRef file)
      : file_(std::move(file)), layout_(layoutOf(*file_)), decoder_(file_) {
    const Channels& channels = file_->boxes.channels;
    for (const std::size_t color : channels.colors) order_.push_back(color);
    if (layout_.alpha != AlphaInfo::none) order_.push_back(*channels.alpha);
    const unsigned bits = file_->depth();
    maximum_ = (1U << bits) - 1;
    full_ = layout_.type == SampleType::u8 ? 0xFF : 0xFFFF;
  }

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    const std::size_t rowBytes = file_->codestream.grid.width() * layout_.pixelBytes();
    for (std::uint32_t i = 0; i < rows; ++i, ++y_) {
      if (y_ >= end_) {
        if (auto ready = decodeRow(); !ready) return ready;
      }
      const auto from = strip_.begin() + static_cast<std::ptrdiff_t>((y_ - begin_) * rowBytes);
      std::copy_n(from, rowBytes, pixels.begin() + static_cast<std::ptrdiff_t>(i * rowBytes));
    }
    return {};
  }

 private:
  // Makes the pixels of the next row of tiles.
  Result<void> decodeRow() {
    const Grid& grid = file_->codestream.grid;
    if (row_ >= grid.rows()) return Error{"there are no more rows"};
    const Area first = tileArea(grid, 0, row_);
    begin_ = first.top;
    end_ = first.top + first.height;
    strip_.resize(std::size_t{grid.width()} * first.height * layout_.pixelBytes());
    for (std::uint32_t column = 0; column < grid.columns(); ++column) {
      const auto tile = decoder_.decode(column, row_);
      if (!tile) return tile.error();
      if (auto placed = place(**tile, tileArea(grid, column, row_)); !placed) return placed;
    }
    ++row_;
    return {};
  }

  Result<void> place(const opj_image_t& tile, const Area& area) {
    const std::size_t width = file_->codestream.grid.width();
    for (std::uint32_t y = 0; y < area.height; ++y) {
      const std::size_t from = std::size_t{y} * area.width;
      std::byte* const to =
          strip_.data() + (std::size_t{y} * width + area.left) * layout_.pixelBytes();
      if (file_->palette) {
        if (auto looked = lookUp(tile.comps[0].data + from, area.width, to); !looked) return looked;
      } else if (layout_.type == SampleType::u8) {
        interleave<std::uint8_t>(tile, from, area.width, to);
      } else {
        interleave<std::uint16_t>(tile, from, area.width, to);
      }
    }
    return {};
  }

  template <typename Sample>
  void interleave(const opj_image_t& tile, std::size_t from, std::size_t count,
                  std::byte* to) const {
    for (std::size_t k = 0; k < order_.size(); ++k) {
      const OPJ_INT32* const samples = tile.comps[order_[k]].data + from;
      for (std::size_t x = 0; x < count; ++x) {
        const auto stored = static_cast<std::uint32_t>(
            std::clamp<OPJ_INT32>(samples[x], 0, static_cast<OPJ_INT32>(maximum_)));
        const auto value = static_cast<Sample>((stored * full_ + maximum_ / 2) / maximum_);
        std::memcpy(to + (x * order_.size() + k) * sizeof(Sample), &value, sizeof(Sample));
      }
    }
  }

  Result<void> lookUp(const OPJ_INT32* indices, std::size_t count, std::byte* to) const {
    for (std::size_t x = 0; x < count; ++x) {
      const auto index = static_cast<std::size_t>(indices[x]);
      if (indices[x] < 0 || index >= file_->palette->size()) {
        return Error{"the picture data are damaged: a colour is not in the table"};
      }
      for (std::size_t k = 0; k < layout_.components; ++k) {
        *to++ = static_cast<std::byte>((*file_->palette)[index][k]);
      }
    }
    return {};
  }

  Jpeg2000FileRef file_;
  PixelLayout layout_;
  TileDecoder decoder_;
  std::vector<std::size_t> order_;  // the component of each sample of a pixel
  std::uint32_t maximum_ = 0;
  std::uint32_t full_ = 0;
  std::vector<std::byte> strip_;
  std::uint32_t row_ = 0;  // of tiles, the next
  std::uint32_t begin_ = 0;
  std::uint32_t end_ = 0;
  std::uint32_t y_ = 0;
};

}  // namespace

Result<std::unique_ptr<RowSource>> openPictureRows(Jpeg2000FileRef file) {
  if (!file->palette) {
    if (file->boxes.model != ColorModel::rgb) return Error{"only RGB pictures can be decoded"};
    if (!file->boxes.obstacle.empty()) return Error{file->boxes.obstacle};
    if (!file->codestream.obstacle.empty()) return Error{file->codestream.obstacle};
    if (file->codestream.components.size() < (file->boxes.channels.alpha ? 4U : 3U)) {
      return Error{"a channel of the picture is missing"};
    }
  }
  // What decoding takes is known of the common style alone.
  if (file->codestream.otherStyles) {
    return Error{"tiles or components coded in ways of their own cannot be decoded"};
  }
  return std::unique_ptr<RowSource>(std::make_unique<Rows>(std::move(file)));
}

}  // namespace kelvo::jpeg2000
