#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// Bytes, files on disk and other programs.
namespace kelvo::image_io_test {

using Bytes = std::vector<std::byte>;

Bytes fromHex(std::string_view hex);  // with or without spaces
Bytes fromText(std::string_view text);
Bytes concat(const std::vector<Bytes>& parts);
Bytes littleEndian(std::size_t value, std::size_t bytes);
std::vector<unsigned> numbers(const Bytes& bytes);
bool contains(const Bytes& whole, const Bytes& part);

class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] std::string path(std::string_view name) const { return folder_ / name; }

 private:
  std::filesystem::path folder_;
};

Bytes readFile(const std::string& path);
void writeFile(const std::string& path, const Bytes& bytes);
// Runs a shell command and gives what it prints; fails the test if it fails.
std::string run(const std::string& command);
// The file's samples as ImageMagick reads them, "RGB" or "RGBA", 8 bits each.
Bytes pixelsByOtherTool(const Bytes& file, std::string_view extension, std::string_view layout);

}  // namespace kelvo::image_io_test
