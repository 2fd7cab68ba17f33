#include "platform/drawing/ns_image.h"

#include <filesystem>
#include <system_error>

namespace kelvo {

std::shared_ptr<NSImage> NSImage::initByReferencingFile(std::string path) {
  auto image = std::make_shared<NSImage>(NSSize{});
  image->file_ = std::move(path);
  return image;
}

NSImage::File NSImage::fileForScale(double scale) const {
  if (file_.empty() || !(scale > 1)) return {file_, 1};
  const std::filesystem::path path(file_);
  std::filesystem::path larger = path;
  larger.replace_filename(path.stem().string() + "@2x" + path.extension().string());
  std::error_code failed;
  if (!std::filesystem::exists(larger, failed)) return {file_, 1};
  return {larger.string(), 2};
}

}  // namespace kelvo
