#include "platform/image_io/jpeg/jpeg_decoder.h"

#include <array>
#include <utility>

#include "platform/image_io/jpeg/libjpeg_guard.h"
#include "platform/image_io/read_pages.h"

namespace kelvo::jpeg {
namespace {

constexpr const char* kDamaged = "the picture data is damaged";

class Decompressor {
 public:
  explicit Decompressor(std::span<const std::byte> picture) : picture_(picture) {
    info_.err = &errors_.base;
    created_ = guarded(errors_, [&] { jpeg_create_decompress(&info_); });
  }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;
  ~Decompressor() {
    if (created_) jpeg_destroy_decompress(&info_);
  }

  bool readHeader() {
    return created_ && guarded(errors_, [&] {
             jpeg_mem_src(&info_, reinterpret_cast<const unsigned char*>(picture_.data()),
                          static_cast<unsigned long>(picture_.size()));
             jpeg_read_header(&info_, TRUE);
           });
  }

  [[nodiscard]] jpeg_decompress_struct& info() { return info_; }
  [[nodiscard]] ErrorManager& errors() { return errors_; }

 private:
  std::span<const std::byte> picture_;
  ErrorManager errors_;
  jpeg_decompress_struct info_ = {};
  bool created_ = false;
};

class DecodedRows final : public RowSource {
 public:
  DecodedRows(FileBytes file, std::span<const std::byte> picture)
      : file_(std::move(file)), pages_(file_.get()), decompressor_(picture) {}

  Result<void> start(Coding coding) {
    auto& info = decompressor_.info();
    const bool started = decompressor_.readHeader() && guarded(decompressor_.errors(), [&] {
                           info.out_color_space = coding == Coding::gray ? JCS_GRAYSCALE
                                                  : coding == Coding::cmyk || coding == Coding::ycck
                                                      ? JCS_CMYK
                                                      : JCS_RGB;
                           // The exact transform, and chroma interpolated between its samples.
                           info.dct_method = JDCT_ISLOW;
                           info.do_fancy_upsampling = TRUE;
                           // Coefficients that no scan sent are 0, not a guess.
                           info.do_block_smoothing = FALSE;
                           jpeg_start_decompress(&info);
                         });
    if (!started) return libraryError(decompressor_.errors(), kDamaged);
    // Adobe's programs store the inverse of the ink, and so does everyone who wants to be read.
    invert_ = info.out_color_space == JCS_CMYK && info.saw_Adobe_marker != FALSE;
    return {};
  }

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    if (failed_) return libraryError(decompressor_.errors(), kDamaged);
    auto& info = decompressor_.info();
    if (rows > info.output_height - info.output_scanline) {
      return Error{"rows past the end of the picture"};
    }
    const std::size_t rowBytes =
        std::size_t{info.output_width} * static_cast<std::size_t>(info.output_components);
    auto* const samples = reinterpret_cast<JSAMPLE*>(pixels.data());
    failed_ = !guarded(decompressor_.errors(), [&] {
      constexpr JDIMENSION kRowsAtOnce = 16;
      std::array<JSAMPROW, kRowsAtOnce> pointers;
      for (std::uint32_t done = 0; done < rows;) {
        JDIMENSION wanted = 0;
        while (wanted < kRowsAtOnce && done + wanted < rows) {
          pointers[wanted] = samples + (done + wanted) * rowBytes;
          ++wanted;
        }
        done += jpeg_read_scanlines(&info, pointers.data(), wanted);
      }
      // To the end-of-image marker: what is wrong after the last row's data is damage as well.
      if (info.output_scanline == info.output_height) jpeg_finish_decompress(&info);
    });
    if (failed_) return libraryError(decompressor_.errors(), kDamaged);
    if (info.src != nullptr) {
      pages_.upTo(reinterpret_cast<const std::byte*>(info.src->next_input_byte));
    }
    if (invert_) {
      for (std::byte& sample : pixels) sample = ~sample;
    }
    return {};
  }

 private:
  FileBytes file_;
  ReadPages pages_;
  Decompressor decompressor_;
  bool invert_ = false;
  bool failed_ = false;
};

}  // namespace

Result<Coding> readCoding(std::span<const std::byte> picture) {
  Decompressor decompressor(picture);
  if (!decompressor.readHeader()) {
    return libraryError(decompressor.errors(), "its header cannot be read");
  }
  switch (decompressor.info().jpeg_color_space) {
    case JCS_GRAYSCALE:
      return Coding::gray;
    case JCS_RGB:
      return Coding::rgb;
    case JCS_YCbCr:
      return Coding::ycc;
    case JCS_CMYK:
      return Coding::cmyk;
    case JCS_YCCK:
      return Coding::ycck;
    default:
      return Error{"its colours are of an unknown kind"};
  }
}

Result<std::unique_ptr<RowSource>> openRows(FileBytes file, std::span<const std::byte> picture,
                                            Coding coding) {
  auto rows = std::make_unique<DecodedRows>(std::move(file), picture);
  if (auto started = rows->start(coding); !started) return std::move(started).error();
  return std::unique_ptr<RowSource>(std::move(rows));
}

}  // namespace kelvo::jpeg
