#include "tests/image_io/heif/heif_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

// Read by the leak checker: the HEVC encoder of the distribution loses a kilobyte with each
// picture.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libx265"; }

namespace kelvo::image_io_test {

void writePicture(const std::string& path, unsigned width, unsigned height, bool alpha) {
  Bytes pam = fromText("P7\nWIDTH " + std::to_string(width) + "\nHEIGHT " + std::to_string(height) +
                       "\nDEPTH " + (alpha ? "4" : "3") + "\nMAXVAL 255\nTUPLTYPE " +
                       (alpha ? "RGB_ALPHA" : "RGB") + "\nENDHDR\n");
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      pam.push_back(static_cast<std::byte>(std::lround(40 + 170 * u)));
      pam.push_back(static_cast<std::byte>(std::lround(60 + 120 * v)));
      pam.push_back(
          static_cast<std::byte>(std::lround(128 + 60 * std::sin(9 * u) * std::cos(7 * v))));
      if (alpha) pam.push_back(static_cast<std::byte>(std::lround(60 + 190 * u)));
    }
  }
  writeFile(path + ".pam", pam);
  run("convert '" + path + ".pam' -depth 8 '" + path + "'");
}

Bytes makeHeic(const std::string& options, unsigned width, unsigned height, bool alpha) {
  const TemporaryFolder folder;
  writePicture(folder.path("in.png"), width, height, alpha);
  run("heif-enc " + options + " '" + folder.path("in.png") + "' -o '" + folder.path("out.heic") +
      "'");
  return readFile(folder.path("out.heic"));
}

Bytes makeAvif(const std::string& options, unsigned width, unsigned height, bool alpha) {
  const TemporaryFolder folder;
  writePicture(folder.path("in.png"), width, height, alpha);
  run("avifenc --speed 8 " + options + " '" + folder.path("in.png") + "' '" +
      folder.path("out.avif") + "'");
  return readFile(folder.path("out.avif"));
}

CGImage invertedRendered(const CGImage& image) {
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

namespace {

Bytes throughPng(const Bytes& file, const std::string& command, const std::string& name,
                 std::string_view layout) {
  const TemporaryFolder folder;
  writeFile(folder.path(name), file);
  run(command + " '" + folder.path(name) + "' '" + folder.path("out.png") + "'");
  run("convert '" + folder.path("out.png") + "' -depth 8 '" + std::string(layout) + ":" +
      folder.path("out.raw") + "'");
  return readFile(folder.path("out.raw"));
}

}  // namespace

Bytes heicPixels(const Bytes& file, std::string_view layout) {
  return throughPng(file, "heif-convert", "in.heic", layout);
}

Bytes avifPixels(const Bytes& file, std::string_view layout) {
  return throughPng(file, "avifdec --upsampling nearest", "in.avif", layout);
}

std::string avifInfo(const Bytes& file) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.avif"), file);
  return run("avifdec --info '" + folder.path("in.avif") + "'");
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

Bytes patched(Bytes file, std::string_view from, std::string_view to) {
  EXPECT_EQ(from.size(), to.size());
  const Bytes old = fromText(from);
  const Bytes fresh = fromText(to);
  bool found = false;
  for (auto at = std::search(file.begin(), file.end(), old.begin(), old.end()); at != file.end();
       at = std::search(at + 1, file.end(), old.begin(), old.end())) {
    std::copy(fresh.begin(), fresh.end(), at);
    found = true;
  }
  EXPECT_TRUE(found) << from;
  return file;
}

std::vector<Bytes> itemData(const Bytes& file, const char (&type)[5]) {
  std::vector<Bytes> found;
  const auto structure = heif::readStructure(file);
  if (!structure) {
    ADD_FAILURE() << structure.error().message;
    return found;
  }
  for (const heif::Item& item : structure->items) {
    if (item.type == heif::fourCC(type)) found.push_back(structure->data(item).value());
  }
  return found;
}

std::vector<Bytes> propertyData(const Bytes& file, const char (&type)[5]) {
  std::vector<Bytes> found;
  const auto structure = heif::readStructure(file);
  if (!structure) {
    ADD_FAILURE() << structure.error().message;
    return found;
  }
  for (const heif::Box& box : structure->properties) {
    if (box.type == heif::fourCC(type)) found.emplace_back(box.payload.begin(), box.payload.end());
  }
  return found;
}

}  // namespace kelvo::image_io_test
