#include "platform/image_io/tiff/libtiff_handle.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// The bytes of the file are shifted by this much in what libtiff reads, to make room for a header.
constexpr std::uint64_t kHeaderRoom = 64;
constexpr std::uint32_t kBigHeaderBytes = 16;
// Rows are encoded through a buffer of this size rather than one as large as a strip.
constexpr tmsize_t kRowBufferBytes = tmsize_t{1} << 20;

// Warnings that tell of no lost data.
constexpr std::array<std::string_view, 2> kHarmlessWarnings = {
    // The last JPEG strip has the rows of a whole one, of which those below the picture are unused.
    "JPEG strip size exceeds expected dimensions",
    // The bit order of an early writer; it is decoded like any other.
    "Old-style LZW codes, convert file",
};

std::string formatted(const char* format, va_list arguments) {
  std::array<char, 512> text{};
  std::vsnprintf(text.data(), text.size(), format, arguments);
  std::string message(text.data());
  while (!message.empty() && (message.back() == '.' || message.back() == '\n')) message.pop_back();
  return message;
}

int onError(TIFF*, void* messages, const char*, const char* format, va_list arguments) {
  static_cast<Messages*>(messages)->add(formatted(format, arguments));
  return 1;
}

int onWarning(TIFF*, void* messages, const char*, const char* format, va_list arguments) {
  const std::string message = formatted(format, arguments);
  const bool harmless =
      std::any_of(kHarmlessWarnings.begin(), kHarmlessWarnings.end(),
                  [&](std::string_view known) { return message.find(known) != std::string::npos; });
  if (!harmless) static_cast<Messages*>(messages)->add(message);
  return 1;
}

struct OptionsCloser {
  void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using Options = std::unique_ptr<TIFFOpenOptions, OptionsCloser>;

Options makeOptions(Messages& messages, std::uint64_t maxMemoryBytes) {
  Options options(TIFFOpenOptionsAlloc());
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, &messages);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), onWarning, &messages);
  if (maxMemoryBytes != 0) {
    constexpr std::uint64_t kMost = 1ULL << 62;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(),
                                        static_cast<tmsize_t>(std::min(maxMemoryBytes, kMost)));
  }
  return options;
}

int closeProc(thandle_t) { return 0; }
tmsize_t noRead(thandle_t, void*, tmsize_t) { return 0; }
tmsize_t noWrite(thandle_t, void*, tmsize_t) { return 0; }

std::uint64_t sought(std::uint64_t position, std::uint64_t size, toff_t offset, int whence) {
  switch (whence) {
    case SEEK_CUR:
      return position + offset;
    case SEEK_END:
      return size + offset;
    default:
      return offset;
  }
}

bool hasPredictor(std::uint32_t compression) {
  switch (compression) {
    case kLzw:
    case kAdobeDeflate:
    case kDeflate:
    case kLzma:
    case kZstd:
      return true;
    default:
      return false;
  }
}

// What the samples mean is this codec's business; libtiff is told no more than its decoders need.
std::uint32_t plainPhotometric(const Picture& picture) {
  if (picture.photometric == kYCbCr) return kYCbCr;
  return picture.samples >= 3 ? kRgb : kMinIsBlack;
}

std::uint32_t plainExtraSamples(const Picture& picture) {
  return picture.samples - (picture.samples >= 3 ? 3 : 1);
}

// A BigTIFF directory in the making; tags must come in ascending order.
class DirectoryBuilder {
 public:
  DirectoryBuilder(std::uint64_t start, bool bigEndian) : start_(start), bigEndian_(bigEndian) {}

  void add(std::uint16_t tag, std::uint16_t type, std::uint64_t count,
           const std::vector<std::byte>& value) {
    put(table_, tag, 2);
    put(table_, type, 2);
    put(table_, count, 8);
    std::vector<std::byte> field = value;
    if (field.size() > 8) {
      pending_.push_back({table_.size(), values_.size()});
      values_.insert(values_.end(), value.begin(), value.end());
      values_.resize((values_.size() + 7) / 8 * 8);
    }
    field.resize(8);
    table_.insert(table_.end(), field.begin(), field.end());
    ++count_;
  }
  void add(std::uint16_t tag, std::uint32_t value) {
    std::vector<std::byte> bytes;
    put(bytes, value, 4);
    add(tag, kLong, 1, bytes);
  }
  void add(std::uint16_t tag, const std::vector<std::uint16_t>& values) {
    std::vector<std::byte> bytes;
    for (const std::uint16_t value : values) put(bytes, value, 2);
    add(tag, kShort, values.size(), bytes);
  }
  template <typename Get>
  void addLong8(std::uint16_t tag, std::span<const Extent> extents, Get get) {
    std::vector<std::byte> bytes;
    bytes.reserve(extents.size() * 8);
    for (const Extent& extent : extents) put(bytes, get(extent), 8);
    add(tag, kLong8, extents.size(), bytes);
  }

  std::vector<std::byte> build() {
    const std::uint64_t values = start_ + 8 + table_.size() + 8;
    for (const auto& [place, offset] : pending_) {
      storeInteger(std::span(table_).subspan(place, 8), values + offset, 8, bigEndian_);
    }
    std::vector<std::byte> built;
    put(built, count_, 8);
    built.insert(built.end(), table_.begin(), table_.end());
    put(built, 0, 8);
    built.insert(built.end(), values_.begin(), values_.end());
    return built;
  }

 private:
  void put(std::vector<std::byte>& to, std::uint64_t value, std::size_t bytes) const {
    to.resize(to.size() + bytes);
    storeInteger(std::span(to).last(bytes), value, bytes, bigEndian_);
  }

  std::uint64_t start_;
  bool bigEndian_;
  std::uint64_t count_ = 0;
  std::vector<std::byte> table_;
  std::vector<std::byte> values_;
  std::vector<std::pair<std::size_t, std::size_t>> pending_;
};

std::vector<std::byte> buildDirectory(const Format& format, const Picture& picture,
                                      std::span<const Extent> striles,
                                      std::span<const std::byte> jpegTables, std::uint64_t start) {
  const auto offset = [](const Extent& extent) { return extent.offset + kHeaderRoom; };
  const auto length = [](const Extent& extent) { return extent.length; };
  DirectoryBuilder builder(start, format.bigEndian);
  builder.add(kImageWidth, picture.width);
  builder.add(kImageLength, picture.height);
  builder.add(kBitsPerSample, std::vector<std::uint16_t>(picture.samples,
                                                         static_cast<std::uint16_t>(picture.bits)));
  builder.add(kCompression, std::vector{static_cast<std::uint16_t>(picture.compression)});
  builder.add(kPhotometric, std::vector{static_cast<std::uint16_t>(plainPhotometric(picture))});
  builder.add(kFillOrder, std::vector{static_cast<std::uint16_t>(picture.fillOrder)});
  if (!picture.tiled) builder.addLong8(kStripOffsets, striles, offset);
  builder.add(kSamplesPerPixel, std::vector{static_cast<std::uint16_t>(picture.samples)});
  if (!picture.tiled) {
    builder.add(kRowsPerStrip, picture.strileHeight);
    builder.addLong8(kStripByteCounts, striles, length);
  }
  builder.add(kPlanarConfiguration,
              std::vector{static_cast<std::uint16_t>(picture.separate ? 2 : 1)});
  if (hasPredictor(picture.compression)) {
    builder.add(kPredictor, std::vector{static_cast<std::uint16_t>(picture.predictor)});
  }
  if (picture.tiled) {
    builder.add(kTileWidth, picture.strileWidth);
    builder.add(kTileLength, picture.strileHeight);
    builder.addLong8(kTileOffsets, striles, offset);
    builder.addLong8(kTileByteCounts, striles, length);
  }
  if (const std::uint32_t extra = plainExtraSamples(picture); extra != 0) {
    builder.add(kExtraSamples, std::vector<std::uint16_t>(extra, kUnspecified));
  }
  if (picture.compression == kJpeg && !jpegTables.empty()) {
    builder.add(kJpegTables, kUndefined, jpegTables.size(),
                std::vector<std::byte>(jpegTables.begin(), jpegTables.end()));
  }
  if (picture.photometric == kYCbCr) {
    builder.add(kYCbCrSubSampling, std::vector{static_cast<std::uint16_t>(picture.subsamplingX),
                                               static_cast<std::uint16_t>(picture.subsamplingY)});
  }
  return builder.build();
}

}  // namespace

Result<std::unique_ptr<DecodingHandle>> DecodingHandle::open(const View& view,
                                                             const Picture& picture,
                                                             std::span<const Extent> striles,
                                                             std::span<const std::byte> jpegTables,
                                                             std::uint64_t maxMemoryBytes) {
  std::unique_ptr<DecodingHandle> self(new DecodingHandle);
  self->body_ = view.bytes;
  self->tiled_ = picture.tiled;
  const bool bigEndian = view.format.bigEndian;
  // Directories begin at even offsets.
  const std::uint64_t start = (kHeaderRoom + view.bytes.size() + 1) / 2 * 2;
  self->directory_.resize(static_cast<std::size_t>(start - kHeaderRoom - view.bytes.size()));
  const auto directory = buildDirectory(view.format, picture, striles, jpegTables, start);
  self->directory_.insert(self->directory_.end(), directory.begin(), directory.end());
  self->header_.resize(kHeaderRoom);
  const std::span header(self->header_);
  header[0] = header[1] = std::byte{static_cast<unsigned char>(bigEndian ? 'M' : 'I')};
  storeInteger(header.subspan(2), 43, 2, bigEndian);
  storeInteger(header.subspan(4), 8, 2, bigEndian);
  storeInteger(header.subspan(8), start, 8, bigEndian);
  static_assert(kHeaderRoom >= kBigHeaderBytes);

  const Options options = makeOptions(self->messages_, maxMemoryBytes);
  // Read only, no mapping, no chopping of large strips into smaller ones.
  self->handle_.reset(TIFFClientOpenExt("", "rmc", self.get(), readProc, noWrite, seekProc,
                                        closeProc, sizeProc, nullptr, nullptr, options.get()));
  if (!self->handle_) return self->outcome(false).error();
  if (picture.photometric == kYCbCr) {
    TIFFSetField(self->handle_.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  if (auto opened = self->outcome(true); !opened) return std::move(opened).error();
  return self;
}

Result<void> DecodingHandle::outcome(bool decoded) const {
  if (decoded && messages_.first().empty()) return {};
  const std::string what = tiled_ ? "a tile" : "a strip";
  if (messages_.first().empty()) return Error{what + " is damaged"};
  return Error{what + " is damaged: " + messages_.first()};
}

Result<void> DecodingHandle::readStrile(std::uint32_t index, std::span<std::byte> samples) {
  const auto size = static_cast<tmsize_t>(samples.size());
  const tmsize_t got = tiled_ ? TIFFReadEncodedTile(handle_.get(), index, samples.data(), size)
                              : TIFFReadEncodedStrip(handle_.get(), index, samples.data(), size);
  return outcome(got == size);
}

Result<void> DecodingHandle::readRow(std::uint32_t row, std::uint32_t plane,
                                     std::span<std::byte> samples) {
  if (static_cast<std::uint64_t>(TIFFScanlineSize64(handle_.get())) != samples.size()) {
    return outcome(false);
  }
  const int got =
      TIFFReadScanline(handle_.get(), samples.data(), row, static_cast<std::uint16_t>(plane));
  return outcome(got == 1);
}

tmsize_t DecodingHandle::readProc(thandle_t data, void* to, tmsize_t size) {
  auto* const self = static_cast<DecodingHandle*>(data);
  auto* out = static_cast<std::byte*>(to);
  tmsize_t total = 0;
  std::uint64_t start = 0;
  for (const std::span<const std::byte> part :
       {std::span<const std::byte>(self->header_), self->body_,
        std::span<const std::byte>(self->directory_)}) {
    const std::uint64_t end = start + part.size();
    if (total < size && self->position_ >= start && self->position_ < end) {
      const auto from = static_cast<std::size_t>(self->position_ - start);
      const std::size_t length =
          std::min(part.size() - from, static_cast<std::size_t>(size - total));
      std::memcpy(out + total, part.data() + from, length);
      total += static_cast<tmsize_t>(length);
      self->position_ += length;
    }
    start = end;
  }
  return total;
}

toff_t DecodingHandle::seekProc(thandle_t data, toff_t offset, int whence) {
  auto* const self = static_cast<DecodingHandle*>(data);
  self->position_ = sought(self->position_, sizeProc(data), offset, whence);
  return self->position_;
}

toff_t DecodingHandle::sizeProc(thandle_t data) {
  const auto* const self = static_cast<DecodingHandle*>(data);
  return self->header_.size() + self->body_.size() + self->directory_.size();
}

Result<std::unique_ptr<EncodingHandle>> EncodingHandle::open(const Format& format,
                                                             const Picture& picture) {
  std::unique_ptr<EncodingHandle> self(new EncodingHandle);
  self->tiled_ = picture.tiled;
  const Options options = makeOptions(self->messages_, 0);
  self->handle_.reset(TIFFClientOpenExt("", format.bigEndian ? "wb8" : "wl8", self.get(), noRead,
                                        writeProc, seekProc, closeProc, sizeProc, nullptr, nullptr,
                                        options.get()));
  TIFF* const handle = self->handle_.get();
  if (handle == nullptr) return self->outcome(false).error();
  bool set = TIFFSetField(handle, TIFFTAG_IMAGEWIDTH, picture.width) == 1 &&
             TIFFSetField(handle, TIFFTAG_IMAGELENGTH, picture.height) == 1 &&
             TIFFSetField(handle, TIFFTAG_BITSPERSAMPLE, picture.bits) == 1 &&
             TIFFSetField(handle, TIFFTAG_SAMPLESPERPIXEL, picture.samples) == 1 &&
             TIFFSetField(handle, TIFFTAG_PLANARCONFIG, picture.separate ? 2 : 1) == 1 &&
             TIFFSetField(handle, TIFFTAG_PHOTOMETRIC, plainPhotometric(picture)) == 1 &&
             TIFFSetField(handle, TIFFTAG_COMPRESSION, picture.compression) == 1 &&
             TIFFSetField(handle, TIFFTAG_FILLORDER, picture.fillOrder) == 1;
  if (const std::uint32_t extra = plainExtraSamples(picture); extra != 0) {
    const std::vector<std::uint16_t> kinds(extra, kUnspecified);
    set = set && TIFFSetField(handle, TIFFTAG_EXTRASAMPLES, extra, kinds.data()) == 1;
  }
  if (picture.tiled) {
    set = set && TIFFSetField(handle, TIFFTAG_TILEWIDTH, picture.strileWidth) == 1 &&
          TIFFSetField(handle, TIFFTAG_TILELENGTH, picture.strileHeight) == 1;
  } else {
    set = set && TIFFSetField(handle, TIFFTAG_ROWSPERSTRIP, picture.strileHeight) == 1;
  }
  if (hasPredictor(picture.compression)) {
    set = set && TIFFSetField(handle, TIFFTAG_PREDICTOR, picture.predictor) == 1;
  }
  if (picture.compression == kWebp) {
    set = set && TIFFSetField(handle, TIFFTAG_WEBP_LOSSLESS, 1) == 1;
  }
  if (auto opened = self->outcome(set); !opened) return std::move(opened).error();
  self->encoded_.clear();
  return self;
}

Result<void> EncodingHandle::outcome(bool encoded) const {
  if (encoded && messages_.first().empty()) return {};
  if (messages_.first().empty()) return Error{"the pixels could not be encoded"};
  return Error{"the pixels could not be encoded: " + messages_.first()};
}

Result<void> EncodingHandle::writeStrile(std::uint32_t index, std::span<std::byte> samples) {
  encoded_.clear();
  const auto size = static_cast<tmsize_t>(samples.size());
  const tmsize_t put = tiled_ ? TIFFWriteEncodedTile(handle_.get(), index, samples.data(), size)
                              : TIFFWriteEncodedStrip(handle_.get(), index, samples.data(), size);
  return outcome(put == size && !encoded_.empty());
}

Result<void> EncodingHandle::writeRow(std::uint32_t row, std::uint32_t plane,
                                      std::span<std::byte> samples) {
  if (row == 0) TIFFWriteBufferSetup(handle_.get(), nullptr, kRowBufferBytes);
  return outcome(TIFFWriteScanline(handle_.get(), samples.data(), row,
                                   static_cast<std::uint16_t>(plane)) == 1);
}

Result<void> EncodingHandle::endStrip() { return outcome(TIFFFlushData(handle_.get()) == 1); }

tmsize_t EncodingHandle::writeProc(thandle_t data, void* from, tmsize_t size) {
  auto* const self = static_cast<EncodingHandle*>(data);
  const auto* const bytes = static_cast<const std::byte*>(from);
  self->encoded_.insert(self->encoded_.end(), bytes, bytes + size);
  self->position_ += static_cast<std::uint64_t>(size);
  self->size_ = std::max(self->size_, self->position_);
  return size;
}

toff_t EncodingHandle::seekProc(thandle_t data, toff_t offset, int whence) {
  auto* const self = static_cast<EncodingHandle*>(data);
  self->position_ = sought(self->position_, self->size_, offset, whence);
  return self->position_;
}

toff_t EncodingHandle::sizeProc(thandle_t data) {
  return static_cast<EncodingHandle*>(data)->size_;
}

}  // namespace kelvo::tiff
