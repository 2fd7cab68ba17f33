#include "platform/image_io/webp/webp_file.h"

#include <fmt/format.h>
#include <webp/decode.h>

#include <algorithm>

#include "platform/image_io/little_endian.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo {
namespace {

constexpr std::size_t kExtendedBytes = 10;  // of the chunk VP8X
constexpr std::size_t kAnimationBytes = 6;  // of the chunk ANIM
constexpr std::size_t kFrameHeaderBytes = 16;
constexpr std::uint32_t kAnimationFlag = 0x02;

// Finds the one picture among `parts`. What is wrong with them, or nothing.
std::string findPicture(std::span<const WebpChunk> parts, WebpFrame& frame) {
  const WebpChunk* alpha = nullptr;
  const WebpChunk* colors = nullptr;
  for (const WebpChunk& part : parts) {
    if (part.alpha()) {
      if (alpha != nullptr) return "a picture has two chunks ALPH";
      if (colors != nullptr) return "a chunk ALPH comes after the picture it belongs to";
      alpha = &part;
    } else if (part.lossy() || part.lossless()) {
      if (colors != nullptr) return "there are two pictures where one should be";
      colors = &part;
    }
  }
  if (colors == nullptr) return "a picture is missing";
  frame.lossless = colors->lossless();
  if (frame.lossless && alpha != nullptr) return "a lossless picture has a chunk ALPH";
  const std::byte* const begin = (alpha != nullptr ? alpha : colors)->whole.data();
  frame.stored = {begin, colors->whole.data() + colors->whole.size()};
  frame.bitstream = colors->data;
  WebPBitstreamFeatures features{};
  if (WebPGetFeatures(reinterpret_cast<const std::uint8_t*>(frame.stored.data()),
                      frame.stored.size(), &features) != VP8_STATUS_OK) {
    return "a picture's header is damaged";
  }
  frame.width = static_cast<std::uint32_t>(features.width);
  frame.height = static_cast<std::uint32_t>(features.height);
  frame.alpha = features.has_alpha != 0;
  return "";
}

}  // namespace

Result<std::shared_ptr<const WebpFile>> WebpFile::open(FileBytes file, const Limits& limits) {
  std::shared_ptr<WebpFile> webp(new WebpFile);
  webp->file_ = std::move(file);
  webp->limits_ = limits;
  webp->readContainer();
  if (auto within = webp->checkLimits(); !within) return std::move(within).error();
  return std::shared_ptr<const WebpFile>(std::move(webp));
}

void WebpFile::readContainer() {
  const auto bytes = file_->bytes();
  const std::uint64_t told = std::uint64_t{readLittleEndian32(bytes, 4)} + 8;
  const bool cut = told > bytes.size();
  const auto inside = bytes.first(cut ? bytes.size() : static_cast<std::size_t>(told));
  trailer_ = bytes.subspan(inside.size());
  if (inside.size() < kRiffHeaderBytes) {
    status_ = {CGImageSourceStatus::invalidData,
               fmt::format("a file of {} bytes makes no sense", told)};
    return;
  }
  WebpChunks found = readWebpChunks(inside.subspan(kRiffHeaderBytes));
  chunks_ = std::move(found.chunks);
  std::string cause = readPictures();
  if (cut) {
    status_ = {CGImageSourceStatus::incomplete,
               fmt::format("the file has {} of its {} bytes", bytes.size(), told)};
  } else if (!found.cause.empty()) {
    status_ = {CGImageSourceStatus::invalidData, std::move(found.cause)};
  } else if (!cause.empty()) {
    status_ = {CGImageSourceStatus::invalidData, std::move(cause)};
  }
}

std::size_t WebpFile::count(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(chunks_.begin(), chunks_.end(),
                                                [&](const auto& c) { return c.name() == name; }));
}

std::string WebpFile::readPictures() {
  if (count("VP8X") == 0) {
    if (count("ALPH") != 0 || count("ANIM") != 0 || count("ANMF") != 0) {
      return "the chunk VP8X is missing";
    }
    return readStill();
  }
  const WebpChunk& extended = chunks_.front();
  if (extended.name() != "VP8X") return "the chunk VP8X is not the first one";
  if (count("VP8X") != 1) return "the chunk VP8X occurs twice";
  if (extended.data.size() != kExtendedBytes) {
    return fmt::format("a chunk VP8X of {} bytes makes no sense", extended.data.size());
  }
  canvasWidth_ = readLittleEndian24(extended.data, 4) + 1;
  canvasHeight_ = readLittleEndian24(extended.data, 7) + 1;
  const bool animated = (std::to_integer<std::uint32_t>(extended.data[0]) & kAnimationFlag) != 0;
  return animated ? readAnimation() : readStill();
}

std::string WebpFile::readStill() {
  if (count("ANMF") != 0) return "a file that is not animated has a chunk ANMF";
  WebpFrame frame;
  if (std::string cause = findPicture(chunks_, frame); !cause.empty()) return cause;
  if (canvasWidth_ != 0 && (frame.width != canvasWidth_ || frame.height != canvasHeight_)) {
    return fmt::format("a picture of {} x {} pixels stands in a file of {} x {}", frame.width,
                       frame.height, canvasWidth_, canvasHeight_);
  }
  const auto starts = [&](const WebpChunk& c) { return c.whole.data() == frame.stored.data(); };
  const auto first = std::find_if(chunks_.begin(), chunks_.end(), starts);
  const auto end =
      std::find_if(first, chunks_.end(), [](const auto& c) { return c.lossy() || c.lossless(); }) +
      1;
  frame.firstChunk = static_cast<std::size_t>(first - chunks_.begin());
  frame.parts.assign(first, end);
  frame.chunkCount = frame.parts.size();
  frames_.push_back(std::move(frame));
  return "";
}

std::string WebpFile::readAnimation() {
  std::size_t settings = 0;
  for (std::size_t i = 0; i < chunks_.size(); ++i) {
    const WebpChunk& chunk = chunks_[i];
    if (chunk.lossy() || chunk.lossless() || chunk.alpha()) {
      return "an animation has a picture that is no frame";
    }
    if (chunk.name() == "ANIM") {
      if (++settings > 1) return "the chunk ANIM occurs twice";
      if (chunk.data.size() < kAnimationBytes) {
        return fmt::format("a chunk ANIM of {} bytes makes no sense", chunk.data.size());
      }
    }
    if (chunk.name() != "ANMF") continue;
    if (settings == 0) return "the chunk ANIM is missing before the first frame";
    if (chunk.data.size() < kFrameHeaderBytes) {
      return fmt::format("a chunk ANMF of {} bytes makes no sense", chunk.data.size());
    }
    // Enough to tell that there are too many.
    if (frames_.size() > limits_.maxFrames) return "";
    WebpFrame frame;
    frame.firstChunk = i;
    frame.chunkCount = 1;
    frame.animationHeader = chunk.data.first(kFrameHeaderBytes);
    WebpChunks inside = readWebpChunks(chunk.data.subspan(kFrameHeaderBytes));
    if (!inside.cause.empty()) return std::move(inside.cause);
    frame.parts = std::move(inside.chunks);
    if (std::string cause = addFrame(std::move(frame)); !cause.empty()) return cause;
  }
  return frames_.empty() ? "an animation has no frames" : "";
}

std::string WebpFile::addFrame(WebpFrame frame) {
  if (std::string cause = findPicture(frame.parts, frame); !cause.empty()) return cause;
  const auto header = frame.animationHeader;
  const std::uint64_t x = std::uint64_t{2} * readLittleEndian24(header, 0);
  const std::uint64_t y = std::uint64_t{2} * readLittleEndian24(header, 3);
  const std::uint32_t width = readLittleEndian24(header, 6) + 1;
  const std::uint32_t height = readLittleEndian24(header, 9) + 1;
  if (width != frame.width || height != frame.height) {
    return fmt::format("a picture of {} x {} pixels stands in a frame of {} x {}", frame.width,
                       frame.height, width, height);
  }
  if (x + width > canvasWidth_ || y + height > canvasHeight_) {
    return fmt::format("a frame of {} x {} pixels at {}, {} does not fit into {} x {}", width,
                       height, x, y, canvasWidth_, canvasHeight_);
  }
  frames_.push_back(std::move(frame));
  return "";
}

Result<void> WebpFile::checkLimits() const {
  for (const WebpFrame& frame : frames_) {
    if (frame.pixels() > limits_.maxPixels) {
      return Error{fmt::format("a picture of {} x {} pixels is over the limit of {} (--max-pixels)",
                               frame.width, frame.height, limits_.maxPixels)};
    }
  }
  if (frames_.size() > limits_.maxFrames) {
    return Error{fmt::format("the file has more than the {} frames allowed (--max-frames)",
                             limits_.maxFrames)};
  }
  return {};
}

std::span<const std::byte> WebpFile::profile() const {
  const auto found = std::find_if(chunks_.begin(), chunks_.end(),
                                  [](const auto& c) { return c.name() == "ICCP"; });
  return found == chunks_.end() ? std::span<const std::byte>() : found->data;
}

}  // namespace kelvo
