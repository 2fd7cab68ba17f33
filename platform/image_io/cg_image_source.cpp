#include "platform/image_io/cg_image_source.h"

#include <algorithm>
#include <utility>

#include "platform/image_io/mapped_file.h"
#include "platform/pixels/rows_ahead.h"

namespace kelvo {
namespace {

// More than any format's signature reaches into a file.
constexpr std::size_t kHeadBytes = 4096;

Error noSuchFrame() { return Error{"the file has no such frame"}; }

}  // namespace

CGImageSource::CGImageSource(std::string path, FileBytes file, const Codec& codec,
                             std::unique_ptr<const CodecSource> source, unsigned threads)
    : path_(std::move(path)),
      file_(std::move(file)),
      codec_(&codec),
      source_(std::move(source)),
      threads_(threads) {}

Result<CGImageSourceRef> CGImageSourceCreateWithBytes(std::string path, FileBytes file,
                                                      const Limits& limits,
                                                      std::span<const Codec> formats) {
  const auto head = file->bytes().first(std::min(kHeadBytes, file->bytes().size()));
  const auto codec = std::find_if(formats.begin(), formats.end(),
                                  [&](const Codec& format) { return format.matches(head); });
  if (codec == formats.end()) return Error{"its contents are of no known image format"};
  auto source = codec->open(file, limits);
  if (!source) return std::move(source).error();
  return CGImageSourceRef(std::make_shared<const CGImageSource>(
      std::move(path), std::move(file), *codec, *std::move(source), limits.threads));
}

Result<CGImageSourceRef> CGImageSourceCreateWithURL(const NSURL& url, const Limits& limits) {
  auto file = MappedFile::open(url.path());
  if (!file) return std::move(file).error();
  return CGImageSourceCreateWithBytes(url.path(), *std::move(file), limits);
}

std::string_view CGImageSourceGetType(const CGImageSource& source) { return source.codec().type; }

SourceStatus CGImageSourceGetStatus(const CGImageSource& source) {
  return source.frames().status();
}

std::size_t CGImageSourceGetCount(const CGImageSource& source) { return source.frames().count(); }

Result<CGImage> CGImageSourceCreateImageAtIndex(const CGImageSource& source, std::size_t frame) {
  if (frame >= source.frames().count()) return noSuchFrame();
  auto image = source.frames().image(frame);
  // An indexed frame is adjusted by its table; its rows are hardly ever read.
  if (!image || source.threads() < 2 || image->palette) return image;
  CGImage ahead = *image;
  ahead.openRows = [decoded = *std::move(image), threads = source.threads()] {
    return openRowsAhead(decoded, threads);
  };
  return ahead;
}

Result<FramePropertiesRef> CGImageSourceCopyPropertiesAtIndex(const CGImageSource& source,
                                                              std::size_t frame) {
  if (frame >= source.frames().count()) return noSuchFrame();
  return source.frames().properties(frame);
}

}  // namespace kelvo
