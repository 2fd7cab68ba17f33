#include "platform/open_save/file_manager.h"

#include <cstring>
#include <exception>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/cg_image_destination.h"
#include "platform/image_io/cg_image_source.h"
#include "platform/image_io/file_system.h"
#include "platform/open_save/resaving.h"

namespace kelvo {
namespace {

struct Information final : ImageInformation {
  FramePropertiesRef properties;
  CGColorSpaceRef colorSpace;
  bool hasAlpha = false;
  std::size_t pictures = 1;  // of the file
};

NSError describe(std::string_view failed, const Error& cause) {
  return NSError(std::string(failed) + " (" + cause.message + ")");
}

Result<CGImageSourceRef> openWhole(const NSURL& url) {
  auto source = CGImageSourceCreateWithURL(url);
  if (!source) return source;
  if (SourceStatus found = CGImageSourceGetStatus(**source);
      found.status != CGImageSourceStatus::complete) {
    return Error{std::move(found.cause)};
  }
  return source;
}

// Leaves out the alpha of premultiplied pixels, of one byte or more a sample.
class OpaqueRows final : public RowSource {
 public:
  OpaqueRows(std::unique_ptr<RowSource> rows, std::uint32_t width, std::size_t sampleBytes)
      : rows_(std::move(rows)), width_(width), sampleBytes_(sampleBytes) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    const std::size_t count = std::size_t{width_} * rows;
    whole_.resize(count * 4 * sampleBytes_);
    if (auto read = rows_->read(whole_, rows); !read) return read;
    for (std::size_t i = 0; i < count; ++i) {
      std::memcpy(&pixels[i * 3 * sampleBytes_], &whole_[i * 4 * sampleBytes_], 3 * sampleBytes_);
    }
    return {};
  }

 private:
  std::unique_ptr<RowSource> rows_;
  std::uint32_t width_;
  std::size_t sampleBytes_;
  std::vector<std::byte> whole_;
};

CGImage withoutAlpha(CGImage image) {
  const std::size_t sampleBytes = image.layout.sampleBytes();
  image.layout = {3, image.layout.type, AlphaInfo::none};
  image.openRows = [open = std::move(image.openRows), width = image.width,
                    sampleBytes]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = open();
    if (!rows) return rows;
    return std::unique_ptr<RowSource>(
        std::make_unique<OpaqueRows>(std::move(rows).value(), width, sampleBytes));
  };
  return image;
}

struct Opened {
  CGImage image;
  ImageInformationRef information;
  std::string type;
};

Result<Opened> open(const NSURL& url) {
  const auto source = openWhole(url);
  if (!source) return source.error();
  auto image = CGImageSourceCreateImageAtIndex(**source, 0);
  if (!image) return std::move(image).error();
  if (image->colorSpace && image->colorSpace->model != ColorModel::rgb) {
    return Error{"only RGB images are opened"};
  }
  auto properties = CGImageSourceCopyPropertiesAtIndex(**source, 0);
  if (!properties) return std::move(properties).error();
  auto information = std::make_shared<Information>();
  information->properties = *std::move(properties);
  information->colorSpace = image->colorSpace;
  information->hasAlpha = image->layout.alpha != AlphaInfo::none;
  information->pictures = CGImageSourceGetCount(**source);
  return Opened{*std::move(image), std::move(information),
                std::string(CGImageSourceGetType(**source))};
}

Result<void> save(CGImage image, const NSURL& url, const ImageInformation* given,
                  const std::string& type) {
  const auto* const information = dynamic_cast<const Information*>(given);
  if (!image.openRows) return Error{"there is no image"};
  if (information == nullptr) return Error{"what was read with the image is missing"};
  if (information->pictures != 1) {
    return Error{"its file holds " + std::to_string(information->pictures) +
                 " images, and the others would be lost"};
  }
  if (!information->hasAlpha && image.layout.alpha != AlphaInfo::none) {
    image = withoutAlpha(std::move(image));
  }
  image.colorSpace = information->colorSpace;
  auto destination = CGImageDestinationCreateWithURL(url, type, 1, {.create = true});
  if (!destination) return std::move(destination).error();
  if (auto added = CGImageDestinationAddImage(**destination, image, *information->properties);
      !added) {
    return added;
  }
  return CGImageDestinationFinalize(**destination);
}

// What can still be thrown is lack of memory.
template <typename Operation>
auto guarded(Operation operation) -> decltype(operation()) try {
  return operation();
} catch (const std::exception& problem) {
  return Error{problem.what()};
}

}  // namespace

std::optional<NSError> CodecFileManager::TQOSF_ResaveImageAtURL_toURL(const NSURL& source,
                                                                      const NSURL& target) {
  const auto done = guarded([&] { return resaveImage(source, target, realFileSystem()); });
  if (done) return std::nullopt;
  return describe("The image could not be saved under its new name", done.error());
}

std::optional<CGImage> CodecFileManager::TQOSF_CGImageAtURL_infoDictionary_imageUTI_readError(
    const NSURL& url, ImageInformationRef* infoDictionary, std::string* imageUTI,
    std::optional<NSError>* readError) {
  auto opened = guarded([&] { return open(url); });
  if (!opened) {
    *readError = describe("The image could not be opened", opened.error());
    return std::nullopt;
  }
  *infoDictionary = std::move(opened->information);
  *imageUTI = std::move(opened->type);
  return std::move(opened->image);
}

void CodecFileManager::TQOSF_SaveCGImage_atURL_infoDictionary_imageUTI_writeError(
    const CGImage& image, const NSURL& url, const ImageInformationRef& infoDictionary,
    const std::string& imageUTI, std::optional<NSError>* writeError) {
  const auto saved = guarded([&] { return save(image, url, infoDictionary.get(), imageUTI); });
  if (!saved) *writeError = describe("The image could not be saved", saved.error());
}

}  // namespace kelvo
