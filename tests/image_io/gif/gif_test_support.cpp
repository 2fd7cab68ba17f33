#include "tests/image_io/gif/gif_test_support.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <array>
#include <cctype>
#include <cstring>
#include <map>
#include <utility>

#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo::gif_test {
namespace {

// Pictures of a few pixels are not worth the tools' threads.
const std::string kOneThread = "OMP_NUM_THREADS=1 ";

std::string number(unsigned value) {
  return {static_cast<char>(value & 255U), static_cast<char>(value >> 8)};
}

unsigned byteAt(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes.at(at));
}

FileBytes mapped(const std::string& file) {
  const auto* const bytes = reinterpret_cast<const std::byte*>(file.data());
  return MappedFile::fromBytes({bytes, bytes + file.size()});
}

class Bits {
 public:
  void put(unsigned value, unsigned count) {
    for (unsigned i = 0; i < count; ++i, ++size_) {
      if (size_ % 8 == 0) bytes_.push_back('\0');
      if ((value >> i & 1U) != 0) {
        bytes_.back() =
            static_cast<char>(static_cast<unsigned char>(bytes_.back()) | 1U << size_ % 8);
      }
    }
  }
  [[nodiscard]] const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::size_t size_ = 0;
};

}  // namespace

std::string hex(std::string_view digits) {
  std::string bytes;
  std::string pair;
  for (const char c : digits) {
    if (c == ' ') continue;
    pair.push_back(c);
    if (pair.size() < 2) continue;
    bytes.push_back(static_cast<char>(std::stoul(pair, nullptr, 16)));
    pair.clear();
  }
  EXPECT_TRUE(pair.empty()) << digits;
  return bytes;
}

// As the format's description tells it: strings of indices looked up whole.
std::string compressed(const std::vector<unsigned>& indices, const Lzw& options) {
  const unsigned clear = 1U << options.codeSize;
  std::map<std::vector<unsigned>, unsigned> codes;
  unsigned next = 0;
  unsigned width = 0;
  const auto reset = [&] {
    codes.clear();
    for (unsigned i = 0; i < clear; ++i) codes[{i}] = i;
    next = clear + 2;
    width = options.codeSize + 1;
  };
  reset();
  Bits bits;
  if (options.clearFirst) bits.put(clear, width);
  std::vector<unsigned> known;
  for (const unsigned index : indices) {
    std::vector<unsigned> longer = known;
    longer.push_back(index);
    if (codes.contains(longer)) {
      known = std::move(longer);
      continue;
    }
    bits.put(codes.at(known), width);
    if (next < 4096) {
      codes[longer] = next++;
      // The reader makes each code one step later.
      if (next - 1 == 1U << width && width < 12) ++width;
    } else if (options.clearWhenFull) {
      bits.put(clear, width);
      reset();
    }
    known = {index};
  }
  if (!known.empty()) {
    bits.put(codes.at(known), width);
    if (next < 4096 && next == 1U << width && width < 12) ++width;
  }
  if (options.endCode) bits.put(clear + 1, width);
  return bits.bytes();
}

std::string subBlocks(std::string_view data, std::size_t size) {
  std::string blocks;
  for (std::size_t at = 0; at < data.size(); at += size) {
    const auto part = data.substr(at, size);
    blocks.push_back(static_cast<char>(part.size()));
    blocks += part;
  }
  return blocks + '\0';
}

std::string pictureData(const std::vector<unsigned>& indices, const Lzw& options) {
  return static_cast<char>(options.codeSize) + subBlocks(compressed(indices, options));
}

std::string screen(unsigned width, unsigned height, unsigned packed, unsigned background,
                   unsigned aspect) {
  return "GIF89a" + number(width) + number(height) + static_cast<char>(packed) +
         static_cast<char>(background) + static_cast<char>(aspect);
}

std::string descriptor(unsigned x, unsigned y, unsigned width, unsigned height, unsigned packed) {
  return "," + number(x) + number(y) + number(width) + number(height) + static_cast<char>(packed);
}

std::string control(unsigned packed, unsigned delay, unsigned transparent) {
  return hex("21f904") + static_cast<char>(packed) + number(delay) +
         static_cast<char>(transparent) + '\0';
}

std::vector<Part> partsOf(const std::string& file) {
  std::vector<Part> parts;
  std::size_t at = 0;
  const auto take = [&](const std::string& kind, std::size_t size) {
    parts.push_back({kind, file.substr(at, size)});
    EXPECT_EQ(parts.back().bytes.size(), size) << kind;
    at += size;
  };
  const auto sizeOfBlocks = [&](std::size_t from) {
    std::size_t end = from;
    while (end < file.size() && byteAt(file, end) != 0) end += 1 + byteAt(file, end);
    return end + 1 - from;
  };
  const auto tableSize = [](unsigned packed) { return 3U * (2U << (packed & 7U)); };
  take("screen", 13);
  if ((byteAt(file, 10) & 128U) != 0) take("global table", tableSize(byteAt(file, 10)));
  while (at < file.size()) {
    switch (file[at]) {
      case '!':
        take("extension", 2 + sizeOfBlocks(at + 2));
        break;
      case ',': {
        const unsigned packed = byteAt(file, at + 9);
        take("descriptor", 10);
        if ((packed & 128U) != 0) take("local table", tableSize(packed));
        take("data", 1 + sizeOfBlocks(at + 1));
        break;
      }
      case ';':
        take("trailer", 1);
        if (at < file.size()) take("rest", file.size() - at);
        break;
      default:
        ADD_FAILURE() << "no block at byte " << at;
        return parts;
    }
  }
  return parts;
}

std::vector<Part> partsWithoutTables(const std::string& file) {
  std::vector<Part> parts = partsOf(file);
  std::erase_if(parts, [](const Part& part) { return part.kind.ends_with("table"); });
  return parts;
}

std::string tablesOf(const std::string& file) {
  std::string tables;
  for (const Part& part : partsOf(file)) {
    if (part.kind.ends_with("table")) tables += part.bytes;
  }
  return tables;
}

std::unique_ptr<CodecSource> openSource(const std::string& file, const Limits& limits) {
  auto source = kGifCodec.open(mapped(file), limits);
  if (!source) {
    ADD_FAILURE() << source.error().message;
    return nullptr;
  }
  return *std::move(source);
}

Result<std::string> tryPixels(const std::string& file, std::size_t frame) {
  const auto source = kGifCodec.open(mapped(file), {});
  if (!source) return source.error();
  if (frame >= (*source)->count()) return Error{"no such frame"};
  const auto image = (*source)->image(frame);
  if (!image) return image.error();
  const auto read = readAllPixels(*image);
  if (!read) return read.error();
  return std::string(reinterpret_cast<const char*>(read->data()), read->size());
}

std::string pixels(const std::string& file, std::size_t frame) {
  const auto read = tryPixels(file, frame);
  if (!read) {
    ADD_FAILURE() << read.error().message;
    return "";
  }
  return *read;
}

Result<std::string> tryRewrite(const std::string& file, const Adjust& adjust) {
  auto source = kGifCodec.open(mapped(file), {});
  if (!source) return std::move(source).error();
  if (auto writable = (*source)->writable(); !writable) return std::move(writable).error();
  const FileDescriptor descriptor(::memfd_create("gif", MFD_CLOEXEC));
  EXPECT_GE(descriptor.get(), 0);
  OutputFile out(descriptor.get());
  auto writer = kGifCodec.createWriter(out, (*source)->count(), {});
  if (!writer) return std::move(writer).error();
  for (std::size_t frame = 0; frame < (*source)->count(); ++frame) {
    auto image = (*source)->image(frame);
    if (!image) return std::move(image).error();
    const auto properties = (*source)->properties(frame);
    if (!properties) return properties.error();
    if (auto added = (*writer)->addImage(adjust(*image, frame), **properties); !added) {
      return std::move(added).error();
    }
  }
  if (auto finished = (*writer)->finish(); !finished) return std::move(finished).error();
  std::string written(out.size(), '\0');
  if (auto sought = out.seek(0); !sought) return std::move(sought).error();
  const auto got = out.read(std::as_writable_bytes(std::span(written)));
  if (!got) return got.error();
  EXPECT_EQ(*got, written.size());
  return written;
}

std::string rewrite(const std::string& file, const Adjust& adjust) {
  auto written = tryRewrite(file, adjust);
  if (!written) {
    ADD_FAILURE() << written.error().message;
    return "";
  }
  return *written;
}

namespace {

template <typename Map>
CGImage mappedColors(const CGImage& image, Map map) {
  Palette palette = *image.palette;
  for (auto& entry : palette) {
    for (std::size_t c = 0; c < 3; ++c) entry[c] = entry[3] == 0 ? std::uint8_t{0} : map(entry[c]);
  }
  CGImage result = image;
  result.palette = std::make_shared<const Palette>(std::move(palette));
  return result;
}

}  // namespace

CGImage unchanged(const CGImage& image, std::size_t) { return image; }

CGImage negated(const CGImage& image, std::size_t) {
  return mappedColors(image,
                      [](std::uint8_t level) { return static_cast<std::uint8_t>(255 - level); });
}

CGImage shifted(const CGImage& image, std::size_t frame) {
  return mappedColors(
      image, [&](std::uint8_t level) { return static_cast<std::uint8_t>(level + 64 * frame + 4); });
}

std::string coalescedByOtherTool(const std::string& file, std::string_view operation) {
  const test::TemporaryDirectory directory;
  test::writeFile(directory.path("in.gif"), file);
  test::run(kOneThread + "convert '" + directory.path("in.gif") + "' -coalesce " +
            std::string(operation) + " -background none -alpha background -depth 8 'rgba:" +
            directory.path("out.raw") + "'");
  return test::readFile(directory.path("out.raw"));
}

std::string animation(const std::string& options, const std::string& size) {
  const test::TemporaryDirectory directory;
  std::string frames;
  for (const char* const seed : {"1", "2", "3"}) {
    frames += " \\( -size " + size + " -seed " + seed + " plasma:fractal \\)";
  }
  test::run(kOneThread + "convert -delay 7 -loop 5" + frames + " " + options +
            " 'gif:" + directory.path("a.gif") + "'");
  return test::readFile(directory.path("a.gif"));
}

}  // namespace kelvo::gif_test
