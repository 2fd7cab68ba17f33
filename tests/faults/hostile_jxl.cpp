#include <brotli/encode.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "tests/faults/hostile_bytes.h"
#include "tests/faults/hostile_files.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

// Numbers as a codestream packs them, the lowest bit first.
class Bits {
 public:
  Bits& add(std::uint64_t value, unsigned bits) {
    for (unsigned i = 0; i < bits; ++i, ++count_) {
      if (count_ % 8 == 0) bytes_ += '\0';
      if ((value >> i & 1U) != 0) {
        bytes_.back() =
            static_cast<char>(static_cast<unsigned char>(bytes_.back()) | 1U << (count_ % 8));
      }
    }
    return *this;
  }
  // A side in the last of a frame's four ranges, or in the first.
  Bits& addSide(std::uint32_t side) {
    return side < 256 ? add(0, 2).add(side, 8) : add(3, 2).add(side - 18688, 30);
  }
  Bits& align() {
    count_ = bytes_.size() * 8;
    return *this;
  }
  [[nodiscard]] const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::size_t count_ = 0;
};

// What comes before the frames: 8 bits a sample, sRGB, modular.
struct Head {
  std::uint32_t width = 1;
  std::uint32_t height = 1;
  bool animated = false;
  std::uint32_t channels = 0;  // besides the colours
};

std::string head(const Head& content) {
  Bits bits;
  bits.add(0, 1).add(3, 2).add(content.height - 1, 30);
  bits.add(0, 3).add(3, 2).add(content.width - 1, 30);
  bits.add(0, 1).add(content.animated ? 1 : 0, 1);
  // 100 ticks a second, endless.
  if (content.animated) bits.add(0, 3 + 1 + 1).add(1, 1).add(0, 2 + 2 + 2 + 1);
  bits.add(0, 1 + 2).add(1, 1);
  if (content.channels == 0) {
    bits.add(0, 2);
  } else {
    bits.add(3, 2).add(content.channels - 1, 12);
  }
  for (std::uint32_t i = 0; i < content.channels; ++i) bits.add(1, 1);  // alpha
  bits.add(0, 1).add(1, 1);
  if (content.animated) bits.add(1, 1);
  bits.add(0, 2).add(1, 1);
  return "\xff\x0a" + bits.bytes();
}

// A tree of one leaf and codes of one symbol, which takes no bits: all samples are 0.
std::string zeros() {
  Bits bits;
  bits.add(1, 1).add(1, 1);
  bits.add(0, 1).add(1, 1).add(0, 2).add(1, 1).add(0, 4 + 1);
  bits.add(0, 1).add(1, 1).add(0, 4 + 1);
  bits.add(3, 2).add(0, 2);
  return bits.bytes();
}

// The table of contents and the data of zeros in groups of 1024, `most` entries of it.
std::string contents(Bits bits, std::uint64_t width, std::uint64_t height, std::size_t most) {
  const auto groups = [=](std::uint64_t side) {
    return ((width + side - 1) / side) * ((height + side - 1) / side);
  };
  std::vector<std::size_t> sizes = {zeros().size()};
  if (groups(1024) > 1) sizes.resize(std::min(most, 2 + groups(8192) + groups(1024)), 1);
  bits.add(0, 1).align();
  for (const std::size_t size : sizes) bits.add(0, 2).add(size, 10);
  return bits.bytes() + zeros() + std::string(sizes.size() - 1, '\3');
}

std::string frame(bool last, const Head& content = {}) {
  Bits bits;
  bits.add(0, 1 + 2).add(1, 1).add(0, 2 + 1 + 2);
  for (std::uint32_t i = 0; i < content.channels; ++i) bits.add(0, 2);
  bits.add(3, 2).add(0, 2 + 1 + 2);
  for (std::uint32_t i = 0; i < content.channels; ++i) bits.add(0, 2);
  if (content.animated) bits.add(1, 2);
  bits.add(last ? 1 : 0, 1);
  if (!last) bits.add(0, content.animated ? 2 : 3);
  bits.add(0, 2).add(1, 1).add(0, 2);
  return contents(bits, content.width, content.height, SIZE_MAX);
}

std::string still(const Head& content) { return head(content) + frame(true, content); }

// A frame that pictures only refer to.
std::string hiddenFrame(std::uint32_t side, std::size_t most = SIZE_MAX) {
  Bits bits;
  bits.add(0, 1).add(2, 2).add(1, 1).add(0, 2 + 1 + 2).add(3, 2);
  bits.add(1, 1).addSide(side).addSide(side);
  bits.add(1, 2).add(1, 1).add(0, 2).add(1, 1).add(0, 2);
  return contents(bits, side, side, most);
}

std::string onePixel() { return still({}); }

std::string animation(std::size_t frames) {
  const Head content = {.animated = true};
  return head(content) + repeated(frame(false, content), frames - 1) + frame(true, content);
}

std::string box(const std::string& type, const std::string& payload) {
  return big(payload.size() + 8, 4) + type + payload;
}

std::string container(const std::string& boxes) {
  return box("JXL ", "\r\n\x87\n") + box("ftyp", "jxl " + big(0, 4) + "jxl ") + boxes;
}

std::string picture() { return box("jxlc", onePixel()); }

std::string compressed(const std::string& type, const std::string& content) {
  std::size_t size = BrotliEncoderMaxCompressedSize(content.size());
  std::string data(size, '\0');
  if (BrotliEncoderCompress(5, BROTLI_MAX_WINDOW_BITS, BROTLI_MODE_GENERIC, content.size(),
                            reinterpret_cast<const std::uint8_t*>(content.data()), &size,
                            reinterpret_cast<std::uint8_t*>(data.data())) == BROTLI_FALSE) {
    throw std::runtime_error("brotli");
  }
  return box("brob", type + data.substr(0, size));
}

std::string bomb(const std::string& type, std::size_t mebibytes) {
  return compressed(type, std::string(mebibytes << 20U, '\0'));
}

// A JPEG packed by another program, with its Exif replaced by a bomb.
std::string packedJpegWithBomb() {
  const TemporaryDirectory directory;
  const std::string source = std::string(KELVO_SOURCE_DIR) + "/resources/samples/still-life.jpg";
  run("cjxl '" + source + "' '" + directory.path("packed.jxl") + "' --quiet --lossless_jpeg=1");
  const std::string file = readFile(directory.path("packed.jxl"));
  const std::size_t stream = file.find("jxl", 32);
  return file.substr(0, stream - 4) + bomb("Exif", 256) + file.substr(stream - 4);
}

std::vector<HostileFile> hostileStreams() {
  return {
      {"one_pixel", [] { return onePixel(); }, ""},
      {"sides_of_2_to_30",
       [] { return head({.width = 1U << 30U, .height = 1U << 30U}) + frame(true); },
       "it has 1152921504606846976 pixels, more than the 1000000000 allowed (--max-pixels)"},
      {"sides_of_30000", [] { return still({.width = 30000, .height = 30000}); },
       "a picture of 30000 x 30000 pixels takes 28800000000 bytes of memory, over the limit of "
       "134217728 (--max-memory)"},
      {"one_long_row", [] { return still({.width = 1'000'000'000}); }, "its headers are damaged"},
      {"contents_missing", [] { return head({.width = 30000, .height = 30000}) + frame(true); },
       "it ends before its first picture"},
      {"referring_to_sides_of_30000", [] { return head({}) + hiddenFrame(30000) + frame(true); },
       "a picture of 1 x 1 pixels that refers to one of 900000000 takes 86400000032 bytes of "
       "memory, over the limit of 134217728 (--max-memory)"},
      {"referring_to_sides_of_2_to_30",
       [] { return head({}) + hiddenFrame(1U << 30U, 5000) + frame(true); },
       "its headers are damaged"},
      {"ten_thousand_frames", [] { return animation(10'000); }, ""},
      {"million_frames", [] { return animation(1'000'000); },
       "it has more than the 10000 pictures allowed (--max-frames)"},
      {"million_frames_that_are_no_pictures",
       [] { return head({}) + repeated(hiddenFrame(1), 1'000'000) + frame(true); },
       "it has more than the 10000 pictures allowed (--max-frames)"},
      {"endless_animation",
       [] { return head({.animated = true}) + repeated(frame(false, {.animated = true}), 100); },
       "the file ends inside a picture"},
      {"most_channels", [] { return still({.channels = 4096}); },
       "channels besides colour and alpha cannot be written back"},
  };
}

std::vector<HostileFile> hostileContainers() {
  return {
      {"boxes_of_one_pixel", [] { return container(picture()); }, ""},
      {"box_past_the_end", [] { return container(picture() + big(0x7FFFFFFFU, 4) + "xml "); },
       "the file ends inside the box 'xml '"},
      {"box_of_all_bytes", [] { return container(picture() + big(1, 4) + "xml " + big(~0ULL, 8)); },
       "the file ends inside the box 'xml '"},
      {"box_without_its_long_length", [] { return container(picture() + big(1, 4) + "xml "); },
       "a few bytes are left after its last box"},
      {"box_with_a_long_length_of_one",
       [] { return container(big(1, 4) + "xml " + big(1, 8) + picture()); },
       "the box 'xml ' has no sensible size"},
      {"box_shorter_than_its_head", [] { return container(big(3, 4) + "xml " + picture()); },
       "the box 'xml ' has no sensible size"},
      {"endless_box_before_the_picture", [] { return container(big(0, 4) + "xml " + picture()); },
       "it has no codestream"},
      {"picture_past_the_end",
       [] { return container(big(onePixel().size() + 9, 4) + "jxlc" + onePixel()); },
       "the file ends inside the box 'jxlc'"},
      {"picture_of_no_bytes", [] { return container(box("jxlc", "")); },
       "it ends before its first picture"},
      {"container_in_a_container", [] { return container(box("jxlc", container(picture()))); },
       "its codestream does not begin as one"},
      {"two_pictures", [] { return container(picture() + picture()); },
       "it has more than one codestream"},
      {"million_parts",
       [] {
         std::string parts;
         for (std::uint32_t i = 0; i < 900'000; ++i) parts += box("jxlp", big(i, 4));
         return container(parts + box("jxlp", big(0x80000000U + 900'000, 4) + onePixel()));
       },
       ""},
      {"parts_of_no_bytes", [] { return container(box("jxlp", "") + picture()); },
       "it has more than one codestream"},
      {"part_without_a_number", [] { return container(box("jxlp", "\x80")); },
       "the parts of its codestream are not in order"},
      {"million_boxes", [] { return container(picture() + repeated(box("xml ", ""), 1'100'000)); },
       "it has more than a million boxes"},
      {"bomb_of_metadata", [] { return container(bomb("Exif", 256) + picture()); },
       "a compressed box is too large"},
      {"smaller_bomb_of_metadata", [] { return container(bomb("Exif", 60) + picture()); }, ""},
      {"bomb_of_text", [] { return container(bomb("xml ", 256) + picture()); }, ""},
      {"compressed_box_in_itself",
       [] {
         std::string inner = box("xml ", "");
         for (int i = 0; i < 1000; ++i) inner = compressed("brob", inner);
         return container(inner + picture());
       },
       ""},
      {"compressed_box_of_no_bytes", [] { return container(box("brob", "") + picture()); }, ""},
      {"compressed_picture", [] { return container(compressed("jxlc", onePixel())); },
       "it has no codestream"},
      {"compressed_reconstruction",
       [] { return container(compressed("jbrd", onePixel()) + picture()); },
       "the JPEG that it holds cannot be put together again"},
      {"reconstruction_of_nothing", [] { return container(box("jbrd", "") + picture()); },
       "the JPEG that it holds cannot be put together again"},
      {"bomb_of_metadata_in_a_packed_jpeg", packedJpegWithBomb, "a compressed box is too large"},
  };
}

}  // namespace

std::vector<HostileFile> hostileJxls() {
  std::vector<HostileFile> files = hostileStreams();
  std::ranges::move(hostileContainers(), std::back_inserter(files));
  return files;
}

}  // namespace kelvo::test
