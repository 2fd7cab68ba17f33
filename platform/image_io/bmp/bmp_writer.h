#pragma once

#include <memory>

#include "platform/image_io/codec.h"

namespace kelvo {

Result<std::unique_ptr<CodecWriter>> createBmpWriter(OutputFile& file, std::size_t frames,
                                                     const EncodeOptions& options);

}  // namespace kelvo
