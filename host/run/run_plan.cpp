#include "host/run/run_plan.h"

#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "host/arguments/parameter_keys.h"
#include "host/arguments/suggestion.h"
#include "host/run/file_list.h"
#include "platform/foundation/ns_bundle.h"

namespace kelvo::host {
namespace {

using Overrides = std::vector<std::pair<std::string, std::string>>;

Result<std::shared_ptr<NSBundle>> openBundle(const std::string& action,
                                             const std::vector<std::string>& directories) {
  const auto path = findBundle(directories, action);
  if (!path) {
    return Error{"there is no action '" + action + "'"};
  }
  auto bundle = NSBundle::bundleWithPath(*path);
  if (!bundle) {
    return Error{"the action '" + action + "' is damaged: " + bundle.error().message};
  }
  return bundle;
}

// Keys of the document itself are known too: they may be another action's.
Result<void> checkOverrides(const Overrides& overrides, const WorkflowDocument& document) {
  std::set<std::string_view> known(knownParameterKeys().begin(), knownParameterKeys().end());
  const std::set<std::string_view> checked = known;
  for (const WorkflowStep& step : document.actions) {
    for (const auto& [key, value] : step.parameters.all()) {
      known.insert(key);
    }
  }
  for (const auto& [key, value] : overrides) {
    if (!known.contains(key)) {
      const std::vector<std::string_view> names(known.begin(), known.end());
      return Error{"option --set: unknown parameter '" + key + "'" + suggestion(key, names)};
    }
    if (checked.contains(key)) {
      if (auto sound = checkParameter(key, value); !sound) {
        return Error{"option --set: " + key + ": " + sound.error().message};
      }
    }
  }
  return {};
}

Result<WorkflowDocument> documentFor(const RunWorkflow& command,
                                     const std::vector<std::string>& directories) {
  if (command.workflow.empty()) {
    const auto bundle = openBundle(kActionName, directories);
    if (!bundle) {
      return bundle.error();
    }
    return WorkflowDocument{{{kActionName, (*bundle)->info().defaultParameters}}};
  }
  auto document = readWorkflow(command.workflow);
  if (!document) {
    return Error{"the workflow '" + command.workflow +
                 "' cannot be read: " + document.error().message};
  }
  return document;
}

}  // namespace

Result<RunPlan> planRun(WorkflowDocument document, RunSettings settings,
                        std::vector<std::string> arguments,
                        const std::vector<std::string>& directories) {
  RunPlan plan;
  for (WorkflowStep& step : document.actions) {
    auto bundle = openBundle(step.action, directories);
    if (!bundle) {
      return bundle.error();
    }
    plan.steps.push_back(
        {std::move(step.action), std::move(bundle).value(), std::move(step.parameters)});
  }
  auto files = collectFiles(std::move(arguments), settings);
  if (!files) {
    return files.error();
  }
  plan.files = std::move(files).value();
  plan.settings = std::move(settings);
  return plan;
}

Result<RunPlan> planRun(RunAdjustment command, const std::vector<std::string>& actionDirectories) {
  WorkflowDocument document{{{kActionName, std::move(command.parameters)}}};
  return planRun(std::move(document), std::move(command.settings), std::move(command.files),
                 actionDirectories);
}

Result<RunPlan> planRun(RunWorkflow command, const std::vector<std::string>& actionDirectories) {
  auto document = documentFor(command, actionDirectories);
  if (!document) {
    return document.error();
  }
  if (auto checked = checkOverrides(command.overrides, *document); !checked) {
    return checked.error();
  }
  for (WorkflowStep& step : document->actions) {
    for (const auto& [key, value] : command.overrides) {
      step.parameters.setObject_forKey(value, key);
    }
  }
  return planRun(std::move(document).value(), std::move(command.settings), std::move(command.files),
                 actionDirectories);
}

}  // namespace kelvo::host
