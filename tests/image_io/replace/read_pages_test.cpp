#include "platform/image_io/read_pages.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "platform/image_io/mapped_file.h"
#include "tests/support/temporary_directory.h"

namespace kelvo {
namespace {

constexpr std::size_t kBytes = std::size_t{8} << 20;

std::string pattern() {
  std::string text(kBytes, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i % 253);
  return text;
}

bool holdsPattern(std::span<const std::byte> bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] != static_cast<std::byte>(i % 253)) return false;
  }
  return true;
}

// Kibibytes of mapped files that count as this process's memory.
long mappedMemory() {
  const std::string status = testing::readFile("/proc/self/status");
  const std::size_t at = status.find("RssFile:");
  return at == std::string::npos ? -1 : std::stol(status.substr(at + 8));
}

TEST(ReadPages, AFileThatIsReadTakesLittleMemoryAndKeepsItsBytes) {
  const testing::TemporaryDirectory directory;
  testing::writeFile(directory.file("a"), pattern());
  const auto file = MappedFile::open(directory.file("a"));
  ASSERT_TRUE(file.ok());
  const std::span<const std::byte> bytes = (*file)->bytes();
  const long before = mappedMemory();
  ASSERT_GT(before, 0);
  ReadPages pages(file->get());
  long most = 0;
  unsigned sum = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 1000) {
    sum += std::to_integer<unsigned>(bytes[i]);
    pages.upTo(bytes.data() + i);
    if (i % 100'000 == 0) most = std::max(most, mappedMemory() - before);
  }
  EXPECT_GT(sum, 0U);
  EXPECT_LT(most, 3 << 10);
  EXPECT_TRUE(holdsPattern(bytes));
}

TEST(ReadPages, APositionOutsideOfTheFileIsNone) {
  const testing::TemporaryDirectory directory;
  testing::writeFile(directory.file("a"), pattern());
  const auto file = MappedFile::open(directory.file("a"));
  ASSERT_TRUE(file.ok());
  const std::span<const std::byte> bytes = (*file)->bytes();
  // Pages that begin with zeros once they have been let go of.
  const std::size_t size = std::size_t{4} << 20;
  void* const other =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(other, MAP_FAILED);
  auto* const anonymous = static_cast<std::byte*>(other);
  std::fill_n(anonymous, size, std::byte{5});
  ReadPages pages(file->get());
  pages.upTo(anonymous + size);
  pages.upTo(anonymous);
  pages.upTo(nullptr);
  pages.upTo(bytes.data() + bytes.size());
  pages.upTo(bytes.data());
  EXPECT_EQ(std::count(anonymous, anonymous + size, std::byte{5}), static_cast<long>(size));
  EXPECT_TRUE(holdsPattern(bytes));
  ::munmap(other, size);
}

TEST(ReadPages, BytesThatWereInMemoryBeforeStay) {
  std::vector<std::byte> own(kBytes);
  for (std::size_t i = 0; i < own.size(); ++i) own[i] = static_cast<std::byte>(i % 253);
  const auto file = MappedFile::fromBytes(std::move(own));
  ReadPages pages(file.get());
  pages.upTo(file->bytes().data() + file->bytes().size());
  EXPECT_TRUE(holdsPattern(file->bytes()));
  ReadPages nothing(nullptr);
  nothing.upTo(file->bytes().data() + file->bytes().size());
  EXPECT_TRUE(holdsPattern(file->bytes()));
}

}  // namespace
}  // namespace kelvo
