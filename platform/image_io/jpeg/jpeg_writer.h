#pragma once

#include <cstddef>
#include <memory>

#include "platform/image_io/codec.h"

namespace kelvo::jpeg {

// Writes a picture with the tables, sampling, coding process and segments of the file whose
// properties come with it.
Result<std::unique_ptr<CodecWriter>> createWriter(OutputFile& file, std::size_t frames,
                                                  const EncodeOptions& options);

}  // namespace kelvo::jpeg
