#include "platform/image_io/png/png_decoder.h"

#include <fmt/format.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <csetjmp>
#include <cstring>
#include <string>
#include <vector>

#include "platform/image_io/png/adam7.h"

namespace kelvo {
namespace {

// What the library gets to see: the header, the colour table of an indexed picture and the picture
// data, in as few chunks as possible. Nothing in other chunks can then keep it from the pixels, and
// every warning that it has is about them. Checksums have been looked at before and are left out.
class PictureStream {
 public:
  PictureStream(const PngFile& file, const PngPicture& picture) {
    add(kPngSignature);
    std::ranges::copy(file.chunks().front().whole, header_.begin());
    putNumber(picture.header.width, &header_[8]);
    putNumber(picture.header.height, &header_[12]);
    add(header_);
    if (file.header().color == PngColor::indexed) add(file.find("PLTE")->whole);
    std::vector<std::vector<std::span<const std::byte>>> groups;
    std::size_t size = kMaxDataBytes + 1;  // a first group is to be begun
    for (const auto data : picture.data) {
      if (size + data.size() > kMaxDataBytes) {
        groups.emplace_back();
        starts_.emplace_back();
        size = 0;
      }
      groups.back().push_back(data);
      size += data.size();
      starts_.back() = dataStart(size);
    }
    for (std::size_t i = 0; i < groups.size(); ++i) {
      add(starts_[i]);
      parts_.insert(parts_.end(), groups[i].begin(), groups[i].end());
      add(kNoChecksum);
    }
    add(kEnd);
  }
  PictureStream(const PictureStream&) = delete;
  PictureStream& operator=(const PictureStream&) = delete;

  // False if there are not that many bytes.
  bool read(std::byte* out, std::size_t size) {
    while (size > 0) {
      if (part_ == parts_.size()) return false;
      const auto rest = parts_[part_].subspan(position_);
      const std::size_t n = std::min(size, rest.size());
      if (n > 0) std::memcpy(out, rest.data(), n);
      out += n;
      size -= n;
      position_ += n;
      if (position_ == parts_[part_].size()) {
        ++part_;
        position_ = 0;
      }
    }
    return true;
  }

 private:
  static constexpr std::size_t kMaxDataBytes = 0x7fffffff;  // of a chunk
  static constexpr std::array kDataName = {std::byte{'I'}, std::byte{'D'}, std::byte{'A'},
                                           std::byte{'T'}};
  static constexpr std::array<std::byte, 4> kNoChecksum{};
  static constexpr std::array<std::byte, 12> kEnd = {
      std::byte{0},    std::byte{0},    std::byte{0},    std::byte{0},
      std::byte{'I'},  std::byte{'E'},  std::byte{'N'},  std::byte{'D'},
      std::byte{0xae}, std::byte{0x42}, std::byte{0x60}, std::byte{0x82}};

  void add(std::span<const std::byte> part) { parts_.push_back(part); }

  static void putNumber(std::size_t value, std::byte* out) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) *out++ = static_cast<std::byte>(value >> shift);
  }

  static std::array<std::byte, 8> dataStart(std::size_t size) {
    std::array<std::byte, 8> start{};
    std::ranges::copy(kDataName, start.begin() + 4);
    putNumber(size, start.data());
    return start;
  }

  std::array<std::byte, 25> header_{};  // the chunk IHDR with the picture's own size

  std::vector<std::span<const std::byte>> parts_;
  std::vector<std::array<std::byte, 8>> starts_;  // length and type of each data chunk
  std::size_t part_ = 0;
  std::size_t position_ = 0;
};

// The library reports errors by jumping out of itself. Each call into it stands in a member
// function of its own that has nothing to clean up.
class LibraryDecoder final : public PngDecoder {
 public:
  LibraryDecoder(std::shared_ptr<const PngFile> file, std::size_t picture)
      : file_(std::move(file)), stream_(*file_, file_->pictures()[picture]) {
    const PngHeader& header = file_->pictures()[picture].header;
    rowsLeft_ = header.interlaced ? adam7Rows(header.width, header.height) : header.height;
    const std::size_t sampleBytes = header.bitDepth == 16 ? 2 : 1;
    rowBytes_ = std::size_t{header.width} * header.channels() * sampleBytes;
  }
  ~LibraryDecoder() override { png_destroy_read_struct(&png_, &info_, nullptr); }
  LibraryDecoder(const LibraryDecoder&) = delete;
  LibraryDecoder& operator=(const LibraryDecoder&) = delete;

  Result<void> start() {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
    if (info_ == nullptr) return Error{"there is not enough memory to decode the picture"};
    return outcome(begin());
  }

  std::size_t rowBytes() const override { return rowBytes_; }

  Result<void> read(std::span<std::byte> row) override {
    if (rowsLeft_ == 0) return Error{"there are no more rows"};
    bool good = readRow(reinterpret_cast<png_bytep>(row.data()));
    if (good && --rowsLeft_ == 0) good = end();
    return outcome(good);
  }

 private:
  bool begin() {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_set_read_fn(png_, this, onRead);
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // looked at before
    png_set_benign_errors(png_, 0);
    png_set_crc_action(png_, PNG_CRC_QUIET_USE, PNG_CRC_QUIET_USE);
    png_read_info(png_, info_);
    png_set_packing(png_);
    if constexpr (std::endian::native == std::endian::little) png_set_swap(png_);
    png_read_update_info(png_, info_);
    if (png_get_rowbytes(png_, info_) != rowBytes_) png_error(png_, "unexpected row size");
    return true;
  }

  bool readRow(png_bytep row) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_read_row(png_, row, nullptr);
    return true;
  }

  bool end() {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_read_end(png_, nullptr);
    return true;
  }

  Result<void> outcome(bool good) const {
    if (good && message_[0] == '\0') return {};
    return Error{fmt::format("the picture data is damaged: {}", message_.data())};
  }

  void note(const char* message) {
    if (message_[0] != '\0') return;
    std::strncpy(message_.data(), message, message_.size() - 1);
  }

  [[noreturn]] static void onError(png_structp png, png_const_charp message) {
    static_cast<LibraryDecoder*>(png_get_error_ptr(png))->note(message);
    png_longjmp(png, 1);
  }

  static void onWarning(png_structp png, png_const_charp message) {
    static_cast<LibraryDecoder*>(png_get_error_ptr(png))->note(message);
  }

  static void onRead(png_structp png, png_bytep out, std::size_t size) {
    auto* const self = static_cast<LibraryDecoder*>(png_get_io_ptr(png));
    if (!self->stream_.read(reinterpret_cast<std::byte*>(out), size)) {
      png_error(png, "it ends early");
    }
  }

  std::shared_ptr<const PngFile> file_;
  PictureStream stream_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::uint64_t rowsLeft_ = 0;
  std::size_t rowBytes_ = 0;
  std::array<char, 200> message_{};
};

}  // namespace

Result<std::unique_ptr<PngDecoder>> PngDecoder::open(std::shared_ptr<const PngFile> file,
                                                     std::size_t picture) {
  auto decoder = std::make_unique<LibraryDecoder>(std::move(file), picture);
  if (auto started = decoder->start(); !started) return std::move(started).error();
  return std::unique_ptr<PngDecoder>(std::move(decoder));
}

}  // namespace kelvo
