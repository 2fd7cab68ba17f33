#pragma once

#include <cstddef>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pixels/cg_image.h"

namespace kelvo::test {

// A directory of the test's own, gone afterwards.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  [[nodiscard]] std::string path(std::string_view name) const { return (path_ / name).string(); }
  [[nodiscard]] std::set<std::string> names() const;

 private:
  std::filesystem::path path_;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, std::string_view contents);

// Runs a shell command and gives back its standard output; a failing command fails the test.
std::string run(const std::string& command);

// The same picture with every sample inverted.
CGImage inverted(const CGImage& image);

// Bytes of a picture that was decoded by another program into binary PPM.
struct Ppm {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> samples;
};
Ppm readPpm(const std::string& path);

}  // namespace kelvo::test
