#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/image_io/codec.h"

// Short ways through any codec.
namespace kelvo::image_io_test {

using Bytes = std::vector<std::byte>;
using Adjust = std::function<CGImage(const CGImage& image)>;

// Fails the test and gives null if the bytes cannot be opened.
std::unique_ptr<CodecSource> openSource(const Codec& codec, const Bytes& file,
                                        const Limits& limits = {});
// Why the bytes cannot be opened; empty if they can.
std::string openError(const Codec& codec, const Bytes& file, const Limits& limits = {});

Result<Bytes> tryPixels(const Codec& codec, const Bytes& file, std::size_t frame = 0,
                        const Limits& limits = {});
Bytes pixels(const Codec& codec, const Bytes& file, std::size_t frame = 0);

// What the renderer hands on where an adjustment changes nothing: palettes as they are, rgba
// premultiplied, 8 bits a sample.
CGImage rendered(const CGImage& image);
// The same at the image's own depth.
CGImage renderedDeep(const CGImage& image);
// These samples, each a byte, in the layout that the renderer gives to a picture like `image`.
CGImage withSamples(const CGImage& image, const std::vector<unsigned>& samples);

// Writes every frame of the file again, as `adjust` makes it.
Result<Bytes> tryRewrite(const Codec& codec, const Bytes& file, const Adjust& adjust = rendered,
                         const EncodeOptions& options = {}, const Limits& limits = {});
Bytes rewrite(const Codec& codec, const Bytes& file, const Adjust& adjust = rendered,
              const EncodeOptions& options = {});

}  // namespace kelvo::image_io_test
