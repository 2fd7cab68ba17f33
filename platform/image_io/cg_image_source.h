#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/foundation/ns_url.h"
#include "platform/image_io/codec.h"

namespace kelvo {

// An image file opened for reading.
class CGImageSource {
 public:
  CGImageSource(std::string path, FileBytes file, const Codec& codec,
                std::unique_ptr<const CodecSource> source, unsigned threads);

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] const Codec& codec() const { return *codec_; }
  [[nodiscard]] const CodecSource& frames() const { return *source_; }
  // Processors that reading it may keep busy.
  [[nodiscard]] unsigned threads() const { return threads_; }

 private:
  std::string path_;
  FileBytes file_;
  const Codec* codec_;
  std::unique_ptr<const CodecSource> source_;
  unsigned threads_;
};
using CGImageSourceRef = std::shared_ptr<const CGImageSource>;

// Errors: not a readable regular file, no known format, a header that makes no sense or asks for
// more than the limits allow. The contents decide the format; the name does not matter.
Result<CGImageSourceRef> CGImageSourceCreateWithURL(const NSURL& url, const Limits& limits = {});

// The same of a file that is already mapped; `path` is only remembered. `formats` are tried in
// order.
Result<CGImageSourceRef> CGImageSourceCreateWithBytes(std::string path, FileBytes file,
                                                      const Limits& limits = {},
                                                      std::span<const Codec> formats = codecs());

std::string_view CGImageSourceGetType(const CGImageSource& source);
SourceStatus CGImageSourceGetStatus(const CGImageSource& source);
std::size_t CGImageSourceGetCount(const CGImageSource& source);
// With two processors or more to keep busy, a thread of its own decodes ahead of whoever reads the
// rows.
Result<CGImage> CGImageSourceCreateImageAtIndex(const CGImageSource& source, std::size_t frame);
Result<FramePropertiesRef> CGImageSourceCopyPropertiesAtIndex(const CGImageSource& source,
                                                              std::size_t frame);

}  // namespace kelvo
