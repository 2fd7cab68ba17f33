#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/foundation/ns_bundle.h"
#include "platform/foundation/parameter_value.h"
#include "platform/image/ci_image.h"
#include "platform/open_save/tq_open_save.h"
#include "platform/workflow/am_bundle_action.h"

namespace kelvo {

// The way to the open/save framework that a host puts beside the action, for work on lists of files
// other than the action's own run. Without the framework nothing is done and no file is in a
// result.
//
// Both operations take a list of paths; any other input is handed back, with "Error: Unknown
// datatype" logged. A file that fails is logged in the framework's own words and left out of the
// result.
class TQAMOpenSave {
 public:
  TQAMOpenSave() = default;
  TQAMOpenSave(const TQAMOpenSave&) = delete;
  TQAMOpenSave& operator=(const TQAMOpenSave&) = delete;
  ~TQAMOpenSave();

  // The framework's principal object, loaded at the first call from
  // "Frameworks/TQOpenSave.framework" three components above the bundle that holds this class.
  // Null if there is no such framework.
  std::shared_ptr<TQOSFFileManager> fileManager();

  // Saves each image once more, with another extension. The result holds the new files' URLs.
  WorkflowValue resultOfInput_extension(const WorkflowValue& input, const std::string& extension);

  // Opens each image, sends `selector` to `target` with it and the parameters, and saves what comes
  // back over the file. An empty image leaves the file as it was, in silence. The result holds the
  // paths of the files saved. Without a target nothing comes back.
  template <typename Target>
  WorkflowValue resultOfInput_target_performSelector_parameters(
      const WorkflowValue& input, Target* target,
      CIImageRef (Target::*selector)(const CIImageRef& image, const ActionParameters& parameters),
      const ActionParameters& parameters) {
    return resultOfInput_operation(input, [&](const CIImageRef& image) {
      return target != nullptr ? (target->*selector)(image, parameters) : nullptr;
    });
  }

 private:
  using Operation = std::function<CIImageRef(const CIImageRef& image)>;

  WorkflowValue resultOfInput_operation(const WorkflowValue& input, const Operation& operation);

  std::shared_ptr<TQOSFFileManager> _fileManager;
  std::shared_ptr<NSBundle> _openSaveBundle;
};

}  // namespace kelvo
