#pragma once

#include <cstddef>
#include <memory>

#include "platform/image_io/tiff/file_rewriter.h"
#include "platform/image_io/tiff/tiff_file.h"
#include "platform/pixels/cg_image.h"

namespace kelvo::tiff {

// Writes an adjusted frame: its pixels, in the old arrangement and compression, and the fields that
// change with them. `jobs` compress its strips and tiles. Errors of the image's own rows are passed
// on unchanged.
Result<void> writeFrame(const CGImage& image, const std::shared_ptr<const TiffFile>& file,
                        std::size_t frame, FileRewriter& rewriter, JobPool& jobs);

// Errors: a compression that cannot be written as it was (lossy WebP).
Result<void> checkEncodable(const TiffFile& file, std::size_t frame);

}  // namespace kelvo::tiff
