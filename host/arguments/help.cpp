#include "host/arguments/help.h"

#include <fmt/format.h>

#include <algorithm>

#include <string_view>

#include "host/arguments/run_options.h"
#include "host/version.h"
#include "platform/foundation/parameter_value.h"

namespace kelvo::host {
namespace {

constexpr std::size_t kColumn = 26;  // where the explanations begin
constexpr std::size_t kWidth = 80;

// An option or a command, and what it does beside it, broken between words.
std::string line(std::string_view left, std::string_view right) {
  std::string text = fmt::format("  {:<{}}", left, kColumn - 2);
  std::size_t column = text.size();
  if (left.size() + 4 > kColumn) {
    column = kWidth;  // no room beside it
  }
  while (!right.empty()) {
    const std::string_view word = right.substr(0, right.find(' '));
    right.remove_prefix(std::min(right.size(), word.size() + 1));
    const bool first = column == kColumn;
    if (column + word.size() + 1 > kWidth) {
      text += fmt::format("\n{:{}}", "", kColumn);
      column = kColumn;
    } else if (!first) {
      text += ' ';
      ++column;
    }
    text += word;
    column += word.size();
  }
  return text + '\n';
}

std::string shortNumber(double number) { return ParameterValue(number).stringValue(); }

std::string optionNames(const RunOption& option) {
  std::string names(option.names);
  const std::size_t comma = names.find(',');
  if (comma != std::string::npos) {
    names.insert(comma + 1, " ");
  }
  if (!option.value.empty()) {
    names.append(" ").append(option.value);
  }
  return names;
}

std::string runOptionsHelp() {
  std::string text = "Options:\n";
  for (const RunOption& option : runOptions()) {
    text += line(optionNames(option), option.help);
  }
  text += line("-h, --help", "print this help");
  return text;
}

constexpr std::string_view kOutcome =
    "The rewritten files' names go to standard output, in the order of the input.\n"
    "Exit status: 0 all files were rewritten, 1 some were not, 2 wrong usage,\n"
    "130 interrupted.\n";

std::string initialText(const Setting& setting) {
  return setting.kind == SettingKind::number ? shortNumber(doubleValue(setting.initial))
                                             : std::string(setting.initial);
}

std::string_view valueName(SettingKind kind) {
  switch (kind) {
    case SettingKind::color:
      return "COLOR";
    case SettingKind::curve:
      return "POINTS";
    case SettingKind::number:
      break;
  }
  return "N";
}

}  // namespace

std::string rangeText(const Setting& setting) {
  std::string text = shortNumber(setting.low) + " to " + shortNumber(setting.high);
  if (!setting.unit.empty()) {
    text.append(" ").append(setting.unit);
  }
  return text;
}

std::string versionText() { return fmt::format("kelvo {}\n", kVersion); }

std::string generalHelp() {
  std::string text =
      "Adjusts the colour and tone of photographs, every frame of every file, in place.\n"
      "\n"
      "Usage: kelvo ADJUSTMENT [SETTINGS] [OPTIONS] FILE...\n"
      "       kelvo run [WORKFLOW] [--set KEY=VALUE]... [OPTIONS] FILE...\n"
      "       kelvo preview ADJUSTMENT|run ... FILE -o OUT\n"
      "       kelvo edit [WORKFLOW] [FILE...]\n"
      "       kelvo formats [--json] | --version | --help\n"
      "\n"
      "Adjustments:\n";
  for (const Adjustment& adjustment : adjustments()) {
    text += line(adjustment.name, adjustment.summary);
  }
  text += "\nOther commands:\n";
  text += line("run", "runs a saved workflow, a file whose name ends in .kelvo");
  text += line("preview", "adjusts one file into a new one and leaves the file alone");
  text += line("edit", "opens the window: settings, a live preview, a list of files");
  text += line("formats", "lists the image formats");
  text += "\nkelvo ADJUSTMENT --help lists its settings, their ranges and an example.\n\n";
  text += runOptionsHelp();
  text += line("--version", "print the version");
  text += "\n";
  text += kOutcome;
  return text;
}

std::string adjustmentHelp(const Adjustment& adjustment) {
  std::string text = fmt::format("{}: {}.\n\nUsage: kelvo {} {}[OPTIONS] FILE...\n\n",
                                 adjustment.title, adjustment.summary, adjustment.name,
                                 adjustment.settings.empty() ? "" : "[SETTINGS] ");
  if (!adjustment.settings.empty()) {
    text += "Settings:\n";
    for (const Setting& setting : adjustment.settings) {
      const std::string range = setting.kind == SettingKind::color ? "" : rangeText(setting) + ", ";
      text += line(fmt::format("--{} {}", setting.option, valueName(setting.kind)),
                   fmt::format("{} ({}default {})", setting.help, range, initialText(setting)));
    }
    text += "\n";
  }
  text += runOptionsHelp();
  text += fmt::format("\n{}\nExample: kelvo {}{}{} photo.jpg\n", kOutcome, adjustment.name,
                      adjustment.example.empty() ? "" : " ", adjustment.example);
  return text;
}

std::string runHelp() {
  std::string text =
      "Runs a saved workflow over files; without WORKFLOW, the action with its defaults.\n"
      "\n"
      "Usage: kelvo run [WORKFLOW] [--set KEY=VALUE]... [OPTIONS] FILE...\n"
      "\n"
      "The first name is taken for the workflow if it ends in .kelvo.\n"
      "\n"
      "Settings:\n";
  text += line("--set KEY=VALUE", "set one parameter of every action, whatever the workflow says");
  text += "\n";
  text += runOptionsHelp();
  text +=
      fmt::format("\n{}\nExample: kelvo run print.kelvo --set posterizeSlider=4 *.tif\n", kOutcome);
  return text;
}

std::string previewHelp() {
  std::string text =
      "Adjusts one file into a new one and leaves the file alone.\n"
      "\n"
      "Usage: kelvo preview ADJUSTMENT [SETTINGS] [OPTIONS] FILE -o OUT\n"
      "       kelvo preview run [WORKFLOW] [--set KEY=VALUE]... [OPTIONS] FILE -o OUT\n"
      "\n"
      "OUT has the format of FILE and must not exist yet.\n"
      "\n"
      "Settings:\n";
  text += line("-o, --output OUT", "the new file");
  text += "\n";
  text += runOptionsHelp();
  text += fmt::format(
      "\n{}\nExample: kelvo preview exposure --exposure 25 photo.jpg -o lighter.jpg\n", kOutcome);
  return text;
}

std::string editHelp() {
  return "Opens the window, to choose and tune an adjustment over a live preview, to save it as a\n"
         "workflow and to run it over files.\n"
         "\n"
         "Usage: kelvo edit [WORKFLOW] [FILE...]\n"
         "\n"
         "The first name is taken for the workflow if it ends in .kelvo. Of a folder, the files "
         "that\n"
         "are photographs are taken.\n"
         "\n"
         "Exit status: 0 the window was closed, 1 there is no display, 2 wrong usage, or the "
         "window\n"
         "is not installed.\n";
}

std::string formatsHelp() {
  return "Lists the image formats: their type identifiers, what is read of them, and what is kept\n"
         "besides the adjusted pixels.\n"
         "\n"
         "Usage: kelvo formats [--json]\n"
         "\n"
         "--json writes one record a format: format, type, written, read, kept.\n";
}

}  // namespace kelvo::host
