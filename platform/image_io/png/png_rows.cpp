#include "platform/image_io/png/png_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <vector>

#include "platform/image_io/png/adam7.h"
#include "platform/image_io/png/png_decoder.h"

namespace kelvo {
namespace {

// Rows that the decoder, a conversion and the encoder hold at a time, all candidates counted.
constexpr std::uint64_t kRowsInFlight = 16;

template <typename Sample>
Sample load(const std::byte* from, std::size_t index) {
  Sample sample;
  std::memcpy(&sample, from + index * sizeof(Sample), sizeof(Sample));
  return sample;
}

template <typename Sample>
void store(std::byte* to, std::size_t index, Sample sample) {
  std::memcpy(to + index * sizeof(Sample), &sample, sizeof(Sample));
}

// Makes delivered pixels of stored ones.
class Conversion {
 public:
  explicit Conversion(const PngFile& file)
      : header_(file.header()),
        key_(file.colorKey()),
        palette_(file.palette()),
        pixelBytes_(pngLayout(file).pixelBytes()) {}

  // Nothing to do: the decoder may write where the pixels go.
  [[nodiscard]] bool identity() const {
    return header_.color != PngColor::indexed && key_.empty() && header_.bitDepth >= 8;
  }
  [[nodiscard]] std::size_t storedPixelBytes() const {
    return std::size_t{header_.channels()} * (header_.bitDepth == 16 ? 2 : 1);
  }
  [[nodiscard]] std::size_t pixelBytes() const { return pixelBytes_; }

  Result<void> convert(std::span<const std::byte> stored, std::byte* out) const {
    if (header_.color == PngColor::indexed) return lookUp(stored, out);
    if (header_.bitDepth == 16) {
      addAlpha<std::uint16_t>(stored, out);
    } else {
      addAlpha<std::uint8_t>(stored, out);
    }
    return {};
  }

 private:
  Result<void> lookUp(std::span<const std::byte> indices, std::byte* out) const {
    for (const std::byte raw : indices) {
      const auto index = std::to_integer<std::size_t>(raw);
      if (index >= palette_.size()) {
        return Error{fmt::format("a pixel has colour {} of a table of {}", index, palette_.size())};
      }
      std::memcpy(out, palette_[index].data(), pixelBytes_);
      out += pixelBytes_;
    }
    return {};
  }

  template <typename Sample>
  void addAlpha(std::span<const std::byte> stored, std::byte* out) const {
    const std::size_t channels = header_.channels();
    const std::size_t pixels = stored.size() / (channels * sizeof(Sample));
    // Below 8 bits the sample's maximum becomes 255: a multiplication by 255, 85 or 17.
    const unsigned scale = header_.bitDepth < 8 ? 255U / ((1U << header_.bitDepth) - 1) : 1U;
    const std::size_t outChannels = channels + (key_.empty() ? 0 : 1);
    for (std::size_t i = 0; i < pixels; ++i) {
      bool transparent = !key_.empty();
      for (std::size_t k = 0; k < channels; ++k) {
        const auto sample = load<Sample>(stored.data(), i * channels + k);
        transparent = transparent && sample == key_[k];
        store(out, i * outChannels + k, static_cast<Sample>(sample * scale));
      }
      if (key_.empty()) continue;
      store(out, i * outChannels + channels,
            transparent ? Sample{0} : std::numeric_limits<Sample>::max());
    }
  }

  PngHeader header_;
  std::vector<std::uint16_t> key_;
  Palette palette_;
  std::size_t pixelBytes_;
};

class StreamedRows final : public RowSource {
 public:
  StreamedRows(const PngFile& file, std::unique_ptr<PngDecoder> decoder)
      : decoder_(std::move(decoder)), conversion_(file), stored_(decoder_->rowBytes()) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    if (rows == 0) return {};
    const std::size_t rowBytes = pixels.size() / rows;
    for (std::uint32_t y = 0; y < rows; ++y) {
      const auto out = pixels.subspan(y * rowBytes, rowBytes);
      if (conversion_.identity()) {
        if (auto read = decoder_->read(out); !read) return read;
        continue;
      }
      if (auto read = decoder_->read(stored_); !read) return read;
      if (auto done = conversion_.convert(stored_, out.data()); !done) return done;
    }
    return {};
  }

 private:
  std::unique_ptr<PngDecoder> decoder_;
  Conversion conversion_;
  std::vector<std::byte> stored_;
};

class InterlacedRows final : public RowSource {
 public:
  InterlacedRows(const PngFile& file, const PngHeader& header, std::unique_ptr<PngDecoder> decoder)
      : header_(header), decoder_(std::move(decoder)), conversion_(file) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    if (decoder_ != nullptr) {
      if (auto decoded = decodeAll(); !decoded) return decoded;
      decoder_.reset();
    }
    if (pixels.size() > picture_.size() - position_) return Error{"there are no more rows"};
    std::copy_n(picture_.begin() + static_cast<std::ptrdiff_t>(position_), pixels.size(),
                pixels.begin());
    position_ += pixels.size();
    return {};
  }

 private:
  Result<void> decodeAll() {
    const std::size_t pixelBytes = conversion_.pixelBytes();
    const std::size_t rowBytes = header_.width * pixelBytes;
    picture_.resize(rowBytes * header_.height);
    std::vector<std::byte> stored(decoder_->rowBytes());
    std::vector<std::byte> converted(rowBytes);
    for (const Adam7Pass& pass : kAdam7) {
      const std::uint32_t width = pass.width(header_.width);
      if (width == 0) continue;
      for (std::uint32_t y = 0; y < pass.height(header_.height); ++y) {
        if (auto read = decoder_->read(stored); !read) return read;
        const auto used =
            std::span<const std::byte>(stored).first(width * conversion_.storedPixelBytes());
        if (auto done = conversion_.convert(used, converted.data()); !done) return done;
        std::byte* const row = picture_.data() + (pass.y0 + std::size_t{y} * pass.dy) * rowBytes;
        for (std::uint32_t x = 0; x < width; ++x) {
          std::memcpy(row + (pass.x0 + std::size_t{x} * pass.dx) * pixelBytes,
                      converted.data() + x * pixelBytes, pixelBytes);
        }
      }
    }
    return {};
  }

  PngHeader header_;
  std::unique_ptr<PngDecoder> decoder_;
  Conversion conversion_;
  std::vector<std::byte> picture_;
  std::size_t position_ = 0;
};

}  // namespace

PixelLayout pngLayout(const PngFile& file) {
  const PngHeader& header = file.header();
  PixelLayout layout;
  layout.type = header.bitDepth == 16 ? SampleType::u16 : SampleType::u8;
  bool alpha = header.color == PngColor::grayAlpha || header.color == PngColor::rgba ||
               !file.colorKey().empty();
  const bool gray = header.color == PngColor::gray || header.color == PngColor::grayAlpha;
  if (header.color == PngColor::indexed) {
    const Palette palette = file.palette();
    alpha = std::any_of(palette.begin(), palette.end(), [](const auto& c) { return c[3] != 255; });
  }
  layout.components = static_cast<std::uint8_t>((gray ? 1 : 3) + (alpha ? 1 : 0));
  layout.alpha = alpha ? AlphaInfo::last : AlphaInfo::none;
  return layout;
}

Result<void> checkPngMemory(const PngFile& file, unsigned buffers) {
  const PngHeader& header = file.header();
  const std::uint64_t rowBytes = std::uint64_t{header.width} * pngLayout(file).pixelBytes();
  const std::uint64_t rows =
      kRowsInFlight + (header.interlaced ? std::uint64_t{header.height} * buffers : 0);
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  const std::uint64_t needed = rowBytes > kMost / rows ? kMost : rowBytes * rows;
  if (needed <= file.limits().maxMemoryBytes) return {};
  return Error{
      fmt::format("{} picture of {} x {} pixels takes {} bytes of memory, over the limit "
                  "of {} (--max-memory)",
                  header.interlaced ? "an interlaced" : "a", header.width, header.height, needed,
                  file.limits().maxMemoryBytes)};
}

Result<std::unique_ptr<RowSource>> openPngRows(const std::shared_ptr<const PngFile>& file,
                                               std::size_t picture) {
  if (auto fits = checkPngMemory(*file, 1); !fits) return std::move(fits).error();
  auto decoder = PngDecoder::open(file, picture);
  if (!decoder) return std::move(decoder).error();
  const PngHeader& header = file->pictures()[picture].header;
  if (header.interlaced) {
    return std::unique_ptr<RowSource>(
        std::make_unique<InterlacedRows>(*file, header, std::move(*decoder)));
  }
  return std::unique_ptr<RowSource>(std::make_unique<StreamedRows>(*file, std::move(*decoder)));
}

}  // namespace kelvo
