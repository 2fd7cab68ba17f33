#include "platform/image_io/png/png_animation.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>

namespace kelvo {
namespace {

constexpr std::size_t kAnimationBytes = 8;
constexpr std::size_t kControlBytes = 26;
constexpr std::size_t kNumberBytes = 4;

// Follows the chunks of an animation in their order and notes the first thing that is wrong.
class AnimationCheck {
 public:
  explicit AnimationCheck(const PngHeader& header) : header_(header) {}

  // What is wrong with this chunk; empty if nothing is.
  std::string take(const PngChunk& chunk) {
    const std::string_view name = chunk.name();
    if (name == "IDAT") {
      frameOpen_ = false;
      dataSeen_ = true;
    } else if (name == "acTL") {
      return takeAnimation(chunk);
    } else if (name == "fcTL" || name == "fdAT") {
      if (!announced_) return "the chunk acTL is missing";
      if (chunk.data.size() < kNumberBytes) return nonsense(chunk);
      if (readBigEndian32(chunk.data) != number_++) {
        return fmt::format("the number of a chunk {} is out of order", name);
      }
      return name == "fcTL" ? takeControl(chunk) : takeData();
    }
    return "";
  }

  [[nodiscard]] std::string end() const {
    if (!announced_) return "";
    if (frameEmpty()) return "a frame of the animation has no data";
    if (frames_ != announcedFrames_) {
      return fmt::format("the animation has {} frames and announces {}", frames_, announcedFrames_);
    }
    return "";
  }

 private:
  static std::string nonsense(const PngChunk& chunk) {
    return fmt::format("a chunk {} of {} bytes makes no sense", chunk.name(), chunk.data.size());
  }

  std::string takeAnimation(const PngChunk& chunk) {
    if (announced_) return "the chunk acTL occurs twice";
    if (dataSeen_) return "the chunk acTL comes too late";
    if (chunk.data.size() != kAnimationBytes) return nonsense(chunk);
    announced_ = true;
    announcedFrames_ = readBigEndian32(chunk.data);
    return "";
  }

  std::string takeControl(const PngChunk& chunk) {
    if (frameEmpty()) return "a frame of the animation has no data";
    if (chunk.data.size() != kControlBytes) return nonsense(chunk);
    const auto number = [&](std::size_t at) -> std::uint64_t {
      return readBigEndian32(chunk.data.subspan(at));
    };
    const std::uint64_t width = number(4);
    const std::uint64_t height = number(8);
    const std::uint64_t x = number(12);
    const std::uint64_t y = number(16);
    if (width == 0 || height == 0 || x + width > header_.width || y + height > header_.height) {
      return fmt::format("frame {} of the animation does not lie inside the picture", frames_);
    }
    if (!dataSeen_ && (width != header_.width || height != header_.height)) {
      return "the first frame of the animation has another size than the picture";
    }
    if (std::to_integer<unsigned>(chunk.data[24]) > 2 ||
        std::to_integer<unsigned>(chunk.data[25]) > 1) {
      return fmt::format("frame {} of the animation is put down in an unknown way", frames_);
    }
    ++frames_;
    frameOpen_ = true;
    frameHasData_ = false;
    return "";
  }

  std::string takeData() {
    if (!dataSeen_ || !frameOpen_) return "a chunk fdAT belongs to no frame";
    frameHasData_ = true;
    return "";
  }

  [[nodiscard]] bool frameEmpty() const { return frameOpen_ && !frameHasData_; }

  const PngHeader& header_;
  bool announced_ = false;
  std::uint32_t announcedFrames_ = 0;
  std::uint32_t frames_ = 0;
  std::uint32_t number_ = 0;  // of the next chunk
  bool dataSeen_ = false;     // IDAT
  bool frameOpen_ = false;    // fdAT may follow, or IDAT before it was seen
  bool frameHasData_ = false;
};

}  // namespace

std::vector<PngPicture> findPngPictures(const PngHeader& header, std::span<const PngChunk> chunks) {
  std::vector<PngPicture> pictures = {{.header = header, .data = {}}};
  const auto add = [&](std::size_t chunk, std::span<const std::byte> data) {
    PngPicture& picture = pictures.back();
    if (picture.data.empty()) picture.first = chunk;
    picture.last = chunk;
    picture.data.push_back(data);
  };
  bool announced = false;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const PngChunk& chunk = chunks[i];
    if (chunk.name() == "IDAT" && pictures.size() == 1) add(i, chunk.data);
    if (chunk.name() == "acTL") announced = true;
    if (!announced || pictures.front().data.empty()) continue;
    if (chunk.name() == "fcTL" && chunk.data.size() == kControlBytes) {
      PngPicture& frame = pictures.emplace_back(PngPicture{.header = header, .data = {}});
      frame.header.width = readBigEndian32(chunk.data.subspan(4));
      frame.header.height = readBigEndian32(chunk.data.subspan(8));
    }
    if (chunk.name() == "fdAT" && pictures.size() > 1 && chunk.data.size() >= kNumberBytes) {
      add(i, chunk.data.subspan(kNumberBytes));
    }
  }
  return pictures;
}

std::string checkPngAnimation(const PngHeader& header, std::span<const PngChunk> chunks) {
  AnimationCheck check(header);
  for (const PngChunk& chunk : chunks) {
    if (std::string cause = check.take(chunk); !cause.empty()) return cause;
  }
  return check.end();
}

}  // namespace kelvo
