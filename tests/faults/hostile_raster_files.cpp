#include <zlib.h>

#include <stdexcept>

#include "tests/faults/hostile_bytes.h"
#include "tests/faults/hostile_files.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

// So many zero bytes, deflated.
std::string deflatedZeros(std::size_t count) {
  std::string text;
  z_stream stream = {};
  if (deflateInit(&stream, 9) != Z_OK) throw std::runtime_error("deflateInit");
  std::string zeros(std::size_t{1} << 20, '\0');
  std::string piece(std::size_t{1} << 16, '\0');
  int status = Z_OK;
  while (status != Z_STREAM_END) {
    if (stream.avail_in == 0 && count > 0) {
      stream.next_in = reinterpret_cast<Bytef*>(zeros.data());
      stream.avail_in = static_cast<uInt>(std::min(count, zeros.size()));
      count -= stream.avail_in;
    }
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = static_cast<uInt>(piece.size());
    status = deflate(&stream, count == 0 && stream.avail_in == 0 ? Z_FINISH : Z_NO_FLUSH);
    text.append(piece, 0, piece.size() - stream.avail_out);
  }
  deflateEnd(&stream);
  return text;
}

// More than the program may take in all.
const std::string& bomb() {
  static const std::string bytes = deflatedZeros(std::size_t{256} << 20U);
  return bytes;
}

// ---- PNG

std::string chunk(const std::string& type, const std::string& data) {
  const std::string checked = type + data;
  const auto sum =
      ::crc32(0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<uInt>(checked.size()));
  return big(data.size(), 4) + checked + big(sum, 4);
}

std::string png(std::uint32_t width, std::uint32_t height, const std::string& data,
                const std::string& before = {}, int depth = 8, int interlaced = 0) {
  return "\x89PNG\r\n\x1a\n" +
         chunk("IHDR", big(width, 4) + big(height, 4) + big(static_cast<unsigned>(depth), 1) +
                           big(2, 1) + big(0, 2) + big(static_cast<unsigned>(interlaced), 1)) +
         before + chunk("IDAT", data) + chunk("IEND", "");
}

std::string frameControl(std::uint32_t number) {
  return chunk("fcTL", big(number, 4) + big(1, 4) + big(1, 4) + big(0, 8) + big(1, 2) + big(10, 2) +
                           big(0, 2));
}

std::string animatedPng(std::uint32_t announced, std::uint32_t frames) {
  const std::string pixel = deflatedZeros(4);
  std::string rest = {};
  std::uint32_t number = 1;
  for (std::uint32_t i = 1; i < frames; ++i) {
    rest += frameControl(number++);
    rest += chunk("fdAT", big(number++, 4) + pixel);
  }
  std::string file =
      png(1, 1, pixel, chunk("acTL", big(announced, 4) + big(0, 4)) + frameControl(0));
  file.insert(file.size() - 12, rest);
  return file;
}

// ---- GIF

std::string gif(std::uint32_t width, std::uint32_t height, const std::string& blocks) {
  return "GIF89a" + little(width, 2) + little(height, 2) + std::string("\x80\0\0", 3) +
         std::string("\0\0\0\xff\xff\xff", 6) + blocks + ";";
}

std::string gifFrame(std::uint32_t width, std::uint32_t height, const std::string& codes) {
  return "," + little(0, 4) + little(width, 2) + little(height, 2) + std::string(1, '\0') + "\x02" +
         little(codes.size(), 1) + codes + std::string(1, '\0');
}

// Clear, one pixel of colour 0, end.
const std::string kOnePixel = "\x44\x01";

// ---- BMP

struct Bmp {
  std::uint32_t width = 1;
  std::uint32_t height = 1;
  std::uint32_t depth = 24;
  std::uint32_t compression = 0;
  std::uint32_t colors = 0;
  std::uint32_t offset = 0;  // 0: right behind the head
  std::string rest = {};
};

std::string bmp(const Bmp& content) {
  return "BM" + little(54 + content.rest.size(), 4) + little(0, 4) +
         little(content.offset != 0 ? content.offset : 54, 4) + little(40, 4) +
         little(content.width, 4) + little(content.height, 4) + little(1, 2) +
         little(content.depth, 2) + little(content.compression, 4) + little(0, 12) +
         little(content.colors, 4) + little(0, 4) + content.rest;
}

// ---- WebP

std::string riff(const std::string& type, const std::string& data) {
  return type + little(data.size(), 4) + data + std::string(data.size() % 2, '\0');
}

std::string webp(const std::string& chunks) { return riff("RIFF", "WEBP" + chunks); }

// The head of a lossless picture and nothing that follows it.
std::string losslessHead(std::uint32_t width, std::uint32_t height) {
  return "\x2f" + little((width - 1) | (height - 1) << 14U, 4) + std::string(8, '\0');
}

std::string extended(int flags, std::uint32_t width, std::uint32_t height) {
  return riff("VP8X", little(static_cast<unsigned>(flags), 4) + little(width - 1, 3) +
                          little(height - 1, 3));
}

// ---- JPEG

std::string jpegSample() {
  return readFile(std::string(KELVO_SOURCE_DIR) + "/resources/samples/still-life.jpg");
}

// Without metadata, coded anew.
std::string recoded(const std::string& mode) {
  const TemporaryDirectory directory;
  writeFile(directory.path("a.jpg"), jpegSample());
  run("jpegtran " + mode + " -copy none -outfile " + directory.path("b.jpg") + " " +
      directory.path("a.jpg"));
  return readFile(directory.path("b.jpg"));
}

// Where the marker segment of a picture begins.
std::size_t findMarker(const std::string& file, const std::string& markers) {
  std::size_t at = 2;
  while (at + 4 < file.size()) {
    if (markers.find(file[at + 1]) != std::string::npos) return at;
    at += 2 + static_cast<std::size_t>(static_cast<unsigned char>(file[at + 2])) * 256 +
          static_cast<unsigned char>(file[at + 3]);
  }
  throw std::runtime_error("no such marker");
}

std::string withSize(std::string file, std::uint32_t width, std::uint32_t height) {
  const std::size_t frame = findMarker(file, "\xc0\xc2");
  return file.replace(frame + 5, 4, big(height, 2) + big(width, 2));
}

std::string withSegment(std::string file, char marker, const std::string& data) {
  return file.insert(2, std::string("\xff") + marker + big(data.size() + 2, 2) + data);
}

// Only what comes before the first scan's data, a little of that, and the end.
std::string withLittleData(const std::string& file) {
  const std::size_t scan = findMarker(file, "\xda");
  return file.substr(0, scan + 40) + "\xff\xd9";
}

}  // namespace

std::vector<HostileFile> hostilePngs() {
  const std::string onePixel = deflatedZeros(4);
  std::vector<HostileFile> files = {
      {"no_width", [=] { return png(0, 1, onePixel); }, "a picture of 0 x 1 pixels makes no sense"},
      {"no_height", [=] { return png(1, 0, onePixel); },
       "a picture of 1 x 0 pixels makes no sense"},
      {"width_2_to_31", [=] { return png(0x80000000U, 1, onePixel); },
       "a picture of 2147483648 x 1 pixels makes no sense"},
      {"largest_sides", [=] { return png(0x7FFFFFFFU, 0x7FFFFFFFU, onePixel); },
       "a picture of 2147483647 x 2147483647 pixels is over the limit of 1000000000 "
       "(--max-pixels)"},
      {"sides_of_65535", [=] { return png(65535, 65535, onePixel); },
       "a picture of 65535 x 65535 pixels is over the limit of 1000000000 (--max-pixels)"},
      {"sides_of_30000", [=] { return png(30000, 30000, onePixel); },
       "the picture data is damaged: Not enough image data"},
      {"sides_of_30000_interlaced", [=] { return png(30000, 30000, onePixel, {}, 8, 1); },
       "an interlaced picture of 30000 x 30000 pixels takes 2701440000 bytes of memory, over the "
       "limit of 134217728 (--max-memory)"},
      {"one_long_row", [=] { return png(1'000'000'000, 1, onePixel); },
       "a picture of 1000000000 x 1 pixels takes 48000000000 bytes of memory, over the limit of "
       "134217728 (--max-memory)"},
      {"data_bomb", [=] { return png(1, 1, bomb()); },
       "the picture data is damaged: IDAT: Too much image data"},
      {"profile_bomb",
       [=] { return png(1, 1, onePixel, chunk("iCCP", std::string("p\0\0", 3) + bomb())); }, ""},
      {"text_bomb",
       [=] { return png(1, 1, onePixel, chunk("zTXt", std::string("t\0\0", 3) + bomb())); }, ""},
      {"international_text_bomb",
       [=] { return png(1, 1, onePixel, chunk("iTXt", std::string("t\0\1\0\0\0", 6) + bomb())); },
       ""},
      {"ten_thousand_and_one_frames", [=] { return animatedPng(10001, 10001); },
       "the file has 10001 frames, over the limit of 10000 (--max-frames)"},
      {"four_billion_frames_announced", [=] { return animatedPng(0xFFFFFFFFU, 1); },
       "the animation has 1 frames and announces 4294967295"},
      {"hundred_thousand_frames", [=] { return animatedPng(100'000, 100'000); },
       "the file has 100000 frames, over the limit of 10000 (--max-frames)"},
      {"million_chunks",
       [=] { return png(1, 1, onePixel, repeated(chunk("prVt", ""), 1'100'000)); },
       "it has more than a million chunks"},
  };
  return files;
}

std::vector<HostileFile> hostileGifs() {
  return {
      {"no_size", [=] { return gif(0, 0, gifFrame(0, 0, kOnePixel)); }, "frame 0 has no pixels"},
      {"sides_of_65535", [=] { return gif(65535, 65535, gifFrame(65535, 65535, kOnePixel)); },
       "a picture of 65535 x 65535 pixels is over the limit of 1000000000 (--max-pixels)"},
      {"sides_of_30000", [=] { return gif(30000, 30000, gifFrame(30000, 30000, kOnePixel)); },
       "the picture data ends early"},
      {"million_frames", [=] { return gif(1, 1, repeated(gifFrame(1, 1, kOnePixel), 1'000'000)); },
       "the file has more than the 10000 frames allowed (--max-frames)"},
      {"million_comments",
       [=] {
         return gif(1, 1,
                    repeated(std::string("!\xfe\1c\0", 5), 1'000'000) + gifFrame(1, 1, kOnePixel));
       },
       ""},
      {"large_frames",
       [=] { return gif(20000, 20000, repeated(gifFrame(20000, 20000, kOnePixel), 1000)); },
       "the picture data ends early"},
  };
}

std::vector<HostileFile> hostileBmps() {
  return {
      {"no_width", [=] { return bmp({.width = 0, .rest = std::string(4, '\0')}); },
       "a picture of 0 x 1 pixels makes no sense"},
      {"no_height", [=] { return bmp({.height = 0, .rest = std::string(4, '\0')}); },
       "a picture of 1 x 0 pixels makes no sense"},
      {"negative_width", [=] { return bmp({.width = 0x80000000U, .rest = std::string(4, '\0')}); },
       "a picture of 2147483648 x 1 pixels makes no sense"},
      {"lowest_height", [=] { return bmp({.height = 0x80000000U, .rest = std::string(4, '\0')}); },
       "a picture of 1 x 2147483648 pixels makes no sense"},
      {"largest_sides",
       [=] {
         return bmp({.width = 0x7FFFFFFFU, .height = 0x7FFFFFFFU, .rest = std::string(4, '\0')});
       },
       "a picture of 2147483647 x 2147483647 pixels is over the limit of 1000000000 "
       "(--max-pixels)"},
      {"row_bytes_overflow",
       [=] { return bmp({.width = 0x55555556U, .rest = std::string(4, '\0')}); },
       "a picture of 1431655766 x 1 pixels is over the limit of 1000000000 (--max-pixels)"},
      {"sides_of_30000",
       [=] { return bmp({.width = 30000, .height = 30000, .rest = std::string(4, '\0')}); },
       "the file has 58 of its 2700000054 bytes"},
      {"runs_of_30000_by_30000",
       [=] {
         return bmp({.width = 30000,
                     .height = 30000,
                     .depth = 8,
                     .compression = 1,
                     .colors = 1,
                     .offset = 58,
                     .rest = std::string("\0\0\0\0\xff\0\0\1", 8)});
       },
       "a picture of 30000 x 30000 pixels takes 900960000 bytes of memory, over the limit of "
       "134217728 (--max-memory)"},
      {"four_billion_colors",
       [=] { return bmp({.depth = 8, .colors = 0xFFFFFFFFU, .rest = std::string(1028, '\0')}); },
       "there is room for 0 of the 4294967295 colours of the table"},
      {"pixels_beyond_the_end",
       [=] { return bmp({.offset = 0xFFFFFFFFU, .rest = std::string(4, '\0')}); },
       "the file has 58 of its 4294967299 bytes"},
  };
}

std::vector<HostileFile> hostileWebps() {
  const std::string head = losslessHead(1, 1);
  const auto frame = [=](std::uint32_t width, std::uint32_t height) {
    return riff("ANMF", little(0, 6) + little(width - 1, 3) + little(height - 1, 3) + little(1, 3) +
                            little(0, 1) + riff("VP8L", losslessHead(width, height)));
  };
  const std::string animation = riff("ANIM", little(0, 6));
  return {
      {"largest_lossless", [=] { return webp(riff("VP8L", losslessHead(16384, 16384))); },
       "a picture of 16384 x 16384 pixels takes 2415919104 bytes of memory, over the limit of "
       "134217728 (--max-memory)"},
      {"largest_canvas",
       [=] {
         return webp(extended(0, 1 << 24, 1 << 24) + riff("VP8L", losslessHead(16384, 16384)));
       },
       "a picture of 16384 x 16384 pixels stands in a file of 16777216 x 16777216"},
      {"canvas_over_32_bits",
       [=] { return webp(extended(0x10, 65536, 65536) + riff("VP8L", head)); },
       "a picture of 1 x 1 pixels stands in a file of 65536 x 65536"},
      {"four_gigabytes_announced",
       [=] { return "RIFF\xff\xff\xff\xffWEBPVP8L" + little(0xFFFFFFFFU, 4) + head; },
       "the file has 33 of its 4294967303 bytes"},
      {"million_frames",
       [=] { return webp(extended(2, 1, 1) + animation + repeated(frame(1, 1), 1'000'000)); },
       "the file has more than the 10000 frames allowed (--max-frames)"},
      {"large_frames",
       [=] {
         return webp(extended(2, 16384, 16384) + animation + repeated(frame(16384, 16384), 1000));
       },
       "a picture of 16384 x 16384 pixels takes 2415919104 bytes of memory, over the limit of "
       "134217728 (--max-memory)"},
      {"million_chunks",
       [=] {
         return webp(extended(0, 1, 1) + riff("VP8L", head) +
                     repeated(riff("prVt", ""), 1'000'000));
       },
       "the picture data is damaged"},
      {"huge_lossy",
       [=] {
         return webp(riff("VP8 ", std::string("\x10\0\0\x9d\x01\x2a\xff\x3f\xff\x3f", 10) +
                                      std::string(16, '\0')));
       },
       "a picture of 16383 x 16383 pixels takes 1073610756 bytes of memory, over the limit of "
       "134217728 (--max-memory)"},
  };
}

std::vector<HostileFile> hostileJpegs() {
  const std::string sample = recoded("");
  const std::string progressive = recoded("-progressive");
  const std::size_t scan = findMarker(progressive, "\xda");
  // The first scan's head, again and again, each time over the whole picture.
  std::string scans;
  {
    const std::size_t data = progressive.find("\xff\xc4", scan);  // the next tables
    const std::string first = progressive.substr(scan, data - scan);
    scans = progressive.substr(0, scan) + repeated(first, 2000) + progressive.substr(data);
  }
  // An index of pictures whose second one begins where the first does.
  const std::string tiff = std::string("MM\0\x2a\0\0\0\x08", 8) + big(3, 2);
  const auto field = [](unsigned tag, unsigned type, unsigned count, const std::string& value) {
    return big(tag, 2) + big(type, 2) + big(count, 4) + value;
  };
  const auto index = [=](std::uint32_t pictures, std::uint32_t size, std::uint32_t offset) {
    std::string entries = big(0x20030000U, 4) + big(sample.size(), 4) + big(0, 8);
    entries += big(0, 4) + big(size, 4) + big(offset, 4) + big(0, 4);
    return std::string("MPF\0", 4) + tiff + field(0xB000, 7, 4, "0100") +
           field(0xB001, 4, 1, big(pictures, 4)) + field(0xB002, 7, 16 * pictures, big(50, 4)) +
           big(0, 4) + entries;
  };
  // A directory of the thumbnail that is the first one again.
  const std::string circle = std::string("Exif\0\0", 6) + "II\x2a" + std::string(1, '\0') +
                             little(8, 4) + little(1, 2) + little(0x010F, 2) + little(2, 2) +
                             little(2, 4) + little('a', 4) + little(8, 4);
  return {
      {"no_width", [=] { return withSize(sample, 0, 10); },
       "its header cannot be read: empty JPEG image (DNL not supported)"},
      {"no_height", [=] { return withSize(sample, 10, 0); },
       "its height is given after the pixels, which is not supported"},
      {"sides_of_65535", [=] { return withSize(sample, 65535, 65535); },
       "it has 4294836225 pixels, more than the 1000000000 allowed (--max-pixels)"},
      {"sides_of_65500", [=] { return withLittleData(withSize(sample, 65500, 65500)); },
       "it has 4290250000 pixels, more than the 1000000000 allowed (--max-pixels)"},
      {"sides_of_30000", [=] { return withLittleData(withSize(sample, 30000, 30000)); },
       "the picture data is damaged: premature end of data segment"},
      {"sides_of_30000_progressive",
       [=] { return withLittleData(withSize(progressive, 30000, 30000)); },
       "a progressive picture of this size takes 6867 MiB of memory, more than the 128 MiB allowed "
       "(--max-memory)"},
      {"sides_of_8000_progressive",
       [=] { return withLittleData(withSize(progressive, 8000, 8000)); },
       "a progressive picture of this size takes 489 MiB of memory, more than the 128 MiB allowed "
       "(--max-memory)"},
      {"two_thousand_scans", [=] { return scans; }, "it has more than 500 scans"},
      {"pictures_in_a_circle", [=] { return withSegment(sample, '\xe2', index(2, 100, 0)); },
       "its index of further pictures (multi-picture) is damaged"},
      {"four_billion_pictures",
       [=] { return withSegment(sample, '\xe2', index(0xFFFFFFFFU, 100, 0)); },
       "its index of further pictures (multi-picture) is damaged"},
      {"thumbnail_directories_in_a_circle", [=] { return withSegment(sample, '\xe1', circle); },
       ""},
      {"million_comments",
       [=] {
         std::string file = sample;
         return file.insert(2, repeated(std::string("\xff\xfe\0\3c", 5), 1'000'000));
       },
       "it has more than 65536 segments of metadata"},
  };
}

}  // namespace kelvo::test
