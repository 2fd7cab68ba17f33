#include "tests/image_io/tools/other_tools.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace kelvo::image_io_test {

Bytes fromHex(std::string_view hex) {
  Bytes bytes;
  std::string digits;
  for (const char c : hex) {
    if (std::isxdigit(static_cast<unsigned char>(c)) == 0) continue;
    digits += c;
    if (digits.size() < 2) continue;
    bytes.push_back(static_cast<std::byte>(std::strtoul(digits.c_str(), nullptr, 16)));
    digits.clear();
  }
  return bytes;
}

Bytes fromText(std::string_view text) {
  Bytes bytes;
  for (const char c : text) bytes.push_back(static_cast<std::byte>(c));
  return bytes;
}

Bytes concat(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes littleEndian(std::size_t value, std::size_t bytes) {
  Bytes result;
  for (std::size_t i = 0; i < bytes; ++i) result.push_back(static_cast<std::byte>(value >> 8 * i));
  return result;
}

std::vector<unsigned> numbers(const Bytes& bytes) {
  std::vector<unsigned> result;
  for (const std::byte b : bytes) result.push_back(std::to_integer<unsigned>(b));
  return result;
}

bool contains(const Bytes& whole, const Bytes& part) {
  return std::search(whole.begin(), whole.end(), part.begin(), part.end()) != whole.end();
}

TemporaryFolder::TemporaryFolder() {
  std::string name = std::filesystem::temp_directory_path() / "image_io_test_XXXXXX";
  if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  folder_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in.is_open()) << path;
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return fromText(text);
}

void writeFile(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(out.good()) << path;
}

std::string run(const std::string& command) {
  // Pictures of a few pixels are not worth the tools' threads.
  FILE* const pipe = popen(("export OMP_NUM_THREADS=1; " + command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << command;
    return "";
  }
  std::string output;
  std::array<char, 4096> buffer{};
  for (std::size_t n = 0; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    output.append(buffer.data(), n);
  }
  EXPECT_EQ(pclose(pipe), 0) << command << "\n" << output;
  return output;
}

Bytes pixelsByOtherTool(const Bytes& file, std::string_view extension, std::string_view layout) {
  const TemporaryFolder folder;
  const std::string in = folder.path("in." + std::string(extension));
  const std::string out = folder.path("out.raw");
  writeFile(in, file);
  run("convert '" + in + "' -depth 8 '" + std::string(layout) + ":" + out + "'");
  return readFile(out);
}

}  // namespace kelvo::image_io_test
