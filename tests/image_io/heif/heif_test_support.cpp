#include "tests/image_io/heif/heif_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>

// Read by the leak checker: the HEVC encoder of the distribution loses a kilobyte with each
// picture.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libx265"; }

namespace kelvo::image_io_test {

void writePicture(const std::string& path, unsigned width, unsigned height, bool alpha) {
  const Bytes pam = concat({pamHead(width, height, alpha), smoothSamples(width, height, alpha)});
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

Bytes heicPixels(const Bytes& file, const std::string& layout) {
  return samplesThroughPng(file, "heic", "heif-convert \"$in\" \"$out\"", layout);
}

Bytes avifPixels(const Bytes& file, const std::string& layout) {
  return samplesThroughPng(file, "avif", "avifdec --upsampling nearest \"$in\" \"$out\"", layout);
}

std::string avifInfo(const Bytes& file) { return runOn(file, "avif", "avifdec --info"); }

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
