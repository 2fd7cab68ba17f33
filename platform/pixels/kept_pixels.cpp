#include "platform/pixels/kept_pixels.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace kelvo {
namespace {

// Few enough that they are still in the cache when they are handed on.
constexpr std::uint32_t kRowsAtATime = 16;

// Memory from the system, in huge pages where it has them: taking a frame's worth in small ones
// costs as much as an adjustment.
class PageMemory {
 public:
  explicit PageMemory(std::size_t size) {
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    bytes_ = {static_cast<std::byte*>(memory), size};
    madvise(memory, size, MADV_HUGEPAGE);  // a wish
  }
  PageMemory(const PageMemory&) = delete;
  PageMemory& operator=(const PageMemory&) = delete;
  ~PageMemory() {
    if (!bytes_.empty()) munmap(bytes_.data(), bytes_.size());
  }

  // Empty if the system has none.
  [[nodiscard]] std::span<std::byte> bytes() const { return bytes_; }

 private:
  std::span<std::byte> bytes_;
};

class KeptRows final : public RowSource {
 public:
  explicit KeptRows(std::shared_ptr<const PageMemory> memory)
      : memory_(std::move(memory)), rest_(memory_->bytes()) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t) override {
    if (pixels.size() > rest_.size()) return Error{"rows past the end of the picture"};
    std::ranges::copy(rest_.first(pixels.size()), pixels.begin());
    rest_ = rest_.subspan(pixels.size());
    return {};
  }

 private:
  std::shared_ptr<const PageMemory> memory_;
  std::span<const std::byte> rest_;
};

}  // namespace

std::optional<CGImage> keepPixels(const CGImage& image, std::uint64_t mostBytes,
                                  const std::function<void(std::span<std::byte>)>& change) {
  const std::uint64_t rowBytes = std::uint64_t{image.width} * image.layout.pixelBytes();
  if (image.palette || rowBytes == 0 || image.height == 0) return std::nullopt;
  if (rowBytes > mostBytes / image.height) return std::nullopt;
  const auto memory = std::make_shared<const PageMemory>(rowBytes * image.height);
  std::span<std::byte> rest = memory->bytes();
  if (rest.empty()) return std::nullopt;
  auto rows = image.openRows();
  if (!rows) return std::nullopt;
  for (std::uint32_t y = 0; y < image.height; y += kRowsAtATime) {
    const std::uint32_t height = std::min(kRowsAtATime, image.height - y);
    const std::span<std::byte> strip = rest.first(rowBytes * height);
    if (!(*rows)->read(strip, height)) return std::nullopt;
    change(strip);
    rest = rest.subspan(strip.size());
  }
  CGImage kept = image;
  kept.openRows = [memory]() -> Result<std::unique_ptr<RowSource>> {
    return std::unique_ptr<RowSource>(std::make_unique<KeptRows>(memory));
  };
  return kept;
}

}  // namespace kelvo
