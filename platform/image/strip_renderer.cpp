#include "platform/image/strip_renderer.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

namespace kelvo {

using kernel_language::Executable;

namespace {

constexpr PixelLayout kFloatPixels{4, SampleType::f32, AlphaInfo::premultipliedLast};

// Rows read ahead of the program: enough that decoders work on whole blocks, small enough to stay
// in the second-level cache.
constexpr std::uint32_t kStripRows = 16;

// One source's rows, cut and padded to the columns of the output.
class SourceStrip {
 public:
  SourceStrip(const PlacedSource& source, std::unique_ptr<RowSource> rows, std::size_t width)
      : source_(source), rows_(std::move(rows)), width_(width) {
    aligned_ = source.x == 0 && source.image.width == width;
    if (!aligned_) {
      const std::int64_t first = std::max<std::int64_t>(source.x, 0);
      const std::int64_t last =
          std::min<std::int64_t>(source.x + source.image.width, static_cast<std::int64_t>(width));
      copied_ = last > first ? static_cast<std::size_t>(last - first) : 0;
      to_ = static_cast<std::size_t>(first);
      from_ = static_cast<std::size_t>(first - source.x);
    }
  }

  // Makes the rows [y, y + rows) of the output ready.
  Result<void> advance(std::int64_t y, std::uint32_t rows) {
    const std::int64_t top = std::max(y, source_.y);
    const std::int64_t bottom = std::min(y + rows, source_.y + std::int64_t{source_.image.height});
    const std::size_t rowBytes = width_ * source_.image.layout.pixelBytes();
    strip_.resize(rows * rowBytes);
    if (top >= bottom) {
      std::ranges::fill(strip_, std::byte{0});
      return {};
    }
    auto skipped = skipTo(top - source_.y);
    if (!skipped) return skipped;
    const auto count = static_cast<std::uint32_t>(bottom - top);
    next_ += count;
    if (aligned_ && count == rows) return rows_->read(strip_, rows);
    return copyInto(top - y, count, rowBytes);
  }

  [[nodiscard]] const std::byte* row(std::uint32_t index) const {
    return strip_.data() + index * width_ * source_.image.layout.pixelBytes();
  }

 private:
  Result<void> skipTo(std::int64_t row) {
    while (next_ < row) {
      const auto count =
          static_cast<std::uint32_t>(std::min<std::int64_t>(row - next_, kStripRows));
      own_.resize(count * ownRowBytes());
      auto read = rows_->read(own_, count);
      if (!read) return read;
      next_ += count;
    }
    return {};
  }

  Result<void> copyInto(std::int64_t firstRow, std::uint32_t count, std::size_t rowBytes) {
    own_.resize(count * ownRowBytes());
    auto read = rows_->read(own_, count);
    if (!read) return read;
    const std::size_t pixelBytes = source_.image.layout.pixelBytes();
    std::ranges::fill(strip_, std::byte{0});
    const std::size_t bytes = (aligned_ ? width_ : copied_) * pixelBytes;
    for (std::uint32_t i = 0; i < count && bytes > 0; ++i) {
      std::memcpy(
          strip_.data() + (static_cast<std::size_t>(firstRow) + i) * rowBytes + to_ * pixelBytes,
          own_.data() + i * ownRowBytes() + from_ * pixelBytes, bytes);
    }
    return {};
  }

  [[nodiscard]] std::size_t ownRowBytes() const {
    return source_.image.width * source_.image.layout.pixelBytes();
  }

  const PlacedSource& source_;
  std::unique_ptr<RowSource> rows_;
  std::size_t width_;
  bool aligned_ = false;
  std::size_t copied_ = 0;  // columns of the source that lie in the output
  std::size_t from_ = 0;    // the first of them in the source
  std::size_t to_ = 0;      // and in the output
  std::int64_t next_ = 0;   // the source's next row
  std::vector<std::byte> strip_;
  std::vector<std::byte> own_;
};

class Strips final : public RowSource {
 public:
  Strips(std::shared_ptr<const FusedProgram> fused, Executable executable, PixelLayout output)
      : fused_(std::move(fused)), executable_(std::move(executable)), output_(output) {}

  Result<void> open() {
    sources_.reserve(fused_->sources.size());
    for (const PlacedSource& source : fused_->sources) {
      auto rows = source.image.openRows();
      if (!rows) return std::move(rows).error();
      sources_.emplace_back(source, std::move(rows).value(), width());
    }
    inputs_.resize(sources_.size());
    return {};
  }

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    const std::size_t rowBytes = width() * output_.pixelBytes();
    for (std::uint32_t done = 0; done < rows;) {
      const std::uint32_t count = std::min(rows - done, kStripRows);
      for (SourceStrip& source : sources_) {
        auto ready = source.advance(y_, count);
        if (!ready) return ready;
      }
      for (std::uint32_t i = 0; i < count; ++i) {
        for (std::size_t s = 0; s < sources_.size(); ++s) inputs_[s] = sources_[s].row(i);
        executable_.run(inputs_, pixels.data() + (done + i) * rowBytes, width(), 0,
                        static_cast<std::int32_t>(y_) + static_cast<std::int32_t>(i));
      }
      y_ += count;
      done += count;
    }
    return {};
  }

 private:
  [[nodiscard]] std::size_t width() const { return static_cast<std::size_t>(fused_->extent.width); }

  std::shared_ptr<const FusedProgram> fused_;
  Executable executable_;
  PixelLayout output_;
  std::vector<SourceStrip> sources_;
  std::vector<const std::byte*> inputs_;
  std::int64_t y_ = 0;
};

}  // namespace

Result<std::unique_ptr<RowSource>> openStrips(std::shared_ptr<const FusedProgram> fused,
                                              Executable executable, PixelLayout output) {
  auto strips = std::make_unique<Strips>(std::move(fused), std::move(executable), output);
  auto opened = strips->open();
  if (!opened) return std::move(opened).error();
  return std::unique_ptr<RowSource>(std::move(strips));
}

Result<std::vector<float>> renderFloats(const CIImage& image, const CGRect& region,
                                        std::uint64_t maxMemoryBytes) {
  auto fused = fuse(image, region, maxMemoryBytes);
  if (!fused) return std::move(fused).error();
  auto shared = std::make_shared<const FusedProgram>(std::move(fused).value());
  auto rows = openStrips(
      shared, Executable::compile(shared->program, shared->layouts(), kFloatPixels, shared->images),
      kFloatPixels);
  if (!rows) return std::move(rows).error();
  const auto height = static_cast<std::uint32_t>(region.height);
  std::vector<float> floats(4 * static_cast<std::size_t>(region.width) * height);
  auto read = (*rows)->read(std::as_writable_bytes(std::span(floats)), height);
  if (!read) return std::move(read).error();
  return floats;
}

}  // namespace kelvo
