#include "tests/image_io/tiff/tiff_test_support.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"
#include "platform/pixels/premultiply.h"

namespace kelvo::tiff_test {
namespace {

class AdjustedRows final : public RowSource {
 public:
  AdjustedRows(std::unique_ptr<RowSource> rows, PixelLayout layout, const Adjustment& adjustment)
      : rows_(std::move(rows)), layout_(layout), adjustment_(adjustment) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    const bool narrowed = adjustment_.eightBits && layout_.type == SampleType::u16;
    buffer_.resize(narrowed ? pixels.size() * 2 : pixels.size());
    if (auto read = rows_->read(buffer_, rows); !read) return read;
    if (adjustment_.rows) adjustment_.rows(buffer_);
    if (layout_.alpha == AlphaInfo::last) {
      if (layout_.type == SampleType::u8) {
        vImagePremultiplyData_RGBA8888(
            {reinterpret_cast<std::uint8_t*>(buffer_.data()), buffer_.size()});
      } else {
        premultiplyRGBA16({reinterpret_cast<std::uint16_t*>(buffer_.data()), buffer_.size() / 2});
      }
    }
    if (!narrowed) {
      std::copy(buffer_.begin(), buffer_.end(), pixels.begin());
      return {};
    }
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      std::uint16_t sample = 0;
      std::memcpy(&sample, buffer_.data() + 2 * i, 2);
      pixels[i] = static_cast<std::byte>((sample * 255U + 32767U) / 65535U);
    }
    return {};
  }

 private:
  std::unique_ptr<RowSource> rows_;
  PixelLayout layout_;
  Adjustment adjustment_;
  Bytes buffer_;
};

CGImage adjusted(const CGImage& image, const Adjustment& adjustment) {
  CGImage result = image;
  if (image.palette) {
    auto palette = std::make_shared<Palette>(*image.palette);
    for (auto& color : *palette) {
      if (adjustment.paletteColor) adjustment.paletteColor(color);
    }
    result.palette = palette;
    return result;
  }
  if (image.layout.alpha == AlphaInfo::last) result.layout.alpha = AlphaInfo::premultipliedLast;
  if (adjustment.eightBits) result.layout.type = SampleType::u8;
  const auto openRows = image.openRows;
  const PixelLayout layout = image.layout;
  result.openRows = [openRows, layout, adjustment]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = openRows();
    if (!rows) return std::move(rows).error();
    return std::unique_ptr<RowSource>(
        std::make_unique<AdjustedRows>(*std::move(rows), layout, adjustment));
  };
  return result;
}

Result<void> writeFrames(const CodecSource& source, const Adjustment& adjustment, unsigned threads,
                         OutputFile& out) {
  auto writer = kTiffCodec.createWriter(out, source.count(), {.threads = threads});
  if (!writer) return std::move(writer).error();
  for (std::size_t i = 0; i < source.count(); ++i) {
    auto image = source.image(i);
    if (!image) return std::move(image).error();
    auto properties = source.properties(i);
    if (!properties) return std::move(properties).error();
    auto added = (*writer)->addImage(adjusted(*image, adjustment), **properties);
    if (!added) return added;
  }
  if (auto finished = (*writer)->finish(); !finished) return finished;
  return out.flush();
}

}  // namespace

Scratch::Scratch() {
  std::string pattern = ::testing::TempDir() + "kelvo-tiff-XXXXXX";
  directory_ = ::mkdtemp(pattern.data());
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

std::string run(const std::string& command) {
  std::string output;
  // One thread: tests run side by side, and their pictures are small.
  const std::string line = "(export MAGICK_THREAD_LIMIT=1; " + command + ") 2>/dev/null";
  FILE* const pipe = ::popen(line.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run: " << command;
    return output;
  }
  std::array<char, 65536> buffer{};
  while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    output.append(buffer.data(), got);
  }
  EXPECT_EQ(::pclose(pipe), 0) << command;
  return output;
}

Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  std::ostringstream text;
  text << in.rdbuf();
  return bytesOf(text.str());
}

void writeFile(const std::string& path, std::span<const std::byte> bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(out) << path;
}

Bytes bytesOf(std::string_view text) {
  const auto* const first = reinterpret_cast<const std::byte*>(text.data());
  return {first, first + text.size()};
}

std::size_t find(std::span<const std::byte> whole, std::span<const std::byte> part) {
  const auto found = std::search(whole.begin(), whole.end(), part.begin(), part.end());
  return found == whole.end() ? std::string::npos : static_cast<std::size_t>(found - whole.begin());
}

std::unique_ptr<CodecSource> open(Bytes bytes, const Limits& limits) {
  auto source = kTiffCodec.open(MappedFile::fromBytes(std::move(bytes)), limits);
  if (!source) return nullptr;
  return *std::move(source);
}

std::string openError(Bytes bytes, const Limits& limits) {
  auto source = kTiffCodec.open(MappedFile::fromBytes(std::move(bytes)), limits);
  return source ? std::string() : source.error().message;
}

Result<Bytes> rewrite(const Bytes& file, const Adjustment& adjustment, const Limits& limits) {
  auto source = kTiffCodec.open(MappedFile::fromBytes(file), limits);
  if (!source) return std::move(source).error();
  if (const SourceStatus status = (*source)->status();
      status.status != CGImageSourceStatus::complete) {
    return Error{status.cause};
  }
  if (auto writable = (*source)->writable(); !writable) return std::move(writable).error();
  const int descriptor = ::memfd_create("tiff", MFD_CLOEXEC);
  EXPECT_GE(descriptor, 0);
  Bytes result;
  Result<void> written;
  {
    OutputFile out(descriptor);
    written = writeFrames(**source, adjustment, limits.threads, out);
    result.resize(static_cast<std::size_t>(out.size()));
  }
  if (written) {
    EXPECT_EQ(::pread(descriptor, result.data(), result.size(), 0),
              static_cast<ssize_t>(result.size()));
  }
  ::close(descriptor);
  if (!written) return std::move(written).error();
  return result;
}

Bytes rewritten(const Bytes& file, const Adjustment& adjustment, const Limits& limits) {
  auto result = rewrite(file, adjustment, limits);
  if (result) return *std::move(result);
  ADD_FAILURE() << result.error().message;
  return {};
}

std::vector<std::uint16_t> decodedElsewhere(const std::string& path, int page) {
  const std::string raw =
      run("convert '" + path + "[" + std::to_string(page) + "]' -depth 16 -endian LSB rgba:-");
  EXPECT_FALSE(raw.empty()) << path;
  std::vector<std::uint16_t> samples;
  for (std::size_t i = 0; i + 1 < raw.size(); i += 2) {
    samples.push_back(static_cast<std::uint16_t>(static_cast<unsigned char>(raw[i]) |
                                                 static_cast<unsigned char>(raw[i + 1]) << 8));
  }
  return samples;
}

Result<Bytes> decoded(const Bytes& file, std::size_t frame, const Limits& limits) {
  auto source = kTiffCodec.open(MappedFile::fromBytes(file), limits);
  if (!source) return std::move(source).error();
  auto image = (*source)->image(frame);
  if (!image) return std::move(image).error();
  return readAllPixels(*image);
}

std::string tagsElsewhere(const std::string& path) {
  return run("exiftool -X -b -a -u -U -n --PreviewImage '" + path +
             "' | grep -av -E '<(System|ExifTool|Composite):|rdf:about|"
             "(Strip|Tile)(Offsets|ByteCounts)>|PreviewImage(Start|Length)>'");
}

std::string structureElsewhere(const std::string& path) {
  return run("tiffinfo '" + path + "' | grep -av -e 'offset 0x' -e '^File '");
}

TiffBuilder::TiffBuilder(bool bigEndian, bool big) : bigEndian_(bigEndian), big_(big) {
  file_ = bytesOf(bigEndian ? "MM" : "II");
  put(file_, big ? 43 : 42, 2);
  if (big) {
    put(file_, 8, 2);
    put(file_, 0, 2);
  }
  put(file_, 0, big ? 8 : 4);
}

void TiffBuilder::put(Bytes& to, std::uint64_t value, std::size_t bytes) const {
  for (std::size_t i = 0; i < bytes; ++i) {
    const std::size_t shift = 8 * (bigEndian_ ? bytes - 1 - i : i);
    to.push_back(static_cast<std::byte>(value >> shift & 0xFF));
  }
}

TiffBuilder::Field TiffBuilder::shorts(std::uint16_t tag,
                                       const std::vector<std::uint16_t>& values) const {
  Field field{tag, 3, values.size(), {}};
  for (const std::uint16_t value : values) put(field.value, value, 2);
  return field;
}

TiffBuilder::Field TiffBuilder::longs(std::uint16_t tag,
                                      const std::vector<std::uint32_t>& values) const {
  Field field{tag, 4, values.size(), {}};
  for (const std::uint32_t value : values) put(field.value, value, 4);
  return field;
}

TiffBuilder::Field TiffBuilder::bytes(std::uint16_t tag, std::uint16_t type,
                                      const Bytes& value) const {
  return {tag, type, value.size(), value};
}

std::uint64_t TiffBuilder::append(std::span<const std::byte> bytes) {
  if (file_.size() % 2 != 0) file_.push_back(std::byte{0});
  const std::uint64_t at = file_.size();
  file_.insert(file_.end(), bytes.begin(), bytes.end());
  return at;
}

std::uint64_t TiffBuilder::directory(std::vector<Field> fields, std::uint64_t next) {
  std::stable_sort(fields.begin(), fields.end(),
                   [](const Field& a, const Field& b) { return a.tag < b.tag; });
  if (file_.size() % 2 != 0) file_.push_back(std::byte{0});
  const std::uint64_t at = file_.size();
  const std::size_t width = big_ ? 8 : 4;
  const std::size_t table = (big_ ? 8U : 2U) + fields.size() * (big_ ? 20U : 12U) + width;
  Bytes head;
  Bytes values;
  put(head, fields.size(), big_ ? 8 : 2);
  for (const Field& field : fields) {
    put(head, field.tag, 2);
    put(head, field.type, 2);
    put(head, field.count, width);
    if (field.value.size() <= width) {
      Bytes value = field.value;
      value.resize(width);
      head.insert(head.end(), value.begin(), value.end());
    } else {
      put(head, at + table + values.size(), width);
      values.insert(values.end(), field.value.begin(), field.value.end());
      if (values.size() % 2 != 0) values.push_back(std::byte{0});
    }
  }
  put(head, next, width);
  file_.insert(file_.end(), head.begin(), head.end());
  file_.insert(file_.end(), values.begin(), values.end());
  return at;
}

void TiffBuilder::setFirst(std::uint64_t offset) { patch(big_ ? 8 : 4, offset, big_ ? 8 : 4); }

void TiffBuilder::patch(std::uint64_t position, std::uint64_t value, std::size_t bytes) {
  Bytes number;
  put(number, value, bytes);
  std::copy(number.begin(), number.end(), file_.begin() + static_cast<std::ptrdiff_t>(position));
}

std::uint64_t TiffBuilder::nextPosition(std::uint64_t directory) const {
  std::uint64_t count = 0;
  const std::size_t width = big_ ? 8 : 2;
  for (std::size_t i = 0; i < width; ++i) {
    count = count << 8 |
            std::to_integer<std::uint64_t>(file_[directory + (bigEndian_ ? i : width - 1 - i)]);
  }
  return directory + width + count * (big_ ? 20 : 12);
}

std::vector<TiffBuilder::Field> TiffBuilder::rgbFields(std::uint32_t width, std::uint32_t height,
                                                       std::uint64_t pixels) const {
  return {
      longs(256, {width}), longs(257, {height}), shorts(258, {8, 8, 8}),
      shorts(259, {1}),    shorts(262, {2}),     longs(273, {static_cast<std::uint32_t>(pixels)}),
      shorts(277, {3}),    longs(278, {height}), longs(279, {width * height * 3})};
}

Bytes noise(std::size_t length, std::uint32_t seed) {
  Bytes bytes(length);
  std::uint32_t state = seed * 2654435761U + 1;
  for (std::byte& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<std::byte>(state >> 24);
  }
  return bytes;
}

}  // namespace kelvo::tiff_test
