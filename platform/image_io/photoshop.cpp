// Photoshop documents are recognised, so that they are passed over by name, and neither decoded nor
// written.
#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "platform/image_io/codec.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo {
namespace {

// "8BPS", version (1, or 2 for large documents), six zeros, channels, height, width, depth, mode.
constexpr std::size_t kHeaderBytes = 26;

std::uint32_t bigEndian(std::span<const std::byte> bytes, std::size_t at, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    value = value << 8 | std::to_integer<std::uint32_t>(bytes[at + i]);
  }
  return value;
}

bool matches(std::span<const std::byte> head) {
  constexpr std::array kSignature = {std::byte{'8'}, std::byte{'B'}, std::byte{'P'},
                                     std::byte{'S'}};
  if (head.size() < 6 || !std::equal(kSignature.begin(), kSignature.end(), head.begin())) {
    return false;
  }
  const std::uint32_t version = bigEndian(head, 4, 2);
  return version == 1 || version == 2;
}

class PhotoshopSource final : public CodecSource {
 public:
  explicit PhotoshopSource(FileBytes file) : file_(std::move(file)) {}

  [[nodiscard]] std::size_t count() const override { return 1; }
  [[nodiscard]] FrameInfo info(std::size_t) const override {
    const auto bytes = file_->bytes();
    if (bytes.size() < kHeaderBytes) return {};
    return {.width = bigEndian(bytes, 18, 4),
            .height = bigEndian(bytes, 14, 4),
            .bitsPerComponent = bigEndian(bytes, 22, 2)};
  }
  [[nodiscard]] SourceStatus status() const override {
    if (file_->bytes().size() >= kHeaderBytes) return {};
    return {CGImageSourceStatus::incomplete, "the file ends within its header"};
  }
  [[nodiscard]] Result<CGImage> image(std::size_t) const override { return refusal(); }
  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t) const override {
    return refusal();
  }
  [[nodiscard]] Result<void> writable(const EncodeOptions&) const override { return refusal(); }

 private:
  static Error refusal() { return Error{"Photoshop documents are not adjusted"}; }

  FileBytes file_;
};

Result<std::unique_ptr<CodecSource>> openPhotoshop(FileBytes file, const Limits&) {
  return std::unique_ptr<CodecSource>(std::make_unique<PhotoshopSource>(std::move(file)));
}

}  // namespace

const Codec kPhotoshopCodec = {.type = "com.adobe.photoshop-image",
                               .displayName = "Photoshop",
                               .matches = &matches,
                               .open = &openPhotoshop,
                               .createWriter = nullptr};

}  // namespace kelvo
