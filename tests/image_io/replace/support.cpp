#include "tests/image_io/replace/support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <utility>

namespace kelvo::test {

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "kelvo-test-XXXXXX").string();
  EXPECT_NE(::mkdtemp(name.data()), nullptr);
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
  std::filesystem::remove_all(path_, ignored);
}

std::set<std::string> TemporaryDirectory::names() const {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path_)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, std::string_view contents) {
  std::ofstream file(path, std::ios::binary);
  file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  EXPECT_TRUE(file.good()) << path;
}

std::string run(const std::string& command) {
  std::string output;
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return output;
  }
  std::array<char, 4096> part = {};
  for (std::size_t got = 0; (got = std::fread(part.data(), 1, part.size(), pipe)) > 0;) {
    output.append(part.data(), got);
  }
  EXPECT_EQ(::pclose(pipe), 0) << command;
  return output;
}

namespace {

class InvertedRows final : public RowSource {
 public:
  explicit InvertedRows(std::unique_ptr<RowSource> rows) : rows_(std::move(rows)) {}
  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    auto result = rows_->read(pixels, rows);
    for (std::byte& sample : pixels) sample = ~sample;
    return result;
  }

 private:
  std::unique_ptr<RowSource> rows_;
};

}  // namespace

CGImage inverted(const CGImage& image) {
  CGImage result = image;
  result.openRows = [original = image]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = original.openRows();
    if (!rows) return std::move(rows).error();
    return std::unique_ptr<RowSource>(std::make_unique<InvertedRows>(*std::move(rows)));
  };
  return result;
}

Ppm readPpm(const std::string& path) {
  std::istringstream file(readFile(path));
  std::string magic;
  std::uint32_t maximum = 0;
  Ppm ppm;
  file >> magic >> ppm.width >> ppm.height >> maximum;
  EXPECT_EQ(magic, "P6");
  EXPECT_EQ(maximum, 255U);
  file.get();
  ppm.samples.resize(std::size_t{3} * ppm.width * ppm.height);
  file.read(reinterpret_cast<char*>(ppm.samples.data()),
            static_cast<std::streamsize>(ppm.samples.size()));
  EXPECT_TRUE(file.good());
  return ppm;
}

}  // namespace kelvo::test
