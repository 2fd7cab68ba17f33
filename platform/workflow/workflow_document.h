#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/parameter_value.h"
#include "platform/foundation/result.h"

namespace kelvo {

constexpr int kWorkflowFormat = 1;

struct WorkflowStep {
  std::string action;  // the bundle's name without its extension: "Kelvo Images"
  ParameterDictionary parameters;

  friend bool operator==(const WorkflowStep&, const WorkflowStep&) = default;
};

// A saved workflow (NAME.kelvo): the actions, run one after the other on the result of the one
// before. Never empty.
struct WorkflowDocument {
  std::vector<WorkflowStep> actions;

  friend bool operator==(const WorkflowDocument&, const WorkflowDocument&) = default;
};

// Errors say the place ("line 3, column 7: ...", "action 2: ...") and what is wrong there.
Result<WorkflowDocument> parseWorkflow(std::string_view text);
Result<WorkflowDocument> readWorkflow(const std::string& path);

// The document as text, which parseWorkflow reads back equal, but for bytes that are not UTF-8:
// they are replaced.
std::string formatWorkflow(const WorkflowDocument& document);

}  // namespace kelvo
