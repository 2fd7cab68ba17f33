#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "platform/foundation/ns_log.h"
#include "platform/workflow/principal_class.h"

// An action that does to each file what the file's first line says:
//   ok             appends a line: the parameter "mark", or those of an adjustment, and the process
//   warn           the same, with a warning of the log and one of the outcome
//   deep           the same, and says that 16 bits became 8, or stayed if that is asked for
//   fail           logs an error and leaves the file alone
//   skip           logs a warning and leaves the file alone
//   print          the same as ok, and prints to standard output
//   silent         leaves the file alone without a word
//   crash, exit    ends the process
//   attack         tries what no adjustment has any need of, and appends what it could do
//   wait           makes FILE.begun, waits for FILE.go, then does as for ok
//   hang           makes FILE.begun, and nothing more for ever
//   slow           takes three seconds, and says all the time that it gets on
//   large          says that its frame is large, and then nothing for three seconds
// The parameter "opening" tells it to crash, exit or hang when it is opened.
namespace kelvo {
namespace {

namespace fs = std::filesystem;

std::string firstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

// Also where a sanitizer would turn the signal into an exit.
void crash() {
  std::signal(SIGSEGV, SIG_DFL);
  std::raise(SIGSEGV);
}

class FakeAction final : public AMBundleAction {
 public:
  void opened() override {
    const std::string opening = parameters().stringValue("opening");
    if (opening == "crash") crash();
    if (opening == "exit") std::exit(7);
    while (opening == "hang") std::this_thread::sleep_for(std::chrono::seconds(1));
    if (opening == "log") NSLog("Warning: opened");
    ++opened_;
  }

  WorkflowValue runWithInput_fromAction_error(const WorkflowValue& input, AMBundleAction*,
                                              WorkflowError*) override {
    PathList rewritten;
    for (const std::string& path : *std::get_if<PathList>(&input)) {
      FileOutcome outcome;
      outcome.path = path;
      outcome.rewritten = adjust(path, outcome);
      if (outcome.rewritten) rewritten.push_back(path);
      if (runOptions().onFile) runOptions().onFile(outcome);
    }
    return rewritten;
  }

 private:
  bool adjust(const std::string& path, FileOutcome& outcome) {
    const LogSubject subject(path);
    const std::string command = firstLine(path);
    if (!fs::exists(path)) {
      NSLog("Error: Cann't load this file, source problem", "there is no such file");
      return false;
    }
    outcome.frames = 3;
    outcome.sourceDepth = command == "deep" ? 16 : 8;
    outcome.writtenDepth = runOptions().replace.encode.keepDepth ? outcome.sourceDepth : 8;
    if (command == "fail") {
      NSLog("Error: Cann't load this file, status problem", "told to fail");
      return false;
    }
    if (command == "skip") {
      NSLog("Warning: Ignoring photoshop image");
      return false;
    }
    if (command == "silent") return false;
    if (command == "crash") crash();
    if (command == "exit") ::_exit(9);
    if (command == "print") std::puts("text of some library");
    if (command == "wait") wait(path);
    if (command == "hang") hang(path);
    if (command == "slow") work(30, 1);
    if (command == "large") work(1, 1'000'000);
    if (command == "warn") {
      NSLog("Warning: of the log", "why");
      outcome.warnings.emplace_back("of the outcome");
    }
    if (command == "attack") {
      rewrite(path, attack(path));
    } else {
      rewrite(path);
    }
    return true;
  }

  static std::string attack(const std::string& path) {
    const fs::path outside = fs::path(path).parent_path().parent_path();
    std::string done;
    const auto note = [&done](const char* what, bool could) {
      if (could) done += std::string(" ") + what;
    };
    note("thread", [] {
      bool ran = false;
      std::thread([&ran] { ran = true; }).join();
      return ran;
    }());
    note("read", !firstLine("/proc/self/status").empty());
    note("write-here", static_cast<bool>(std::ofstream(path + ".extra") << "x" << std::flush));
    note("write-outside",
         static_cast<bool>(std::ofstream(outside / "outside") << "x" << std::flush));
    note("truncate-outside", ::truncate((outside / "victim").c_str(), 0) == 0);
    note("remove-outside", ::unlink((outside / "victim").c_str()) == 0);
    note("link-outside", ::link(path.c_str(), (outside / "link").c_str()) == 0);
    note("make-directory", ::mkdir((path + ".directory").c_str(), 0700) == 0);
    note("make-symlink", ::symlink("/", (path + ".symlink").c_str()) == 0);
    note("network", ::socket(AF_INET, SOCK_STREAM, 0) >= 0);
    note("local-socket", ::socket(AF_UNIX, SOCK_DGRAM, 0) >= 0);
    note("signal-host", ::kill(::getppid(), 0) == 0);
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    if (child > 0) ::waitpid(child, nullptr, 0);
    note("fork", child > 0);
    pid_t spawned = -1;
    char program[] = "true";
    char* arguments[] = {program, nullptr};
    const bool started =
        ::posix_spawn(&spawned, "/bin/true", nullptr, nullptr, arguments, environ) == 0;
    if (started) ::waitpid(spawned, nullptr, 0);
    note("spawn", started);
    return done;
  }

  static void hang(const std::string& path) {
    std::ofstream(path + ".begun") << "";
    while (true) std::this_thread::sleep_for(std::chrono::seconds(1));
  }

  // Three seconds of work, in parts.
  void work(int parts, std::uint64_t pixels) {
    for (int part = 0; part < parts; ++part) {
      if (runOptions().onProgress) runOptions().onProgress(pixels);
      std::this_thread::sleep_for(std::chrono::milliseconds(3000 / parts));
    }
  }

  static void wait(const std::string& path) {
    std::ofstream(path + ".begun") << "";
    while (!fs::exists(path + ".go")) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  // Whole or not at all, like the real one.
  void rewrite(const std::string& name, const std::string& note = {}) {
    const std::string path = fs::canonical(name);
    std::ifstream old(path);
    std::string text((std::istreambuf_iterator<char>(old)), {});
    text += mark() + " process=" + std::to_string(::getpid()) +
            " opened=" + std::to_string(opened_) + note + "\n";
    const ReplaceOptions& options = runOptions().replace;
    if (options.dryRun) return;
    if (!options.backupSuffix.empty()) {
      fs::copy_file(path, path + options.backupSuffix);
    }
    std::ofstream(path + ".new") << text;
    fs::permissions(path + ".new", fs::status(path).permissions());
    fs::rename(path + ".new", path);
  }

  std::string mark() {
    if (const ParameterValue* given = parameters().objectForKey("mark")) {
      return given->stringValue();
    }
    std::string text;
    for (const auto& [key, value] : parameters().all()) {
      text += key + "=" + value.stringValue() + " ";
    }
    const ReplaceOptions& options = runOptions().replace;
    return text + "pixels=" + std::to_string(options.limits.maxPixels) +
           " frames=" + std::to_string(options.limits.maxFrames) +
           " memory=" + std::to_string(options.limits.maxMemoryBytes) +
           " times=" + std::to_string(options.keepTimes) +
           " links=" + std::to_string(options.breakLinks) +
           " gain=" + std::to_string(options.encode.dropGainMap) +
           " threads=" + std::to_string(options.limits.threads) + "," +
           std::to_string(options.encode.threads);
  }

  int opened_ = 0;
};

KELVO_EXPORT_PRINCIPAL_CLASS(FakeAction)

}  // namespace
}  // namespace kelvo
