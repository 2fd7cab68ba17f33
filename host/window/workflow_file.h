#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "platform/foundation/parameter_value.h"
#include "platform/foundation/result.h"
#include "platform/workflow/workflow_document.h"

namespace kelvo::window {

// The workflow that the window edits: one of its actions at a time, the others untouched. Knows
// what is on the disk, and so whether anything would be lost.
class WorkflowFile {
 public:
  // A new workflow of one action with its defaults.
  WorkflowFile(std::string action, ParameterDictionary defaults);

  void makeNew();
  // After an error the workflow is what it was.
  Result<void> open(const std::string& path);
  // Whole or not at all, and not before it is on the disk.
  Result<void> save(const std::string& path);

  // Empty: it has no file yet.
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] bool changed() const;
  // Somebody else has written the file since it was read or saved here.
  [[nodiscard]] bool changedOnDisk() const;

  // With everything that has been edited.
  [[nodiscard]] WorkflowDocument document() const;
  [[nodiscard]] std::size_t count() const { return document_.actions.size(); }
  [[nodiscard]] const std::string& action(std::size_t index) const {
    return document_.actions[index].action;
  }
  [[nodiscard]] std::size_t selected() const { return selected_; }
  // Whether the selected action is the one that the panel knows.
  [[nodiscard]] bool editable() const { return action(selected_) == action_; }
  void select(std::size_t index);

  // Those of the selected action: one object for good, whose contents follow the selection.
  [[nodiscard]] const std::shared_ptr<ParameterDictionary>& parameters() const {
    return parameters_;
  }

 private:
  void show(WorkflowDocument document, std::string path, std::string text);

  std::string action_;
  ParameterDictionary defaults_;
  WorkflowDocument document_;  // without what has been edited since the selection
  WorkflowDocument saved_;
  std::string path_;
  std::string text_;  // the file as it was read or written
  std::size_t selected_ = 0;
  std::shared_ptr<ParameterDictionary> parameters_ = std::make_shared<ParameterDictionary>();
};

// Whether two sets of parameters are the same settings: "4" and "4.000000" are.
bool sameSettings(const ParameterDictionary& first, const ParameterDictionary& second);

}  // namespace kelvo::window
