#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/arguments/command.h"
#include "platform/foundation/ns_bundle.h"
#include "platform/foundation/result.h"
#include "platform/workflow/workflow_document.h"

namespace kelvo::host {

constexpr const char* kActionName = "Kelvo Images";

// One action of a run, found and ready to be loaded. Workers that are copies of this process hold
// its bundle too, and need not read it again.
struct PlannedStep {
  std::string action;
  std::shared_ptr<NSBundle> bundle;
  ParameterDictionary parameters;
};

// All that a run needs to know, checked as far as that is possible without touching a file.
struct RunPlan {
  std::vector<PlannedStep> steps;  // at least one
  RunSettings settings;
  std::vector<std::string> files;
};

// Errors are wrong usage: an unknown action, parameter or adjustment, a value out of range, a
// document or a list that cannot be read.
Result<RunPlan> planRun(RunAdjustment command, const std::vector<std::string>& actionDirectories);
Result<RunPlan> planRun(RunWorkflow command, const std::vector<std::string>& actionDirectories);
Result<RunPlan> planRun(WorkflowDocument document, RunSettings settings,
                        std::vector<std::string> files,
                        const std::vector<std::string>& actionDirectories);

}  // namespace kelvo::host
