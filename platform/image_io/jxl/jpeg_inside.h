#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/jxl/container.h"

namespace kelvo::jxl {

// The JPEG that a JPEG XL file was packed from, put together again when it is first asked for.
class JpegInside {
 public:
  JpegInside(Bytes container, const Limits& limits) : container_(container), limits_(limits) {}

  // Opened by the codec of that format. Thread-safe.
  Result<const CodecSource*> open() const;

 private:
  Result<void> checkMetadata() const;
  Result<std::unique_ptr<CodecSource>> unpack() const;

  Bytes container_;
  Limits limits_;
  mutable std::once_flag asked_;
  mutable std::optional<Result<std::unique_ptr<CodecSource>>> source_;
};

// The JPEG in a container, byte for byte; at most `mostBytes`.
Result<std::vector<std::byte>> unpackJpeg(Bytes container, std::uint64_t mostBytes);

// A container made of a JPEG, from which it can be put together again.
Result<std::vector<std::byte>> packJpeg(Bytes jpeg, unsigned threads);

// A JPEG like the one inside, of another picture.
Result<std::vector<std::byte>> rewriteJpeg(const CodecSource& jpeg, const CGImage& image,
                                           const EncodeOptions& options);

}  // namespace kelvo::jxl
