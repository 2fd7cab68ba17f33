#include "platform/pixels/rows_ahead.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kelvo {
namespace {

constexpr PixelLayout kRgb8{3, SampleType::u8, AlphaInfo::none};
constexpr std::uint32_t kWidth = 700;
constexpr std::uint32_t kHeight = 1001;  // of no whole number of strips
constexpr std::size_t kRowBytes = std::size_t{3} * kWidth;

std::byte pixelByte(std::size_t row, std::size_t column) {
  return static_cast<std::byte>((row * 31 + column * 7) % 251);
}

// What a test wants to see of a pass, and to have happen in it.
struct Script {
  std::uint32_t failAt = kHeight + 1;   // the first row that cannot be read
  std::uint32_t throwAt = kHeight + 1;  // the first row over which memory runs out
  std::atomic<std::uint32_t> rows{0};   // produced so far
  std::atomic<int> living{0};           // passes under way
  std::atomic<bool> elsewhere{false};   // some were produced on another thread than the opener's
};

class ScriptedRows final : public RowSource {
 public:
  explicit ScriptedRows(std::shared_ptr<Script> script) : script_(std::move(script)) {
    ++script_->living;
  }
  ScriptedRows(const ScriptedRows&) = delete;
  ScriptedRows& operator=(const ScriptedRows&) = delete;
  ~ScriptedRows() override { --script_->living; }

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    EXPECT_EQ(pixels.size(), rows * kRowBytes);
    EXPECT_LE(next_ + rows, kHeight);
    if (std::this_thread::get_id() != opener_) script_->elsewhere = true;
    if (next_ + rows > script_->failAt) return Error{"the rows are damaged"};
    if (next_ + rows > script_->throwAt) throw std::bad_alloc();
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = pixelByte(next_ + i / kRowBytes, i % kRowBytes);
    }
    next_ += rows;
    script_->rows = next_;
    return {};
  }

 private:
  std::shared_ptr<Script> script_;
  std::thread::id opener_ = std::this_thread::get_id();
  std::uint32_t next_ = 0;
};

CGImage scripted(const std::shared_ptr<Script>& script) {
  return CGImage{.width = kWidth,
                 .height = kHeight,
                 .layout = kRgb8,
                 .colorSpace = CGColorSpaceCreateDeviceRGB(),
                 .openRows = [script]() -> Result<std::unique_ptr<RowSource>> {
                   return std::unique_ptr<RowSource>(std::make_unique<ScriptedRows>(script));
                 },
                 .palette = nullptr};
}

bool isRow(std::span<const std::byte> pixels, std::uint32_t row) {
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    if (pixels[i] != pixelByte(row, i)) return false;
  }
  return true;
}

TEST(RowsAhead, GivesTheSameRowsHoweverManyAreAskedForAtOnce) {
  for (const std::uint32_t atOnce : {1U, 16U, 37U, 400U, kHeight}) {
    const auto script = std::make_shared<Script>();
    const auto rows = openRowsAhead(scripted(script), 2);
    ASSERT_TRUE(rows.ok());
    std::vector<std::byte> pixels(atOnce * kRowBytes);
    for (std::uint32_t y = 0; y < kHeight;) {
      const std::uint32_t count = std::min(atOnce, kHeight - y);
      const auto part = std::span(pixels).first(count * kRowBytes);
      ASSERT_TRUE((*rows)->read(part, count).ok());
      for (std::uint32_t i = 0; i < count; ++i) {
        ASSERT_TRUE(isRow(part.subspan(i * kRowBytes, kRowBytes), y + i)) << y + i;
      }
      y += count;
    }
    EXPECT_TRUE(script->elsewhere);
    EXPECT_FALSE((*rows)->read(std::span(pixels).first(kRowBytes), 1).ok());
  }
}

TEST(RowsAhead, StaysOnTheCallersThreadWhereThatIsAllThereIs) {
  const auto script = std::make_shared<Script>();
  const auto rows = openRowsAhead(scripted(script), 1);
  ASSERT_TRUE(rows.ok());
  std::vector<std::byte> pixels(kHeight * kRowBytes);
  ASSERT_TRUE((*rows)->read(pixels, kHeight).ok());
  EXPECT_FALSE(script->elsewhere);
}

TEST(RowsAhead, MakesNoThreadForASmallPicture) {
  const auto script = std::make_shared<Script>();
  CGImage image = scripted(script);
  image.height = 100;
  const auto rows = openRowsAhead(image, 2);
  ASSERT_TRUE(rows.ok());
  std::vector<std::byte> pixels(100 * kRowBytes);
  ASSERT_TRUE((*rows)->read(pixels, 100).ok());
  EXPECT_FALSE(script->elsewhere);
}

// What lies between the two sides is a few strips, whatever the picture's size.
TEST(RowsAhead, RunsAheadOfTheCallerByAFewStripsOnly) {
  const auto script = std::make_shared<Script>();
  const auto rows = openRowsAhead(scripted(script), 2);
  ASSERT_TRUE(rows.ok());
  std::vector<std::byte> pixels(kRowBytes);
  for (std::uint32_t y = 0; y < kHeight; ++y) {
    ASSERT_TRUE((*rows)->read(pixels, 1).ok());
    ASSERT_LE(script->rows, y + 200) << y;
  }
}

TEST(RowsAhead, HandsOutWhatCameBeforeAnErrorAndThenTheErrorForGood) {
  for (const std::uint32_t failAt : {0U, 5U, 500U, kHeight - 1}) {
    const auto script = std::make_shared<Script>();
    script->failAt = failAt;
    const auto rows = openRowsAhead(scripted(script), 2);
    ASSERT_TRUE(rows.ok());
    std::vector<std::byte> pixels(kRowBytes);
    Result<void> read;
    std::uint32_t y = 0;
    while (y < kHeight && (read = (*rows)->read(pixels, 1)).ok()) {
      ASSERT_TRUE(isRow(pixels, y));
      ++y;
    }
    EXPECT_LE(y, failAt);
    ASSERT_FALSE(read.ok());
    EXPECT_EQ(read.error().message, "the rows are damaged");
    EXPECT_EQ((*rows)->read(pixels, 1).error().message, "the rows are damaged");
  }
}

TEST(RowsAhead, BringsAnExceptionToTheCaller) {
  const auto script = std::make_shared<Script>();
  script->throwAt = 300;
  const auto rows = openRowsAhead(scripted(script), 2);
  ASSERT_TRUE(rows.ok());
  std::vector<std::byte> pixels(kHeight * kRowBytes);
  EXPECT_THROW((void)(*rows)->read(pixels, kHeight), std::bad_alloc);
}

TEST(RowsAhead, EndsItsThreadWhenTheCallerGivesUp) {
  for (const std::uint32_t taken : {0U, 1U, 100U, 1000U}) {
    const auto script = std::make_shared<Script>();
    {
      const auto rows = openRowsAhead(scripted(script), 2);
      ASSERT_TRUE(rows.ok());
      std::vector<std::byte> pixels(taken * kRowBytes);
      ASSERT_TRUE((*rows)->read(pixels, taken).ok());
      EXPECT_EQ(script->living, 1);
    }
    EXPECT_EQ(script->living, 0);
    const std::uint32_t produced = script->rows;
    std::this_thread::yield();
    EXPECT_EQ(script->rows, produced);
  }
}

TEST(RowsAhead, TellsAtOnceThatTheRowsCannotBeOpened) {
  CGImage image = scripted(std::make_shared<Script>());
  image.openRows = []() -> Result<std::unique_ptr<RowSource>> { return Error{"no rows"}; };
  const auto rows = openRowsAhead(image, 2);
  ASSERT_FALSE(rows.ok());
  EXPECT_EQ(rows.error().message, "no rows");
}

}  // namespace
}  // namespace kelvo
