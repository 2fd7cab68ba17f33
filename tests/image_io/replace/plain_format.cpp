#include "tests/image_io/replace/plain_format.h"

#include <memory>
#include <string_view>
#include <utility>

#include "platform/image_io/file_destination.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo::test {
namespace {

constexpr std::string_view kHead = "PLAIN ";
constexpr std::string_view kTail = " END";

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class Source final : public CodecSource {
 public:
  explicit Source(FileBytes file) : file_(std::move(file)) {}
  [[nodiscard]] std::size_t count() const override { return 1; }
  [[nodiscard]] FrameInfo info(std::size_t) const override { return {.width = 1, .height = 1}; }
  [[nodiscard]] SourceStatus status() const override {
    const bool whole = file_->bytes().size() == kHead.size() + kBodyBytes + kTail.size() &&
                       textOf(file_->bytes()).ends_with(kTail);
    if (whole) return {};
    return {CGImageSourceStatus::incomplete, "it is cut short"};
  }
  [[nodiscard]] Result<CGImage> image(std::size_t) const override {
    return plainImage(static_cast<char>(file_->bytes()[kHead.size()]));
  }
  [[nodiscard]] Result<FramePropertiesRef> properties(std::size_t) const override {
    return FramePropertiesRef(std::make_shared<const FrameProperties>());
  }

 private:
  FileBytes file_;
};

class Writer final : public CodecWriter {
 public:
  explicit Writer(OutputFile& file) : file_(&file) {}
  Result<void> addImage(const CGImage& image, const FrameProperties&) override {
    auto pixel = readAllPixels(image);
    if (!pixel) return std::move(pixel).error();
    if (auto head = write(kHead); !head) return head;
    // In small pieces, as encoders do.
    const std::string piece(kBodyBytes / 100, static_cast<char>(pixel->front()));
    for (int i = 0; i < 100; ++i) {
      if (auto body = write(piece); !body) return body;
    }
    return {};
  }
  Result<void> finish() override { return write(kTail); }

 private:
  Result<void> write(std::string_view text) {
    return file_->write(std::as_bytes(std::span(text.data(), text.size())));
  }
  OutputFile* file_;
};

}  // namespace

const Codec kPlainCodec = {
    .type = "test.plain",
    .displayName = "Plain",
    .matches = [](std::span<const std::byte> head) { return textOf(head).starts_with(kHead); },
    .open = [](FileBytes file, const Limits&) -> Result<std::unique_ptr<CodecSource>> {
      return std::unique_ptr<CodecSource>(std::make_unique<Source>(std::move(file)));
    },
    .createWriter = [](OutputFile& file, std::size_t,
                       const EncodeOptions&) -> Result<std::unique_ptr<CodecWriter>> {
      return std::unique_ptr<CodecWriter>(std::make_unique<Writer>(file));
    }};

std::string plainFile(char letter) {
  return std::string(kHead) + std::string(kBodyBytes, letter) + std::string(kTail);
}

CGImage plainImage(char letter) {
  return CGImageCreateWithPixels(1, 1, {.components = 3},
                                 std::vector<std::byte>(3, static_cast<std::byte>(letter)),
                                 CGColorSpaceCreateDeviceRGB());
}

Result<void> rewritePlain(const std::string& path, char letter, const ReplaceOptions& options,
                          FileSystem& fileSystem, std::vector<std::string>* warnings) {
  auto destination = makeFileDestination(path, kPlainCodec.type, 1, options,
                                         std::span(&kPlainCodec, 1), fileSystem);
  if (!destination) return std::move(destination).error();
  auto added = CGImageDestinationAddImage(**destination, plainImage(letter), FrameProperties());
  if (!added) return added;
  auto finalized = CGImageDestinationFinalize(**destination);
  if (warnings != nullptr) *warnings = (*destination)->warnings();
  return finalized;
}

}  // namespace kelvo::test
