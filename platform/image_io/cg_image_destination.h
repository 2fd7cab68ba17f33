#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/ns_url.h"
#include "platform/image_io/codec.h"

namespace kelvo {

// How files are replaced.
struct ReplaceOptions {
  Limits limits = {};
  EncodeOptions encode = {};
  bool keepTimes = false;         // the new file takes the old one's access and modification times
  bool breakLinks = false;        // replace a file that has more than one hard link
  bool dryRun = false;            // everything but the replacement
  std::string backupSuffix = {};  // not empty: the old file stays under its name plus this
  bool create = false;            // where there is no file yet, make one
};

// A file being rewritten. Nothing at `url` changes before CGImageDestinationFinalize; a destination
// that is dropped leaves no trace.
class CGImageDestination {
 public:
  virtual ~CGImageDestination() = default;
  virtual Result<void> addImage(const CGImage& image, const FrameProperties& properties) = 0;
  virtual Result<void> finalize() = 0;
  // What could not be carried over although the file was replaced (owner or mode on a network
  // share), one clause each.
  [[nodiscard]] virtual const std::vector<std::string>& warnings() const = 0;
};
using CGImageDestinationRef = std::unique_ptr<CGImageDestination>;

// `url` names an existing file, which is to be replaced; with `create`, also one that is not there.
// Errors: not writable, a directory, FIFO or device, several hard links, a type never written.
Result<CGImageDestinationRef> CGImageDestinationCreateWithURL(const NSURL& url,
                                                              std::string_view type,
                                                              std::size_t count,
                                                              const ReplaceOptions& options = {});

Result<void> CGImageDestinationAddImage(CGImageDestination& destination, const CGImage& image,
                                        const FrameProperties& properties);

// Replaces the file: fsync, attributes, re-reading and comparing, rename, fsync of the directory.
Result<void> CGImageDestinationFinalize(CGImageDestination& destination);

}  // namespace kelvo
