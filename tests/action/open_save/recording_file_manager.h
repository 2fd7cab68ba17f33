#pragma once

#include <string>
#include <vector>

#include "platform/open_save/tq_open_save.h"

namespace kelvo::testing {

// Writes down what it is asked for and touches no file. What a path says is what it does:
//   unreadable   no image, and an error
//   mute         no image, and no error
//   doubtful     an image, and an error
//   bare         an image without properties or a type
//   unsavable    an error when it is saved, also under a new name
class RecordingFileManager : public TQOSFFileManager {
 public:
  [[nodiscard]] virtual const std::vector<std::string>& calls() const = 0;
  // Of the process.
  [[nodiscard]] virtual int objectsMade() const = 0;
};

}  // namespace kelvo::testing
