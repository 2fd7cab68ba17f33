#include "host/arguments/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <deque>
#include <functional>
#include <string_view>

#include "host/arguments/adjustments.h"
#include "host/arguments/help.h"
#include "host/arguments/parameter_keys.h"
#include "host/arguments/run_options.h"
#include "host/arguments/setting_values.h"
#include "host/arguments/suggestion.h"
#include "platform/foundation/text_format.h"

namespace kelvo::host {
namespace {

using Arguments = std::vector<std::string>;

constexpr std::string_view kWorkflowExtension = ".kelvo";

// The options of one command and what to do with their values.
class OptionReader {
 public:
  OptionReader() {
    app_.set_help_flag();
    app_.allow_extras();
  }

  // `apply` is called once, with the value; `repeated` once for each time the option is given.
  void add(std::string_view names, bool takesValue,
           std::function<Result<void>(const std::string&)> apply, bool repeated = false) {
    Entry& entry = entries_.emplace_back();
    entry.name = longName(names);
    entry.apply = std::move(apply);
    entry.repeated = repeated;
    entry.takesValue = takesValue;
    if (takesValue) {
      entry.option =
          app_.add_option(std::string(names), entry.values)->expected(1)->allow_extra_args(false);
      entry.option->take_all();
    } else {
      entry.option = app_.add_flag(std::string(names));
    }
  }

  // Gives the names of files. They stand apart from options, or after "--".
  Result<std::vector<std::string>> read(const Arguments& arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    Arguments reversed(std::make_reverse_iterator(mark),
                       std::make_reverse_iterator(arguments.begin()));
    if (auto checked = checkAssignments(reversed); !checked) {
      return checked.error();
    }
    try {
      app_.parse(std::move(reversed));
    } catch (const CLI::ArgumentMismatch&) {
      return missingValue(arguments);
    } catch (const CLI::Error& failure) {
      return Error{failure.what()};
    }
    std::vector<std::string> files = app_.remaining();
    for (const std::string& file : files) {
      if (file.size() > 1 && file.front() == '-') {
        return unknownOption(file);
      }
    }
    for (const Entry& entry : entries_) {
      if (auto applied = apply(entry); !applied) {
        return applied.error();
      }
    }
    if (mark != arguments.end()) {
      files.insert(files.end(), mark + 1, arguments.end());
    }
    if (std::ranges::any_of(files, &std::string::empty)) {
      return Error{"a file name is empty"};
    }
    return files;
  }

 private:
  struct Entry {
    std::string name;
    CLI::Option* option = nullptr;
    std::vector<std::string> values;
    std::function<Result<void>(const std::string&)> apply;
    bool repeated = false;
    bool takesValue = false;
  };

  Result<void> apply(const Entry& entry) const {
    const std::size_t count = entry.option->count();
    if (!entry.takesValue) {
      return count > 0 ? entry.apply({}) : Result<void>{};
    }
    if (count > 1 && !entry.repeated) {
      return Error{"option " + entry.name + " is given more than once"};
    }
    for (const std::string& value : entry.values) {
      if (auto applied = entry.apply(value); !applied) {
        return Error{"option " + entry.name + ": " + applied.error().message};
      }
    }
    return {};
  }

  // Of NAME=VALUE: an option without a value takes none this way either, and nothing after the sign
  // is no value.
  [[nodiscard]] Result<void> checkAssignments(const Arguments& arguments) const {
    for (const std::string& argument : arguments) {
      const std::size_t equals = argument.find('=');
      const auto entry = std::ranges::find(entries_, argument.substr(0, equals), &Entry::name);
      if (equals == std::string::npos || entry == entries_.end()) {
        continue;
      }
      if (!entry->takesValue) {
        return Error{"option " + entry->name + " takes no value"};
      }
      if (equals + 1 == argument.size()) {
        return Error{"option " + entry->name + " needs a value"};
      }
    }
    return {};
  }

  // Only the last argument can be an option that lacks its value.
  static Error missingValue(const Arguments& arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    return {"option " + (mark == arguments.begin() ? std::string{} : *(mark - 1)) +
            " needs a value"};
  }

  [[nodiscard]] Error unknownOption(const std::string& typed) const {
    std::vector<std::string_view> known = {"--help"};
    for (const Entry& entry : entries_) {
      known.push_back(entry.name);
    }
    const std::string name = typed.substr(0, typed.find('='));
    // Every single letter is near to every other.
    return {"unknown option '" + name + "'" +
            (name.starts_with("--") ? suggestion(name, known) : std::string())};
  }

  CLI::App app_;
  std::deque<Entry> entries_;  // options point into them
};

bool asksForHelp(const Arguments& arguments) {
  const auto mark = std::find(arguments.begin(), arguments.end(), "--");
  return std::any_of(arguments.begin(), mark, [](const std::string& argument) {
    return argument == "--help" || argument == "-h";
  });
}

void addRunOptions(OptionReader& reader, RunSettings& settings) {
  for (const RunOption& option : runOptions()) {
    reader.add(option.names, !option.value.empty(), [&option, &settings](const std::string& value) {
      return option.apply(settings, value);
    });
  }
}

// Whether files are adjusted in place, or one of them into a new file.
enum class Target { inPlace, preview };

void addTargetOption(OptionReader& reader, Target target, RunSettings& settings) {
  if (target == Target::inPlace) {
    return;
  }
  reader.add("-o,--output", true, [&settings](const std::string& value) -> Result<void> {
    if (value.empty()) {
      return Error{"needs a name"};
    }
    settings.outputFile = value;
    return {};
  });
}

Result<void> checkFiles(const std::vector<std::string>& files, const RunSettings& settings,
                        Target target) {
  if (auto checked = checkTogether(settings); !checked) {
    return checked.error();
  }
  if (files.empty() && !settings.filesFrom) {
    return Error{"no files given"};
  }
  return target == Target::preview ? checkPreview(settings, files.size()) : Result<void>{};
}

Result<void> storeCurve(const std::string& key, const std::string& value,
                        ParameterDictionary& parameters) {
  const auto points = parseCurvePoints(value);
  if (!points) {
    return points.error();
  }
  std::string text;
  for (const CurvePoint& point : *points) {
    if (!text.empty()) {
      text += ',';
    }
    text += formatF(point.x * kCurveScale / 255) + ' ' + formatF(point.y * kCurveScale / 255);
  }
  parameters.setObject_forKey(std::to_string(points->size()), key + "N");
  parameters.setObject_forKey(std::move(text), key + "Points");
  return {};
}

Result<void> storeSetting(const Setting& setting, const std::string& value,
                          ParameterDictionary& parameters) {
  const std::string key(setting.key);
  if (setting.kind == SettingKind::curve) {
    return storeCurve(key, value, parameters);
  }
  if (setting.kind == SettingKind::color) {
    const auto color = parseColor(value);
    if (!color) {
      return color.error();
    }
    const double components[] = {color->red, color->green, color->blue, color->alpha};
    for (std::size_t i = 0; i < std::size(kColorComponents); ++i) {
      parameters.setObject_forKey(formatF(components[i]), key + std::string(kColorComponents[i]));
    }
    return {};
  }
  const auto number = parseNumber(value);
  if (!number) {
    return number.error();
  }
  if (*number < setting.low || *number > setting.high) {
    return Error{"must be from " + rangeText(setting) + ", not " + value};
  }
  parameters.setObject_forKey(formatF(*number), key);
  return {};
}

void storeInitial(const Setting& setting, ParameterDictionary& parameters) {
  const std::string key(setting.key);
  if (setting.kind == SettingKind::number) {
    parameters.setObject_forKey(std::string(setting.initial), key);
    return;
  }
  if (setting.kind == SettingKind::curve) {
    [[maybe_unused]] const auto stored = storeCurve(key, std::string(setting.initial), parameters);
    return;
  }
  for (std::size_t i = 0; i < std::size(kColorComponents); ++i) {
    parameters.setObject_forKey(std::string(initialColorTexts()[i]),
                                key + std::string(kColorComponents[i]));
  }
}

Result<Command> parseAdjustment(const Adjustment& adjustment, const Arguments& arguments,
                                Target target) {
  if (asksForHelp(arguments)) {
    return Command{ShowText{adjustmentHelp(adjustment)}};
  }
  RunAdjustment command;
  command.parameters.setObject_forKey(std::to_string(adjustment.filterNumber), "filterPopUp");
  OptionReader reader;
  for (const Setting& setting : adjustment.settings) {
    storeInitial(setting, command.parameters);
    reader.add("--" + std::string(setting.option), true,
               [&setting, &command](const std::string& value) {
                 return storeSetting(setting, value, command.parameters);
               });
  }
  addRunOptions(reader, command.settings);
  addTargetOption(reader, target, command.settings);
  auto files = reader.read(arguments);
  if (!files) {
    return files.error();
  }
  if (auto checked = checkFiles(*files, command.settings, target); !checked) {
    return checked.error();
  }
  command.files = std::move(files).value();
  return Command{std::move(command)};
}

// The first name, if it is a workflow's; it is no longer among the files then.
std::string takeWorkflow(std::vector<std::string>& files) {
  if (files.empty() || !files.front().ends_with(kWorkflowExtension)) {
    return {};
  }
  std::string workflow = files.front();
  files.erase(files.begin());
  return workflow;
}

Result<Command> parseRun(const Arguments& arguments, Target target) {
  if (asksForHelp(arguments)) {
    return Command{ShowText{runHelp()}};
  }
  RunWorkflow command;
  OptionReader reader;
  const auto addOverride = [&command](const std::string& text) -> Result<void> {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
      return Error{"must be KEY=VALUE, not '" + text + "'"};
    }
    command.overrides.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    return {};
  };
  reader.add("--set", true, addOverride, true);
  addRunOptions(reader, command.settings);
  addTargetOption(reader, target, command.settings);
  auto files = reader.read(arguments);
  if (!files) {
    return files.error();
  }
  command.files = std::move(files).value();
  command.workflow = takeWorkflow(command.files);
  if (auto checked = checkFiles(command.files, command.settings, target); !checked) {
    return checked.error();
  }
  return Command{std::move(command)};
}

Result<Command> parseNamed(const std::string& name, const Arguments& arguments, Target target);

Result<Command> parsePreview(const Arguments& arguments) {
  const std::string_view first = arguments.empty() ? std::string_view() : arguments.front();
  if (first.empty()) {
    return Error{"nothing to preview; 'kelvo preview --help' tells how"};
  }
  if (first == "--help" || first == "-h") {
    return Command{ShowText{previewHelp()}};
  }
  return parseNamed(arguments.front(), Arguments(arguments.begin() + 1, arguments.end()),
                    Target::preview);
}

Result<Command> parseEdit(const Arguments& arguments) {
  if (asksForHelp(arguments)) {
    return Command{ShowText{editHelp()}};
  }
  auto files = OptionReader().read(arguments);
  if (!files) {
    return files.error();
  }
  EditWorkflow command;
  command.workflow = takeWorkflow(*files);
  command.files = std::move(files).value();
  return Command{std::move(command)};
}

Result<Command> parseFormats(const Arguments& arguments) {
  if (asksForHelp(arguments)) {
    return Command{ShowText{formatsHelp()}};
  }
  const bool json = arguments == Arguments{"--json"};
  if (!arguments.empty() && !json) {
    return Error{"'formats' takes no arguments but --json"};
  }
  return Command{ListFormats{.json = json}};
}

// The commands that run over files.
Result<Command> parseNamed(const std::string& name, const Arguments& arguments, Target target) {
  if (name == "run") {
    return parseRun(arguments, target);
  }
  if (const Adjustment* adjustment = findAdjustment(name)) {
    return parseAdjustment(*adjustment, arguments, target);
  }
  std::vector<std::string_view> known = {"run"};
  if (target == Target::inPlace) {
    known = {"run", "preview", "edit", "formats", "--help", "--version"};
  }
  for (const Adjustment& adjustment : adjustments()) {
    known.push_back(adjustment.name);
  }
  const bool option = name.starts_with('-');
  return Error{std::string(option ? "unknown option '" : "unknown adjustment or command '") + name +
               "'" + suggestion(name, known)};
}

}  // namespace

Result<Command> parseCommandLine(const Arguments& arguments) {
  if (arguments.empty()) {
    return Error{"no command given; 'kelvo --help' lists them"};
  }
  const std::string& name = arguments.front();
  const Arguments rest(arguments.begin() + 1, arguments.end());
  if (name == "--help" || name == "-h") {
    return Command{ShowText{generalHelp()}};
  }
  if (name == "--version") {
    return Command{ShowText{versionText()}};
  }
  if (name == "preview") {
    return parsePreview(rest);
  }
  if (name == "formats") {
    return parseFormats(rest);
  }
  if (name == "edit") {
    return parseEdit(rest);
  }
  return parseNamed(name, rest, Target::inPlace);
}

}  // namespace kelvo::host
