#include "tests/image_io/jpeg2000/jpeg2000_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace kelvo::image_io_test {

Bytes smoothSamples(unsigned width, unsigned height, bool alpha) {
  Bytes samples;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      samples.push_back(static_cast<std::byte>(std::lround(40 + 170 * u)));
      samples.push_back(static_cast<std::byte>(std::lround(60 + 120 * v)));
      samples.push_back(
          static_cast<std::byte>(std::lround(128 + 60 * std::sin(9 * u) * std::cos(7 * v))));
      if (alpha) samples.push_back(static_cast<std::byte>(std::lround(60 + 190 * u)));
    }
  }
  return samples;
}

Bytes complement(Bytes bytes) {
  for (std::byte& b : bytes) b = ~b;
  return bytes;
}

Bytes makeJpeg2000(const std::string& options, const std::string& extension, unsigned width,
                   unsigned height, bool alpha, unsigned bits) {
  const TemporaryFolder folder;
  const unsigned maximum = (1U << bits) - 1;
  Bytes raw;
  const Bytes samples = smoothSamples(width, height, alpha);
  // The tool wants planes.
  const std::size_t count = alpha ? 4 : 3;
  unsigned low = 0;
  for (std::size_t k = 0; k < count; ++k) {
    for (std::size_t i = k; i < samples.size(); i += count) {
      const unsigned level = std::to_integer<unsigned>(samples[i]);
      if (bits <= 8) {
        raw.push_back(samples[i]);
      } else {
        const unsigned deep = (level << 8 | ((low += 37) & 0xFFU)) * maximum / 65535;
        raw.push_back(static_cast<std::byte>(deep >> 8));
        raw.push_back(static_cast<std::byte>(deep));
      }
    }
  }
  writeFile(folder.path("in.raw"), raw);
  run("opj_compress -i '" + folder.path("in.raw") + "' -o '" + folder.path("out." + extension) +
      "' -F " + std::to_string(width) + "," + std::to_string(height) + "," + std::to_string(count) +
      "," + std::to_string(bits) + ",u " + options);
  return readFile(folder.path("out." + extension));
}

CGImage inverted(const CGImage& image) {
  const CGImage from = rendered(image);
  Bytes bytes = readAllPixels(from).value();
  const std::size_t step = from.layout.components;
  for (std::size_t i = 0; i < bytes.size(); i += step) {
    // Premultiplied: 255 stands for the pixel's alpha.
    const unsigned full = step == 4 ? std::to_integer<unsigned>(bytes[i + 3]) : 255;
    for (std::size_t k = 0; k < 3; ++k) {
      bytes[i + k] = static_cast<std::byte>(full - std::to_integer<unsigned>(bytes[i + k]));
    }
  }
  return CGImageCreateWithPixels(from.width, from.height, from.layout, std::move(bytes),
                                 from.colorSpace);
}

Bytes seenPixels(const Bytes& file, const std::string& layout, unsigned depth,
                 const std::string& extension) {
  const TemporaryFolder folder;
  writeFile(folder.path("in." + extension), file);
  run("opj_decompress -i '" + folder.path("in." + extension) + "' -o '" + folder.path("out.png") +
      "'");
  run("convert '" + folder.path("out.png") + "' -depth " + std::to_string(depth) +
      " -endian LSB '" + layout + ":" + folder.path("out.raw") + "'");
  return readFile(folder.path("out.raw"));
}

std::string form(const Bytes& file, const std::string& extension) {
  const TemporaryFolder folder;
  writeFile(folder.path("in." + extension), file);
  std::istringstream told(run("opj_dump -i '" + folder.path("in." + extension) + "'"));
  std::string kept;
  for (std::string line; std::getline(told, line);) {
    // Step sizes and places of data.
    for (const char* const word :
         {"qntsty", "stepsizes", "numgbits", "roishift", "Main header", "Codestream index",
          "tilestart", "type=", "pos", "tp", "[INFO]", "mantissa", "expn", "prec=", "(",
          "Marker list", "Tile index", "nb of tile-part", "tile "}) {
      if (line.find(word) != std::string::npos && line.find("preccintsize") == std::string::npos) {
        line.clear();
      }
    }
    if (!line.empty()) kept += line + "\n";
  }
  EXPECT_NE(kept.find("cblkw"), std::string::npos) << kept;
  return kept;
}

double difference(const Bytes& a, const Bytes& b) {
  EXPECT_EQ(a.size(), b.size());
  EXPECT_FALSE(a.empty());
  double sum = 0;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    const double d = std::to_integer<int>(a[i]) - std::to_integer<int>(b[i]);
    sum += d * d;
  }
  return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(1, a.size())));
}

Bytes box(const std::string& type, const Bytes& payload) {
  heif::Builder builder;
  builder.number(payload.size() + 8, 4);
  builder.append(fromText(type));
  builder.append(payload);
  return builder.take();
}

std::vector<std::pair<std::string, Bytes>> boxes(const Bytes& file) {
  std::vector<std::pair<std::string, Bytes>> all;
  for (const heif::Box& found : heif::readBoxes(file).boxes) {
    std::string type;
    for (int shift = 24; shift >= 0; shift -= 8) type += static_cast<char>(found.type >> shift);
    all.emplace_back(type, Bytes(found.payload.begin(), found.payload.end()));
  }
  return all;
}

Bytes payload(const Bytes& file, const std::string& type) {
  for (const auto& [name, content] : boxes(file)) {
    if (name == type) return content;
    if (name != "jp2h") continue;
    for (const auto& [inner, data] : boxes(content)) {
      if (inner == type) return data;
    }
  }
  ADD_FAILURE() << "no box " << type;
  return {};
}

Bytes withPayload(const Bytes& file, const std::string& type, const Bytes& fresh) {
  Bytes result;
  for (const auto& [name, content] : boxes(file)) {
    const Bytes inside =
        name == "jp2h" && type != name ? withPayload(content, type, fresh) : content;
    result = concat({result, box(name, name == type ? fresh : inside)});
  }
  return result;
}

Bytes withHeaderBoxes(const Bytes& file, const Bytes& added) {
  return withPayload(file, "jp2h", concat({payload(file, "jp2h"), added}));
}

}  // namespace kelvo::image_io_test
