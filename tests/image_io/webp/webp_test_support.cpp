#include "tests/image_io/webp/webp_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace kelvo::webp_test {
namespace {

std::size_t number(const Bytes& bytes, std::size_t at) {
  std::size_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value |= std::to_integer<std::size_t>(bytes.at(at + i)) << 8 * i;
  }
  return value;
}

Bytes tail(const Bytes& bytes, std::size_t from) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end()};
}

}  // namespace

Bytes chunkBytes(const Chunk& chunk) {
  return concat({fromText(chunk.type), littleEndian(chunk.data.size(), 4), chunk.data,
                 Bytes(chunk.data.size() % 2)});
}

Bytes riff(const std::vector<Chunk>& chunks) {
  Bytes content = fromText("WEBP");
  for (const Chunk& chunk : chunks) content = concat({content, chunkBytes(chunk)});
  return concat({fromText("RIFF"), littleEndian(content.size(), 4), content});
}

std::vector<Chunk> chunksInside(const Bytes& data) {
  std::vector<Chunk> chunks;
  std::size_t at = 0;
  while (at < data.size()) {
    if (at + 8 > data.size() || at + 8 + number(data, at + 4) > data.size()) {
      ADD_FAILURE() << "a chunk reaches past the end";
      break;
    }
    const std::size_t length = number(data, at + 4);
    Chunk chunk;
    for (std::size_t i = 0; i < 4; ++i) chunk.type += static_cast<char>(data[at + i]);
    chunk.data = tail(data, at + 8);
    chunk.data.resize(length);
    chunks.push_back(chunk);
    at += 8 + length + length % 2;
  }
  EXPECT_EQ(at, data.size());
  return chunks;
}

std::vector<Chunk> chunksOf(const Bytes& file) {
  EXPECT_GE(file.size(), 12U);
  if (file.size() < 12) return {};
  EXPECT_EQ(number(file, 4) + 8, file.size());
  return chunksInside(tail(file, 12));
}

Chunk chunkOf(const Bytes& file, std::string_view type) {
  for (const Chunk& chunk : chunksOf(file)) {
    if (chunk.type == type) return chunk;
  }
  ADD_FAILURE() << "there is no chunk " << type;
  return {};
}

std::vector<std::string> names(const std::vector<Chunk>& chunks) {
  std::vector<std::string> result;
  for (const Chunk& chunk : chunks) result.push_back(chunk.type);
  return result;
}

std::vector<Chunk> withoutPixels(std::vector<Chunk> chunks) {
  for (Chunk& chunk : chunks) {
    if (chunk.type == "VP8 " || chunk.type == "VP8L" || chunk.type == "ALPH") chunk.data.clear();
    if (chunk.type == "ANMF") {
      Bytes content(chunk.data.begin(), chunk.data.begin() + 16);
      for (const Chunk& part : withoutPixels(chunksInside(tail(chunk.data, 16)))) {
        content = concat({content, chunkBytes(part)});
      }
      chunk.data = content;
    }
  }
  return chunks;
}

Chunk extended(unsigned flags, unsigned width, unsigned height) {
  return {"VP8X", concat({littleEndian(flags, 4), littleEndian(width - 1, 3),
                          littleEndian(height - 1, 3)})};
}

Chunk animation(unsigned loops) {
  return {"ANIM", concat({fromHex("11223344"), littleEndian(loops, 2)})};
}

Chunk animationFrame(unsigned x, unsigned y, unsigned width, unsigned height,
                     const std::vector<Chunk>& content, unsigned milliseconds, unsigned flags) {
  Bytes data =
      concat({littleEndian(x / 2, 3), littleEndian(y / 2, 3), littleEndian(width - 1, 3),
              littleEndian(height - 1, 3), littleEndian(milliseconds, 3), littleEndian(flags, 1)});
  for (const Chunk& part : content) data = concat({data, chunkBytes(part)});
  return {"ANMF", data};
}

Bytes encoded(const std::string& picture, const std::string& options) {
  const TemporaryFolder folder;
  run("convert " + picture + " -depth 8 " + folder.path("in.png"));
  run("cwebp -quiet " + options + " " + folder.path("in.png") + " -o " + folder.path("out.webp"));
  return readFile(folder.path("out.webp"));
}

std::string plasma(unsigned width, unsigned height, unsigned seed) {
  return "-size " + std::to_string(width) + "x" + std::to_string(height) + " -seed " +
         std::to_string(seed) + " plasma:fractal";
}

std::string translucent(unsigned width, unsigned height) {
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  return plasma(width, height) + " \\( -size " + size +
         " gradient:black-white \\) -alpha off -compose CopyOpacity -composite";
}

Chunk picture(unsigned width, unsigned height, const std::string& options, unsigned seed) {
  return chunksOf(encoded(plasma(width, height, seed), options)).back();
}

Bytes decodedByDwebp(const Bytes& file) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.webp"), file);
  run("dwebp -quiet " + folder.path("in.webp") + " -pam -o " + folder.path("out.pam"));
  const Bytes pam = readFile(folder.path("out.pam"));
  const Bytes mark = fromText("ENDHDR\n");
  const auto end = std::search(pam.begin(), pam.end(), mark.begin(), mark.end());
  EXPECT_NE(end, pam.end());
  return {end + static_cast<std::ptrdiff_t>(mark.size()), pam.end()};
}

std::vector<int> encodingOf(const Bytes& file, const std::string& name) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.webp"), file);
  std::istringstream lines(run("webpinfo -bitstream_info " + folder.path("in.webp")));
  for (std::string line; std::getline(lines, line);) {
    if (line.find("  " + name + ":") != 0) continue;
    std::istringstream values(line.substr(line.find(':') + 1));
    std::vector<int> found;
    for (int value = 0; values >> value;) found.push_back(value);
    return found;
  }
  ADD_FAILURE() << "webpinfo tells nothing about " << name;
  return {};
}

}  // namespace kelvo::webp_test
