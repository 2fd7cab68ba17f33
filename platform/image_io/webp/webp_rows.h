#pragma once

#include <memory>

#include "platform/image_io/webp/webp_file.h"
#include "platform/pixels/row_source.h"

namespace kelvo {

PixelLayout webpLayout(const WebpFrame& frame);

// Rows of a frame in its layout. The whole frame is decoded when the first row is asked for: the
// library's pixels may still change until the last one is there. `file` holds the frame.
std::unique_ptr<RowSource> openWebpRows(std::shared_ptr<const WebpFile> file,
                                        const WebpFrame& frame);

// Whether a frame may be decoded, or decoded and encoded, within the memory that is allowed.
enum class WebpUse : std::uint8_t { decode, rewrite };
Result<void> checkWebpMemory(const WebpFile& file, const WebpFrame& frame, WebpUse use);

}  // namespace kelvo
