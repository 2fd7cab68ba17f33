#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace kelvo::host {

// What a run of the program left behind.
struct Finished {
  int status = -1;  // exit status; 128 and the signal if one ended it
  std::string output;
  std::string errors;
};

struct StartOptions {
  std::string input;              // on standard input
  bool closedOutput = false;      // nobody reads standard output
  bool terminal = false;          // standard error is a terminal
  std::string outputFile;         // not empty: standard output goes there
  std::filesystem::path actions;  // KELVO_ACTIONS_PATH; empty: the fake action's
};

// The program, running with the fake action in place of the real one.
class KelvoProcess {
 public:
  explicit KelvoProcess(const std::vector<std::string>& arguments,
                        const StartOptions& options = {});
  ~KelvoProcess();
  KelvoProcess(const KelvoProcess&) = delete;
  KelvoProcess& operator=(const KelvoProcess&) = delete;

  [[nodiscard]] pid_t id() const { return id_; }
  void signal(int number) const;
  // The processes it has started that are still there, dead ones that it has not asked after too.
  [[nodiscard]] std::vector<pid_t> children() const;
  [[nodiscard]] std::size_t openDescriptors() const;
  // Reads until what it has written contains this.
  void awaitOutput(const std::string& text) { await(output_, finished_.output, text); }
  void awaitErrors(const std::string& text) { await(errors_, finished_.errors, text); }
  // Reads what it writes until it ends.
  Finished wait();

 private:
  static void await(int descriptor, std::string& read, const std::string& text);

  Finished finished_;
  pid_t id_ = -1;
  int output_ = -1;
  int errors_ = -1;
};

Finished runKelvo(const std::vector<std::string>& arguments, const StartOptions& options = {});

// A directory of its own for a test, and files of the fake action in it.
class Workplace {
 public:
  Workplace();
  ~Workplace();
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return (root_ / name).string(); }
  // Makes a file that tells the fake action what to do.
  std::string file(const std::string& name, const std::string& command = "ok") const;
  [[nodiscard]] std::string read(const std::string& name) const;
  [[nodiscard]] bool exists(const std::string& name) const;
  // How often the fake action has rewritten the file.
  [[nodiscard]] int rewritings(const std::string& name) const;
  // A workflow of the fake action with these parameters, as JSON objects, one for each action.
  std::string workflow(const std::string& name, const std::vector<std::string>& parameters) const;
  // Waits until the fake action has begun a file that tells it to wait, and lets it go on.
  void awaitBegun(const std::string& name) const;
  void letGo(const std::string& name) const;

 private:
  std::filesystem::path root_;
};

}  // namespace kelvo::host
