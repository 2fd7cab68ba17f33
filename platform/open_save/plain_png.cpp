#include <png.h>

#include <bit>
#include <csetjmp>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/image_io/output_file.h"
#include "platform/image_io/png/png_profile.h"
#include "platform/open_save/plain_rows.h"
#include "platform/open_save/plain_writer.h"

namespace kelvo {
namespace {

// The library's encoder on an output file.
class Encoder {
 public:
  explicit Encoder(OutputFile& output) : output_(&output) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, &giveUp, &passOver);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;
  ~Encoder() { png_destroy_write_struct(&png_, &info_); }

  // Chunks with these data stand before the picture; none for no data.
  Result<void> start(const CGImage& image, const PixelLayout& stored,
                     const std::vector<std::byte>& profile, const std::vector<std::byte>& exif) {
    const int depth = static_cast<int>(stored.sampleBytes() * 8);
    const int color = (stored.components >= 3 ? PNG_COLOR_MASK_COLOR : 0) |
                      (stored.alpha != AlphaInfo::none ? PNG_COLOR_MASK_ALPHA : 0);
    return outcome(info_ != nullptr && guarded([&] {
                     png_set_write_fn(png_, this, &writeData, &flushNothing);
                     png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
                     png_set_IHDR(png_, info_, image.width, image.height, depth, color,
                                  PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                                  PNG_FILTER_TYPE_DEFAULT);
                     png_write_info(png_, info_);
                     writeChunk("iCCP", profile);
                     writeChunk("eXIf", exif);
                     if (depth == 16 && std::endian::native == std::endian::little)
                       png_set_swap(png_);
                   }));
  }

  Result<void> writeRows(std::span<const std::byte> pixels, std::uint32_t rows) {
    const auto* const samples = reinterpret_cast<png_const_bytep>(pixels.data());
    const std::size_t rowBytes = pixels.size() / rows;
    return outcome(guarded([&] {
      for (std::uint32_t row = 0; row < rows; ++row) png_write_row(png_, samples + row * rowBytes);
    }));
  }

  Result<void> finish() {
    return outcome(guarded([&] { png_write_end(png_, nullptr); }));
  }

 private:
  // The library reports errors by a jump: `function` must do without objects that have destructors.
  template <typename Function>
  [[gnu::noinline]] bool guarded(const Function& function) {
    if (setjmp(target_) != 0) return false;
    function();
    return true;
  }
  [[noreturn]] static void giveUp(png_structp png, png_const_charp message) {
    auto* const self = static_cast<Encoder*>(png_get_error_ptr(png));
    self->remember(message);
    std::longjmp(self->target_, 1);
  }
  static void passOver(png_structp, png_const_charp) {}
  static void flushNothing(png_structp) {}
  static void writeData(png_structp png, png_bytep bytes, std::size_t size) {
    auto* const self = static_cast<Encoder*>(png_get_io_ptr(png));
    if (!self->put(bytes, size)) png_error(png, "no more could be written");
  }

  void writeChunk(const char* name, const std::vector<std::byte>& data) {
    if (data.empty()) return;
    png_write_chunk(png_, reinterpret_cast<png_const_bytep>(name),
                    reinterpret_cast<png_const_bytep>(data.data()), data.size());
  }

  // Apart from their callers, which jump and so must hold no objects.
  void remember(const char* message) { message_ = message; }
  bool put(const png_byte* bytes, std::size_t size) {
    outputFailure_ = output_->write(std::as_bytes(std::span(bytes, size)));
    return outputFailure_.ok();
  }

  [[nodiscard]] Result<void> outcome(bool done) const {
    if (done) return {};
    if (!outputFailure_) return outputFailure_.error();
    return Error{"the picture could not be compressed" +
                 (message_.empty() ? std::string() : ": " + message_)};
  }

  OutputFile* output_;
  Result<void> outputFailure_;
  std::string message_;
  std::jmp_buf target_ = {};
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

class PngWriter final : public PlainWriter {
 public:
  explicit PngWriter(OutputFile& file) : file_(&file) {}

 private:
  Result<void> write(const CGImage& image, const CarriedMetadata& metadata) override {
    PixelLayout stored = image.layout;
    if (stored.alpha == AlphaInfo::premultipliedLast) stored.alpha = AlphaInfo::last;
    auto rows = PlainRows::open(image, stored, "PNG");
    if (!rows) return std::move(rows).error();
    const auto& profile = image.colorSpace->profile;
    const auto packed = profile.empty() ? profile : packPngProfile(profile);
    Encoder encoder(*file_);
    if (auto started = encoder.start(image, stored, packed, metadata.exif()); !started) {
      return started;
    }
    if (auto written = forEachStrip(
            *rows, image.height, stripRows(image.width * stored.pixelBytes(), image.height),
            [&](auto pixels, auto count) { return encoder.writeRows(pixels, count); });
        !written) {
      return written;
    }
    return encoder.finish();
  }

  OutputFile* file_;
};

}  // namespace

std::unique_ptr<CodecWriter> makePlainPngWriter(OutputFile& file) {
  return std::make_unique<PngWriter>(file);
}

}  // namespace kelvo
