#include "platform/workflow/workflow_document.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>
#include <variant>

#include "platform/foundation/file_text.h"
#include "platform/foundation/json_text.h"

namespace kelvo {
namespace {

using nlohmann::json;

std::string kind(const json& value) { return std::string(jsonKind(value)); }

Result<void> checkKeys(const json& object, std::span<const std::string_view> known) {
  for (const auto& [key, value] : object.items()) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      return Error{"the key \"" + key + "\" is not known"};
    }
  }
  return {};
}

Result<WorkflowStep> parseStep(const json& object) {
  if (!object.is_object()) {
    return Error{"it is " + kind(object) + ", not an object"};
  }
  constexpr std::array<std::string_view, 2> kKeys = {"action", "parameters"};
  if (auto checked = checkKeys(object, kKeys); !checked) {
    return checked.error();
  }
  WorkflowStep step;
  const auto action = object.find("action");
  if (action == object.end()) {
    return Error{"it has no \"action\""};
  }
  if (!action->is_string()) {
    return Error{"\"action\" is " + kind(*action) + ", not a text"};
  }
  step.action = action->get<std::string>();
  const auto parameters = object.find("parameters");
  if (parameters != object.end()) {
    auto read = parametersFromJson(*parameters);
    if (!read) {
      return read.error();
    }
    step.parameters = std::move(read).value();
  }
  return step;
}

Result<void> checkFormat(const json& object) {
  const auto format = object.find("format");
  if (format == object.end()) {
    return Error{"it has no \"format\", so it is no workflow document"};
  }
  if (!format->is_number_integer()) {
    return Error{"\"format\" is " + (format->is_number() ? "no whole number" : kind(*format)) +
                 ", not " + std::to_string(kWorkflowFormat)};
  }
  if (*format != kWorkflowFormat) {
    return Error{"its format is " + format->dump() + ", and this version reads format " +
                 std::to_string(kWorkflowFormat) + " only"};
  }
  return {};
}

}  // namespace

Result<WorkflowDocument> parseWorkflow(std::string_view text) {
  const auto parsed = parseJson(text);
  if (!parsed) {
    return parsed.error();
  }
  if (!parsed->is_object()) {
    return Error{"it is " + kind(*parsed) + ", not an object"};
  }
  if (auto checked = checkFormat(*parsed); !checked) {
    return checked.error();
  }
  constexpr std::array<std::string_view, 2> kKeys = {"format", "actions"};
  if (auto checked = checkKeys(*parsed, kKeys); !checked) {
    return checked.error();
  }
  const auto actions = parsed->find("actions");
  if (actions == parsed->end()) {
    return Error{"it has no \"actions\""};
  }
  if (!actions->is_array()) {
    return Error{"\"actions\" is " + kind(*actions) + ", not a list"};
  }
  if (actions->empty()) {
    return Error{"its list of actions is empty"};
  }
  WorkflowDocument document;
  for (const json& object : *actions) {
    auto step = parseStep(object);
    if (!step) {
      return Error{"action " + std::to_string(document.actions.size() + 1) + ": " +
                   step.error().message};
    }
    document.actions.push_back(std::move(step).value());
  }
  return document;
}

Result<WorkflowDocument> readWorkflow(const std::string& path) {
  const auto text = readTextFile(path);
  if (!text) {
    return text.error();
  }
  return parseWorkflow(*text);
}

std::string formatWorkflow(const WorkflowDocument& document) {
  nlohmann::ordered_json actions = nlohmann::ordered_json::array();
  for (const WorkflowStep& step : document.actions) {
    nlohmann::ordered_json parameters = nlohmann::ordered_json::object();
    for (const auto& [key, value] : step.parameters.all()) {
      std::visit([&, &name = key](const auto& stored) { parameters[name] = stored; },
                 value.stored());
    }
    actions.push_back({{"action", step.action}, {"parameters", std::move(parameters)}});
  }
  const nlohmann::ordered_json root = {{"format", kWorkflowFormat},
                                       {"actions", std::move(actions)}};
  return root.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace kelvo
