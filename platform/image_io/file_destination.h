#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "platform/image_io/cg_image_destination.h"

namespace kelvo {

class FileSystem;

// What CGImageDestinationCreateWithURL does, with the formats and the system calls given.
Result<CGImageDestinationRef> makeFileDestination(const std::string& path, std::string_view type,
                                                  std::size_t count, const ReplaceOptions& options,
                                                  std::span<const Codec> formats,
                                                  FileSystem& fileSystem);

}  // namespace kelvo
