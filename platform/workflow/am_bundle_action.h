#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/foundation/parameter_value.h"
#include "platform/image_io/cg_image_destination.h"

namespace kelvo {

// What flows from one action to the next: a list of paths, or something else that an action may
// not understand (here: one text).
using PathList = std::vector<std::string>;
using WorkflowValue = std::variant<PathList, std::string>;

struct WorkflowError {
  int code = 0;
  std::string message;
};

// What became of one file, told as soon as it is known.
struct FileOutcome {
  std::string path;
  bool rewritten = false;
  std::size_t frames = 0;          // frames found in the file
  std::uint32_t sourceDepth = 0;   // bits per component of the deepest frame, as stored
  std::uint32_t writtenDepth = 0;  // 8, or 16 with keepDepth
  std::vector<std::string> warnings;
};

// How the host wants a run done; the same for every file of the run.
struct RunOptions {
  ReplaceOptions replace;
  std::function<void(const FileOutcome&)> onFile;  // may be empty
  // Called often: a frame of so many pixels has been begun, or rows of it have been read. From any
  // thread. May be empty.
  std::function<void(std::uint64_t framePixels)> onProgress;
};

// The base of every action's principal class. The host creates it, gives it its parameters, sends
// opened, then runWithInput_fromAction_error once per run. No exception leaves these functions.
class AMBundleAction {
 public:
  virtual ~AMBundleAction() = default;

  [[nodiscard]] ParameterDictionary& parameters() { return *parameters_; }
  // The dictionary itself: the settings panel edits it in place.
  [[nodiscard]] const ActionParameters& sharedParameters() const { return parameters_; }
  void setParameters(ParameterDictionary parameters) { *parameters_ = std::move(parameters); }

  [[nodiscard]] const RunOptions& runOptions() const { return runOptions_; }
  void setRunOptions(RunOptions options) { runOptions_ = std::move(options); }

  virtual void opened() {}
  // `fromAction` is the action whose output `input` is; null for the first.
  virtual WorkflowValue runWithInput_fromAction_error(const WorkflowValue& input,
                                                      AMBundleAction* fromAction,
                                                      WorkflowError* error) = 0;

 private:
  ActionParameters parameters_ = std::make_shared<ParameterDictionary>();
  RunOptions runOptions_;
};

}  // namespace kelvo
