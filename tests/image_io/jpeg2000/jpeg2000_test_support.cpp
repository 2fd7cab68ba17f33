#include "tests/image_io/jpeg2000/jpeg2000_test_support.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kelvo::image_io_test {

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

Bytes seenPixels(const Bytes& file, const std::string& layout, unsigned depth,
                 const std::string& extension) {
  return samplesThroughPng(file, extension, "opj_decompress -i \"$in\" -o \"$out\"", layout, depth);
}

std::string form(const Bytes& file, const std::string& extension) {
  std::istringstream told(runOn(file, extension, "opj_dump -i"));
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
