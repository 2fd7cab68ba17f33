#include "platform/image_io/tiff/frame_writer.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/image_io/tiff/depth_fields.h"
#include "platform/image_io/tiff/frame_image.h"
#include "platform/image_io/tiff/libtiff_handle.h"
#include "platform/image_io/tiff/output_rows.h"
#include "platform/image_io/tiff/sample_rows.h"
#include "platform/image_io/tiff/strile_encoder.h"
#include "platform/image_io/tiff/strile_reader.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// One frame being written.
class FrameWriter {
 public:
  FrameWriter(const CGImage& image, std::shared_ptr<const TiffFile> file, std::size_t frame,
              FileRewriter& rewriter, JobPool& jobs)
      : image_(image),
        file_(std::move(file)),
        frame_(frame),
        rewriter_(rewriter),
        jobs_(jobs),
        stored_(*file_->picture(frame)) {
    stored_.bits = image.layout.type == SampleType::u16 ? 16 : 8;
    rowBytes_ = std::size_t{stored_.width} * stored_.samples * (stored_.bits / 8);
  }

  Result<void> write() {
    const bool jpeg = stored_.compression == kJpeg;
    const auto band = bandBytes(stored_, file_->limits());
    if (!band) return band.error();
    const std::uint64_t most = file_->limits().maxMemoryBytes / 4;
    if (!stored_.tiled && *band > wholeStripBytes(file_->limits())) {
      if (!jpeg && stored_.compression != kWebp) return writeByRows();
      if (*band > most) {
        return Error{"a strip of this compression needs more than a quarter of the " +
                     std::to_string(file_->limits().maxMemoryBytes) +
                     " bytes of memory allowed (--max-memory)"};
      }
    }
    const std::uint64_t strileBytes = stored_.planeBytes(stored_.strileWidth) * stored_.rowsAt(0);
    const std::size_t count = strilesAtOnce(jobs_, strileBytes, file_->limits());
    for (std::size_t i = 0; i < count; ++i) {
      auto encoder = jpeg ? makeJpegStrileEncoder(file_, frame_)
                          : makeStrileEncoder(file_->view().format, stored_);
      if (!encoder) return std::move(encoder).error();
      slots_.emplace_back(*std::move(encoder), jobs_);
    }
    return writeBands();
  }

 private:
  // A strip or tile on its way into the file.
  struct Slot {
    Slot(std::unique_ptr<StrileEncoder> itsEncoder, JobPool& jobs)
        : encoder(std::move(itsEncoder)), job(jobs) {}
    std::unique_ptr<StrileEncoder> encoder;
    std::uint32_t index = 0;
    std::vector<std::byte> samples;
    Result<std::span<const std::byte>> encoded = std::span<const std::byte>();
    bool busy = false;
    Job job;  // last: its end waits for what uses the others
  };

  Result<void> writeBands() {
    auto rows = OutputRows::open(image_, file_, frame_, stored_);
    if (!rows) return std::move(rows).error();
    std::vector<std::byte> band;
    for (std::uint32_t top = 0; top < stored_.height;) {
      const std::uint32_t height = std::min(stored_.strileHeight, stored_.height - top);
      if (!stored_.tiled && !stored_.separate) {
        auto slot = takeSlot(top / stored_.strileHeight);
        if (!slot) return std::move(slot).error();
        (*slot)->samples.resize(height * rowBytes_);
        if (auto read = (*rows)->read((*slot)->samples); !read) return read;
        start(**slot, height);
      } else {
        band.resize(height * rowBytes_);
        if (auto read = (*rows)->read(band); !read) return read;
        if (auto written = writeBand(top, band); !written) return written;
      }
      top += height;
    }
    for (std::size_t i = 0; i < slots_.size(); ++i) {
      if (auto placed = place(slots_[(next_ + i) % slots_.size()]); !placed) return placed;
    }
    return {};
  }

  Result<void> writeBand(std::uint32_t top, std::span<const std::byte> band) {
    const std::uint32_t rows = stored_.rowsAt(top);
    for (std::uint32_t plane = 0; plane < stored_.planes(); ++plane) {
      for (std::uint32_t i = 0; i < stored_.across(); ++i) {
        auto slot =
            takeSlot((plane * stored_.down() + top / stored_.strileHeight) * stored_.across() + i);
        if (!slot) return std::move(slot).error();
        gather(band, plane, i, rows, (*slot)->samples);
        start(**slot, rows);
      }
    }
    return {};
  }

  // The one that has been busy for the longest; what it holds goes into the file first.
  Result<Slot*> takeSlot(std::uint32_t index) {
    Slot& slot = slots_[next_++ % slots_.size()];
    if (auto placed = place(slot); !placed) return std::move(placed).error();
    slot.index = index;
    return &slot;
  }

  static void start(Slot& slot, std::uint32_t rows) {
    slot.busy = true;
    slot.job.start(
        [&slot, rows] { slot.encoded = slot.encoder->encode(slot.index, rows, slot.samples); });
  }

  Result<void> place(Slot& slot) {
    if (!slot.busy) return {};
    slot.job.wait();
    slot.busy = false;
    if (!slot.encoded) return slot.encoded.error();
    return rewriter_.placeStrile(slot.index, *slot.encoded);
  }

  // Fills `strile` with one strip or tile. What lies outside the picture is zero, or repeats the
  // picture's edge for JPEG, which would let a hard edge ring into the picture.
  void gather(std::span<const std::byte> band, std::uint32_t plane, std::uint32_t column,
              std::uint32_t rows, std::vector<std::byte>& strile) {
    const std::size_t sampleBytes = stored_.bits / 8;
    const std::size_t pixelBytes = stored_.samples * sampleBytes;
    const std::size_t storedPixel = stored_.planeSamples() * sampleBytes;
    const std::size_t left = std::size_t{column} * stored_.strileWidth;
    const std::size_t width = std::min<std::size_t>(stored_.strileWidth, stored_.width - left);
    const std::size_t strileRow = stored_.strileWidth * storedPixel;
    strile.resize(rows * strileRow);
    for (std::uint32_t y = 0; y < rows; ++y) {
      const std::span to = std::span(strile).subspan(y * strileRow, strileRow);
      const bool repeated = stored_.compression == kJpeg;
      if (y * rowBytes_ >= band.size()) {
        if (repeated) {
          std::memcpy(to.data(), to.data() - strileRow, strileRow);
        } else {
          std::fill(to.begin(), to.end(), std::byte{0});
        }
        continue;
      }
      const auto pixels = band.subspan(y * rowBytes_ + left * pixelBytes, width * pixelBytes);
      if (stored_.separate) {
        pickSample(pixels, sampleBytes, plane, stored_.samples, to.first(width * storedPixel));
      } else {
        std::memcpy(to.data(), pixels.data(), pixels.size());
      }
      if (!repeated) {
        std::fill(to.begin() + static_cast<std::ptrdiff_t>(width * storedPixel), to.end(),
                  std::byte{0});
        continue;
      }
      for (std::size_t at = width * storedPixel; at < strileRow; at += storedPixel) {
        std::memcpy(to.data() + at, to.data() + at - storedPixel, storedPixel);
      }
    }
  }

  // Strips too large to be held. Planes are written one after the other, each in a pass of its own
  // over the image, because their strips grow at the end of the file.
  Result<void> writeByRows() {
    std::vector<std::byte> row(rowBytes_);
    std::vector<std::byte> samples(static_cast<std::size_t>(stored_.planeBytes(stored_.width)));
    for (std::uint32_t plane = 0; plane < stored_.planes(); ++plane) {
      auto rows = OutputRows::open(image_, file_, frame_, stored_);
      if (!rows) return std::move(rows).error();
      auto handle = EncodingHandle::open(file_->view().format, stored_);
      if (!handle) return std::move(handle).error();
      for (std::uint32_t y = 0; y < stored_.height; ++y) {
        if (auto read = (*rows)->read(row); !read) return read;
        const bool first = y % stored_.strileHeight == 0;
        const bool last = y + 1 == stored_.height || (y + 1) % stored_.strileHeight == 0;
        if (first) {
          const std::size_t strip = std::size_t{plane} * stored_.down() + y / stored_.strileHeight;
          if (auto started = rewriter_.startStrile(strip); !started) return started;
        }
        if (stored_.separate) {
          pickSample(row, stored_.bits / 8, plane, stored_.samples, samples);
        } else {
          samples.swap(row);
        }
        auto written = (*handle)->writeRow(y, plane, samples);
        if (written && last) written = (*handle)->endStrip();
        if (!written) return written;
        if (!stored_.separate) samples.swap(row);
        auto& encoded = (*handle)->encoded();
        if (auto appended = rewriter_.appendToStrile(encoded); !appended) return appended;
        encoded.clear();
      }
    }
    return {};
  }

  const CGImage& image_;
  std::shared_ptr<const TiffFile> file_;
  std::size_t frame_;
  FileRewriter& rewriter_;
  JobPool& jobs_;
  Picture stored_;
  std::size_t rowBytes_;
  std::size_t next_ = 0;
  std::deque<Slot> slots_;
};

Result<void> writeIndexed(const CGImage& image, const std::shared_ptr<const TiffFile>& file,
                          std::size_t frame, FileRewriter& rewriter) {
  const auto map = readColorMap(*file, frame);
  if (!map) return map.error();
  const Palette& palette = *image.palette;
  if (palette.size() != map->colors()) return Error{"the colour table has another size"};
  const View& view = file->view();
  NewValue value{.type = kShort, .count = map->values.size(), .bytes = {}};
  value.bytes.resize(map->values.size() * 2);
  for (std::size_t i = 0; i < palette.size(); ++i) {
    if (palette[i][3] != 255) {
      return Error{"the colour table has become transparent, which its file cannot hold"};
    }
    for (std::size_t c = 0; c < 3; ++c) {
      const std::size_t at = c * palette.size() + i;
      storeInteger(std::span(value.bytes).subspan(at * 2, 2), map->stored(at, palette[i][c]), 2,
                   view.format.bigEndian);
    }
  }
  rewriter.replace(*file->frames()[frame].find(kColorMap), std::move(value));

  // The indices are copied as they are stored, but only once they are known to be whole.
  auto rows = SampleRows::open(file, frame);
  if (!rows) return std::move(rows).error();
  std::vector<std::byte> row((*rows)->rowBytes());
  for (std::uint32_t y = 0; y < image.height; ++y) {
    if (auto read = (*rows)->read(row); !read) return read;
  }
  const auto striles = file->striles(frame);
  if (!striles) return striles.error();
  for (std::size_t i = 0; i < striles->size(); ++i) {
    const Extent& strile = (*striles)[i];
    auto placed =
        rewriter.placeStrile(i, view.bytes.subspan(static_cast<std::size_t>(strile.offset),
                                                   static_cast<std::size_t>(strile.length)));
    if (!placed) return placed;
  }
  return {};
}

Result<void> checkArrival(const CGImage& image, const Picture& picture) {
  if (image.width != picture.width || image.height != picture.height) {
    return Error{"the adjusted picture has another size"};
  }
  if ((image.palette != nullptr) != (picture.photometric == kPalette)) {
    return Error{"an indexed picture must stay indexed"};
  }
  if (image.palette) return {};
  const bool rgb = picture.photometric == kRgb || picture.photometric == kYCbCr;
  if (!rgb || (image.layout.components != 3 && image.layout.components != 4) ||
      image.layout.type == SampleType::f32 ||
      (image.layout.type == SampleType::u16 && picture.bits != 16)) {
    return Error{"the adjusted picture has other samples than the file can hold"};
  }
  return {};
}

}  // namespace

Result<void> writeFrame(const CGImage& image, const std::shared_ptr<const TiffFile>& file,
                        std::size_t frame, FileRewriter& rewriter, JobPool& jobs) {
  const auto& picture = file->picture(frame);
  if (!picture) return picture.error();
  if (auto decodable = checkDecodable(*picture); !decodable) return decodable;
  if (auto arrived = checkArrival(image, *picture); !arrived) return arrived;
  if (auto begun = rewriter.beginFrame(frame); !begun) return begun;
  if (image.palette) {
    if (auto written = writeIndexed(image, file, frame, rewriter); !written) return written;
    return rewriter.endFrame();
  }
  if (auto written = FrameWriter(image, file, frame, rewriter, jobs).write(); !written)
    return written;
  if (picture->bits == 16 && image.layout.type == SampleType::u8) {
    for (const Entry& entry : file->frames()[frame].entries) {
      if (auto value = eightBitValue(file->view(), entry)) {
        rewriter.replace(entry, *std::move(value));
      }
    }
  }
  return rewriter.endFrame();
}

Result<void> checkEncodable(const TiffFile& file, std::size_t frame) {
  const auto& picture = file.picture(frame);
  if (!picture || picture->compression != kWebp) return {};
  const auto striles = file.striles(frame);
  if (!striles) return striles.error();
  for (const Extent& strile : *striles) {
    if (!file.view().holds(strile.offset, strile.length)) continue;
    // "RIFF", size, "WEBP", then the first chunk: lossless, or features and lossless among them.
    const auto bytes = file.view().bytes.subspan(static_cast<std::size_t>(strile.offset),
                                                 static_cast<std::size_t>(strile.length));
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const bool lossless = text.size() > 16 && text.substr(12, 4) == "VP8L";
    if (!lossless) return Error{"lossy WebP inside a TIFF is not rewritten"};
  }
  return {};
}

}  // namespace kelvo::tiff
