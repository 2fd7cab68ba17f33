#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "host/action_directories.h"
#include "host/arguments/command_line.h"
#include "host/arguments/format_list.h"
#include "host/process_end.h"
#include "host/run/console.h"
#include "host/run/interrupts.h"
#include "host/run/output_directory.h"
#include "host/run/run_plan.h"
#include "host/run/terminal_report.h"
#include "host/run/workflow_run.h"
#include "host/window_loading.h"
#include "host/workers/worker_main.h"
#include "host/workers/worker_process.h"

namespace kelvo::host {
namespace {

constexpr int kSomeNotRewritten = 1;
constexpr int kWrongUsage = 2;
constexpr int kInterrupted = 130;
// Interrupts after which not even the writing of results is waited for.
constexpr int kPatience = 3;

// Writes everything; the exit status is 0, or 1 if it could not be written.
int finish(Console& console, const Interrupts& interrupts) {
  console.finish(interrupts, kPatience);
  if (const int failure = console.outputFailure(); failure != 0) {
    console.message(std::string("kelvo: standard output cannot be written: ") +
                    std::strerror(failure));
    console.finish(interrupts, kPatience);
    return kSomeNotRewritten;
  }
  return EXIT_SUCCESS;
}

int show(Console& console, const std::string& text) {
  const Interrupts interrupts;
  console.result(text);
  return finish(console, interrupts);
}

int refuse(Console& console, const Error& error) {
  const Interrupts interrupts;
  console.message("kelvo: " + error.message);
  console.finish(interrupts, kPatience);
  return kWrongUsage;
}

int run(Console& console, Result<RunPlan> planned) {
  if (!planned) {
    return refuse(console, planned.error());
  }
  RunPlan plan = std::move(planned).value();
  std::optional<OutputDirectory> output;
  if (!plan.settings.outputDirectory.empty() || !plan.settings.outputFile.empty()) {
    auto opened = plan.settings.outputFile.empty()
                      ? OutputDirectory::open(plan.settings.outputDirectory, plan.files)
                      : OutputDirectory::openForOne(plan.settings.outputFile, plan.files.front());
    if (!opened) {
      return refuse(console, opened.error());
    }
    output.emplace(std::move(opened).value());
  }
  const Interrupts interrupts;
  TerminalReport report(console, plan.settings, plan.files);
  const bool all = WorkflowRun(std::move(plan), std::move(output), interrupts, report).run();
  const int written = finish(console, interrupts);
  if (interrupts.count() > 0) {
    return kInterrupted;
  }
  return all ? written : kSomeNotRewritten;
}

int edit(Console& console, const EditWorkflow& command) {
  if (const auto missing = missingDisplay()) {
    refuse(console, {"the window cannot be opened: " + *missing});
    return kSomeNotRewritten;
  }
  const auto window = loadWindow(libraryDirectories());
  if (!window) {
    return refuse(console, window.error());
  }
  std::vector<std::string> arguments = {"kelvo", command.workflow};
  arguments.insert(arguments.end(), command.files.begin(), command.files.end());
  std::vector<char*> values;
  for (std::string& argument : arguments) {
    values.push_back(argument.data());
  }
  values.push_back(nullptr);
  return window->open(static_cast<int>(arguments.size()), values.data());
}

int execute(Command command, Console& console) {
  return std::visit(
      [&](auto&& content) {
        using Content = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<Content, ShowText>) {
          return show(console, content.text);
        } else if constexpr (std::is_same_v<Content, ListFormats>) {
          return show(console, content.json ? formatListJson() : formatListText());
        } else if constexpr (std::is_same_v<Content, EditWorkflow>) {
          return edit(console, content);
        } else {
          return run(console, planRun(std::move(content), actionDirectories()));
        }
      },
      std::move(command));
}

// The numbers of the standard streams must not come to stand for anything else. A stream that was
// closed stays unusable: this opens each of them the wrong way round.
void holdStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) < 0) {
      [[maybe_unused]] const int opened =
          ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

int hostMain(const std::vector<std::string>& arguments) {
  holdStandardStreams();
  Console console(STDOUT_FILENO, STDERR_FILENO);
  auto command = parseCommandLine(arguments);
  if (!command) {
    return refuse(console, command.error());
  }
  return execute(std::move(command).value(), console);
}

}  // namespace
}  // namespace kelvo::host

int main(int count, char** values) try {
  const std::vector<std::string> arguments(values + (count > 0 ? 1 : 0), values + count);
  if (arguments.size() == 2 && arguments[0] == kelvo::host::kWorkerArgument) {
    kelvo::host::endProcess(kelvo::host::workerMain(arguments[1]));
  }
  kelvo::host::endProcess(kelvo::host::hostMain(arguments));
} catch (const std::exception& problem) {
  fmt::print(stderr, "kelvo: {}\n", problem.what());
  return EXIT_FAILURE;
}
