#include "platform/open_save/resaving.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/path_text.h"
#include "platform/image_io/cg_image_source.h"
#include "platform/image_io/file_destination.h"
#include "platform/image_io/file_replacement.h"
#include "platform/image_io/file_system.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"
#include "platform/open_save/carried_metadata.h"
#include "platform/open_save/image_types.h"
#include "platform/open_save/plain_writer.h"

namespace kelvo {
namespace {

constexpr std::uint32_t kRowsAtATime = 16;

Result<std::string_view> typeForName(const std::string& path) {
  const std::string extension = pathExtension(path);
  if (extension.empty()) return Error{"the new name has no extension"};
  const std::string_view type = imageTypeForExtension(extension);
  if (type.empty()) return Error{"no image format has the extension " + extension};
  return type;
}

// Decodes every pixel, so that no damage is handed on.
Result<void> decodeAll(const CGImageSource& source) {
  for (std::size_t frame = 0; frame < CGImageSourceGetCount(source); ++frame) {
    const auto image = CGImageSourceCreateImageAtIndex(source, frame);
    if (!image) return image.error();
    auto rows = image->openRows();
    if (!rows) return std::move(rows).error();
    const std::size_t rowBytes = image->width * image->layout.pixelBytes();
    std::vector<std::byte> strip(rowBytes * std::min(kRowsAtATime, image->height));
    for (std::uint32_t y = 0; y < image->height; y += kRowsAtATime) {
      const std::uint32_t count = std::min(kRowsAtATime, image->height - y);
      if (auto read = (*rows)->read(std::span(strip).first(rowBytes * count), count); !read) {
        return read;
      }
    }
  }
  return {};
}

Result<void> copyTo(const CGImageSource& source, const MappedFile& file, const NSURL& target,
                    FileSystem& fileSystem) {
  if (source.codec().createWriter == nullptr) {
    return Error{std::string(source.codec().displayName) + " files are never written"};
  }
  if (auto decoded = decodeAll(source); !decoded) return decoded;
  auto replacement = FileReplacement::begin(target.path(), {.create = true}, fileSystem);
  if (!replacement) return std::move(replacement).error();
  if (file.identity() == (*replacement)->identity()) return {};  // one file under both names
  OutputFile output((*replacement)->descriptor(), fileSystem);
  if (auto written = output.write(file.bytes()); !written) return written;
  if (auto flushed = output.flush(); !flushed) return flushed;
  if (auto sealed = (*replacement)->sealContents(); !sealed) return sealed;
  return (*replacement)->commit();
}

Result<void> checkConvertible(const CGImage& image) {
  const ColorModel model = image.colorSpace->model;
  if (image.layout.type == SampleType::f32 ||
      (model != ColorModel::rgb && model != ColorModel::gray)) {
    return Error{"only RGB and gray images are converted"};
  }
  return {};
}

Result<void> convertTo(const CGImageSource& source, const FileBytes& file, const NSURL& target,
                       std::string_view type, FileSystem& fileSystem) {
  const auto formats = plainFormats();
  const auto format = std::ranges::find(formats, type, &Codec::type);
  if (format == formats.end()) {
    return Error{"from " + std::string(source.codec().displayName) + ", no " +
                 pathExtension(target.path()) + " file can be made"};
  }
  if (const std::size_t count = CGImageSourceGetCount(source); count != 1) {
    return Error{"its file holds " + std::to_string(count) + " images, and a " +
                 std::string(format->displayName) + " file made of it would hold one"};
  }
  const auto image = CGImageSourceCreateImageAtIndex(source, 0);
  if (!image) return image.error();
  if (auto can = checkConvertible(*image); !can) return can;
  const auto metadata = readCarriedMetadata(source.codec(), file, *image);
  if (!metadata) return metadata.error();
  if (const auto resolved = resolvePath(target.path());
      resolved && *resolved == file->resolvedPath()) {
    return Error{"the file would take its own place, in another format than it has"};
  }
  auto destination =
      makeFileDestination(target.path(), type, 1, {.create = true}, formats, fileSystem);
  if (!destination) return std::move(destination).error();
  if (auto added = (*destination)->addImage(*image, *metadata); !added) return added;
  return (*destination)->finalize();
}

}  // namespace

Result<void> resaveImage(const NSURL& from, const NSURL& target, FileSystem& fileSystem) {
  const auto file = MappedFile::open(from.path());
  if (!file) return file.error();
  const auto source = CGImageSourceCreateWithBytes(from.path(), *file);
  if (!source) return source.error();
  const auto type = typeForName(target.path());
  if (!type) return type.error();
  if (SourceStatus found = CGImageSourceGetStatus(**source);
      found.status != CGImageSourceStatus::complete) {
    return Error{std::move(found.cause)};
  }
  return *type == CGImageSourceGetType(**source)
             ? copyTo(**source, **file, target, fileSystem)
             : convertTo(**source, *file, target, *type, fileSystem);
}

}  // namespace kelvo
