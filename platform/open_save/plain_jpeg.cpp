#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image_io/jpeg/libjpeg_guard.h"
#include "platform/image_io/output_file.h"
#include "platform/open_save/plain_rows.h"
#include "platform/open_save/plain_writer.h"

#include <jerror.h>

namespace kelvo {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
constexpr int kQuality = 95;
// Tables made for the picture save some percent, but the library then keeps every coefficient, in
// two bytes. Beyond this it does with the standard's tables.
constexpr std::uint64_t kMostCoefficientBytes = std::uint64_t{256} << 20;
constexpr std::string_view kExifPrefix = "Exif\0\0"sv;
constexpr std::size_t kMostSegmentBytes = 65533;
constexpr std::size_t kMostProfileBytes = 255 * (kMostSegmentBytes - 14);

// The library's compressor on an output file.
class Compressor {
 public:
  explicit Compressor(OutputFile& output) : output_(&output), buffer_(kBufferBytes) {
    destination_.owner = this;
    destination_.base.init_destination = &startOutput;
    destination_.base.empty_output_buffer = &emptyBuffer;
    destination_.base.term_destination = &endOutput;
    info_.err = &errors_.base;
    created_ = jpeg::guarded(errors_, [&] { jpeg_create_compress(&info_); });
    info_.dest = &destination_.base;
  }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  ~Compressor() {
    if (created_) jpeg_destroy_compress(&info_);
  }

  Result<void> start(const CGImage& image, const PixelLayout& stored, std::span<JOCTET> exif,
                     std::span<const JOCTET> profile) {
    const std::uint64_t samples =
        std::uint64_t{image.width} * image.height * stored.components * sizeof(JCOEF);
    return outcome(created_ && jpeg::guarded(errors_, [&] {
                     info_.image_width = image.width;
                     info_.image_height = image.height;
                     info_.input_components = stored.components;
                     info_.in_color_space = stored.components == 1 ? JCS_GRAYSCALE : JCS_RGB;
                     jpeg_set_defaults(&info_);
                     jpeg_set_quality(&info_, kQuality, TRUE);
                     for (int i = 0; i < info_.num_components; ++i) {
                       info_.comp_info[i].h_samp_factor = info_.comp_info[i].v_samp_factor = 1;
                     }
                     info_.dct_method = JDCT_ISLOW;
                     info_.optimize_coding = samples <= kMostCoefficientBytes ? TRUE : FALSE;
                     jpeg_start_compress(&info_, TRUE);
                     if (!exif.empty()) {
                       jpeg_write_marker(&info_, JPEG_APP0 + 1, exif.data(),
                                         static_cast<unsigned>(exif.size()));
                     }
                     if (!profile.empty()) {
                       jpeg_write_icc_profile(&info_, profile.data(),
                                              static_cast<unsigned>(profile.size()));
                     }
                   }));
  }

  // Tightly packed rows of 8-bit samples.
  Result<void> writeRows(std::span<std::byte> pixels, std::uint32_t rows) {
    auto* const samples = reinterpret_cast<JSAMPLE*>(pixels.data());
    const std::size_t rowBytes = pixels.size() / rows;
    return outcome(jpeg::guarded(errors_, [&] {
      for (std::uint32_t row = 0; row < rows; ++row) {
        JSAMPROW pointer = samples + row * rowBytes;
        jpeg_write_scanlines(&info_, &pointer, 1);
      }
    }));
  }

  Result<void> finish() {
    return outcome(jpeg::guarded(errors_, [&] { jpeg_finish_compress(&info_); }));
  }

 private:
  struct Destination {
    jpeg_destination_mgr base = {};  // first: the library's pointer to it points to this
    Compressor* owner = nullptr;
  };

  static Compressor& of(j_compress_ptr info) {
    return *reinterpret_cast<Destination*>(info->dest)->owner;
  }
  static void startOutput(j_compress_ptr info) {
    info->dest->next_output_byte = of(info).buffer_.data();
    info->dest->free_in_buffer = of(info).buffer_.size();
  }
  static boolean emptyBuffer(j_compress_ptr info) {
    if (!of(info).writeBuffer(of(info).buffer_.size())) ERREXIT(info, JERR_FILE_WRITE);
    startOutput(info);
    return TRUE;
  }
  static void endOutput(j_compress_ptr info) {
    if (!of(info).writeBuffer(of(info).buffer_.size() - info->dest->free_in_buffer)) {
      ERREXIT(info, JERR_FILE_WRITE);
    }
  }
  // Apart from its callers, which jump on failure and so must hold no objects.
  bool writeBuffer(std::size_t count) {
    outputFailure_ = output_->write(std::as_bytes(std::span(buffer_).first(count)));
    return outputFailure_.ok();
  }

  [[nodiscard]] Result<void> outcome(bool done) const {
    if (done) return {};
    if (!outputFailure_) return outputFailure_.error();
    return jpeg::libraryError(errors_, "the picture could not be compressed");
  }

  OutputFile* output_;
  Result<void> outputFailure_;
  std::vector<JOCTET> buffer_;
  Destination destination_;
  jpeg::ErrorManager errors_;
  jpeg_compress_struct info_ = {};
  bool created_ = false;
};

class JpegWriter final : public PlainWriter {
 public:
  explicit JpegWriter(OutputFile& file) : file_(&file) {}

 private:
  Result<void> write(const CGImage& image, const CarriedMetadata& metadata) override {
    const auto& profile = image.colorSpace->profile;
    if (profile.size() > kMostProfileBytes) {
      return Error{"its colour profile does not fit into a JPEG file"};
    }
    std::vector<JOCTET> exif;
    if (!metadata.exif().empty()) {
      exif.assign(kExifPrefix.begin(), kExifPrefix.end());
      const auto* const block = reinterpret_cast<const JOCTET*>(metadata.exif().data());
      exif.insert(exif.end(), block, block + metadata.exif().size());
    }
    if (exif.size() > kMostSegmentBytes) {
      return Error{"its EXIF data do not fit into a JPEG file"};
    }
    const bool gray = image.colorSpace->model == ColorModel::gray;
    const PixelLayout stored = {gray ? std::uint8_t{1} : std::uint8_t{3}, SampleType::u8,
                                AlphaInfo::none};
    auto rows = PlainRows::open(image, stored, "JPEG");
    if (!rows) return std::move(rows).error();
    Compressor compressor(*file_);
    if (auto started = compressor.start(
            image, stored, exif, {reinterpret_cast<const JOCTET*>(profile.data()), profile.size()});
        !started) {
      return started;
    }
    if (auto written = forEachStrip(
            *rows, image.height, DCTSIZE,
            [&](auto pixels, auto count) { return compressor.writeRows(pixels, count); });
        !written) {
      return written;
    }
    return compressor.finish();
  }

  OutputFile* file_;
};

}  // namespace

std::unique_ptr<CodecWriter> makePlainJpegWriter(OutputFile& file) {
  return std::make_unique<JpegWriter>(file);
}

}  // namespace kelvo
