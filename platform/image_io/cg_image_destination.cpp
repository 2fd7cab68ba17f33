#include "platform/image_io/cg_image_destination.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/image_io/cg_image_source.h"
#include "platform/image_io/file_destination.h"
#include "platform/image_io/file_replacement.h"
#include "platform/image_io/file_system.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo {
namespace {

struct FrameSize {
  std::uint32_t width;
  std::uint32_t height;
};

class FileDestination final : public CGImageDestination {
 public:
  FileDestination(std::unique_ptr<FileReplacement> replacement, std::unique_ptr<OutputFile> output,
                  std::unique_ptr<CodecWriter> writer, std::string_view type, std::size_t count,
                  const ReplaceOptions& options, std::span<const Codec> formats)
      : replacement_(std::move(replacement)),
        output_(std::move(output)),
        writer_(std::move(writer)),
        type_(type),
        count_(count),
        limits_(options.limits),
        mayBeAnother_(options.create),
        formats_(formats) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    if (!failure_) return failure_;
    failure_ = add(image, properties);
    return failure_;
  }

  Result<void> finalize() override {
    if (!failure_) return failure_;
    auto result = finalizeOnce();
    failure_ = result ? Result<void>(Error{"the file was finalized already"}) : result;
    writer_.reset();
    output_.reset();
    warnings_ = replacement_->warnings();
    replacement_.reset();
    return result;
  }

  [[nodiscard]] const std::vector<std::string>& warnings() const override { return warnings_; }

 private:
  Result<void> add(const CGImage& image, const FrameProperties& properties) {
    if (frames_.size() >= count_) return Error{"there are more frames than were announced"};
    // Between reading the file and opening it for replacement it may have been replaced, or the
    // link that led to it. Only with `create` is one file read and another one written.
    const MappedFile* const origin = properties.origin();
    if (origin != nullptr && origin->identity() &&
        (!mayBeAnother_ || origin->resolvedPath() == replacement_->resolvedPath()) &&
        *origin->identity() != replacement_->identity()) {
      return Error{"the file was changed by another program meanwhile"};
    }
    if (auto added = writer_->addImage(image, properties); !added) return added;
    frames_.push_back({image.width, image.height});
    return {};
  }

  Result<void> finalizeOnce() {
    if (frames_.size() != count_) return Error{"there are fewer frames than were announced"};
    if (auto finished = writer_->finish(); !finished) return finished;
    if (auto flushed = output_->flush(); !flushed) return flushed;
    if (auto sealed = replacement_->sealContents(); !sealed) return sealed;
    if (auto verified = verify(); !verified) {
      return Error{"the new file did not read back as it was written: " + verified.error().message};
    }
    return replacement_->commit();
  }

  // Reads the new file as anybody else would before it takes the old one's place.
  [[nodiscard]] Result<void> verify() const {
    auto file = MappedFile::fromDescriptor(replacement_->descriptor());
    if (!file) return std::move(file).error();
    auto source = CGImageSourceCreateWithBytes({}, *std::move(file), limits_, formats_);
    if (!source) return std::move(source).error();
    if (CGImageSourceGetType(**source) != type_) return Error{"its type is another one"};
    if (CGImageSourceGetCount(**source) != count_) return Error{"its frame count is another one"};
    for (std::size_t frame = 0; frame < count_; ++frame) {
      const FrameInfo info = (*source)->frames().info(frame);
      if (info.width != frames_[frame].width || info.height != frames_[frame].height) {
        return Error{"a frame's size is another one"};
      }
    }
    const SourceStatus status = CGImageSourceGetStatus(**source);
    if (status.status != CGImageSourceStatus::complete) return Error{status.cause};
    return {};
  }

  std::unique_ptr<FileReplacement> replacement_;
  std::unique_ptr<OutputFile> output_;
  std::unique_ptr<CodecWriter> writer_;
  std::string type_;
  std::size_t count_;
  Limits limits_;
  bool mayBeAnother_;
  std::span<const Codec> formats_;
  std::vector<FrameSize> frames_;
  std::vector<std::string> warnings_;
  Result<void> failure_;
};

}  // namespace

Result<CGImageDestinationRef> makeFileDestination(const std::string& path, std::string_view type,
                                                  std::size_t count, const ReplaceOptions& options,
                                                  std::span<const Codec> formats,
                                                  FileSystem& fileSystem) {
  const auto codec = std::find_if(formats.begin(), formats.end(),
                                  [&](const Codec& format) { return format.type == type; });
  if (codec == formats.end()) {
    return Error{"there is no image format of type " + std::string(type)};
  }
  if (codec->createWriter == nullptr) {
    return Error{std::string(codec->displayName) + " files are never written"};
  }
  auto replacement = FileReplacement::begin(path,
                                            {.keepTimes = options.keepTimes,
                                             .breakLinks = options.breakLinks,
                                             .dryRun = options.dryRun,
                                             .backupSuffix = options.backupSuffix,
                                             .create = options.create},
                                            fileSystem);
  if (!replacement) return std::move(replacement).error();
  auto output = std::make_unique<OutputFile>((*replacement)->descriptor(), fileSystem);
  auto writer = codec->createWriter(*output, count, options.encode);
  if (!writer) return std::move(writer).error();
  return CGImageDestinationRef(
      std::make_unique<FileDestination>(*std::move(replacement), std::move(output),
                                        *std::move(writer), type, count, options, formats));
}

Result<CGImageDestinationRef> CGImageDestinationCreateWithURL(const NSURL& url,
                                                              std::string_view type,
                                                              std::size_t count,
                                                              const ReplaceOptions& options) {
  return makeFileDestination(url.path(), type, count, options, codecs(), realFileSystem());
}

Result<void> CGImageDestinationAddImage(CGImageDestination& destination, const CGImage& image,
                                        const FrameProperties& properties) {
  return destination.addImage(image, properties);
}

Result<void> CGImageDestinationFinalize(CGImageDestination& destination) {
  return destination.finalize();
}

}  // namespace kelvo
