#include "platform/pixels/rows_ahead.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <exception>
#include <mutex>
#include <span>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace kelvo {
namespace {

// Decoders and programs work on strips of this many rows; narrow pictures take several at once,
// because each handing over costs a few microseconds.
constexpr std::uint32_t kStripRows = 16;
constexpr std::size_t kLeastStripBytes = std::size_t{64} << 10;

// One in the hands of either side, and enough between them that neither waits when the other is
// held up for a moment.
constexpr std::size_t kStrips = 4;

// Below this, making a thread costs more than it saves.
constexpr std::size_t kLeastBytes = std::size_t{512} << 10;

struct Strip {
  std::vector<std::byte> pixels;
  Result<void> outcome;
  std::exception_ptr thrown;  // lack of memory, most likely
};

class RowsAhead final : public RowSource {
 public:
  RowsAhead(std::unique_ptr<RowSource> rows, std::size_t rowBytes, std::uint32_t height)
      : rows_(std::move(rows)),
        rowBytes_(rowBytes),
        height_(height),
        stripRows_(kStripRows * static_cast<std::uint32_t>(std::max<std::size_t>(
                                    1, kLeastStripBytes / (kStripRows * rowBytes)))) {}
  RowsAhead(const RowsAhead&) = delete;
  RowsAhead& operator=(const RowsAhead&) = delete;

  ~RowsAhead() override {
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
  }

  // False if the system gives no thread.
  bool start() try {
    thread_ = std::thread([this] { produce(); });
    return true;
  } catch (const std::system_error&) {
    return false;
  }

  // What start() could not give a thread to.
  std::unique_ptr<RowSource> takeRows() { return std::move(rows_); }

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    if (rows > height_ - taken_) return Error{"rows past the end of the picture"};
    taken_ += rows;
    while (!pixels.empty()) {
      const Strip& strip = waitForStrip();
      if (strip.thrown) std::rethrow_exception(strip.thrown);
      if (!strip.outcome) return strip.outcome;  // and again whenever it is asked for more
      const auto rest = std::span(strip.pixels).subspan(position_);
      const std::size_t count = std::min(rest.size(), pixels.size());
      std::memcpy(pixels.data(), rest.data(), count);
      pixels = pixels.subspan(count);
      position_ += count;
      if (count == rest.size()) release();
    }
    return {};
  }

 private:
  // The strip that the caller reads from, which is the producer's no more.
  const Strip& waitForStrip() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return produced_ > released_; });
    return strips_[released_ % kStrips];
  }

  void release() {
    position_ = 0;
    {
      const std::lock_guard lock(mutex_);
      ++released_;
    }
    changed_.notify_all();
  }

  void produce() {
    for (std::uint32_t y = 0; y < height_;) {
      Strip* strip = nullptr;
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopped_ || produced_ - released_ < kStrips; });
        if (stopped_) return;
        strip = &strips_[produced_ % kStrips];
      }
      const std::uint32_t rows = std::min(stripRows_, height_ - y);
      const bool whole = fill(*strip, rows);
      {
        const std::lock_guard lock(mutex_);
        ++produced_;
      }
      changed_.notify_all();
      if (!whole) return;
      y += rows;
    }
  }

  bool fill(Strip& strip, std::uint32_t rows) {
    try {
      strip.pixels.resize(rows * rowBytes_);
      strip.outcome = rows_->read(strip.pixels, rows);
    } catch (...) {
      strip.thrown = std::current_exception();
    }
    return strip.outcome.ok() && !strip.thrown;
  }

  std::unique_ptr<RowSource> rows_;  // the producer's once it has been started
  std::size_t rowBytes_;
  std::uint32_t height_;
  std::uint32_t stripRows_;
  std::uint32_t taken_ = 0;   // rows the caller has asked for
  std::size_t position_ = 0;  // bytes of the current strip that the caller has
  std::array<Strip, kStrips> strips_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t produced_ = 0;  // strips; guarded by the mutex, like the two below
  std::size_t released_ = 0;
  bool stopped_ = false;
  std::thread thread_;
};

}  // namespace

Result<std::unique_ptr<RowSource>> openRowsAhead(const CGImage& image, unsigned threads) {
  auto rows = image.openRows();
  const std::size_t rowBytes = std::size_t{image.width} * image.layout.pixelBytes();
  if (!rows || threads < 2 || rowBytes == 0 || image.height < kLeastBytes / rowBytes) return rows;
  auto ahead = std::make_unique<RowsAhead>(std::move(rows).value(), rowBytes, image.height);
  if (!ahead->start()) return ahead->takeRows();
  return std::unique_ptr<RowSource>(std::move(ahead));
}

}  // namespace kelvo
