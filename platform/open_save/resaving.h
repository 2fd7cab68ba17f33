#pragma once

#include "platform/foundation/ns_url.h"
#include "platform/foundation/result.h"

namespace kelvo {

class FileSystem;

// Saves a file's image once more under the target's name, in the format that its extension stands
// for: byte for byte in the format that it has, else converted. Nothing is at `target` but what was
// there, or the whole new file.
Result<void> resaveImage(const NSURL& from, const NSURL& target, FileSystem& fileSystem);

}  // namespace kelvo
