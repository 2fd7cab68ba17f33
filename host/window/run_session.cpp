#include "host/window/run_session.h"

#include <chrono>
#include <utility>

#include "host/run/workflow_run.h"

namespace kelvo::window {

// Passes everything on to the thread of the user interface.
class RunSession::Audience final : public host::RunAudience {
 public:
  explicit Audience(RunSession& session) : session_(session) {}

  // What concerns a file comes again with the last word about it.
  void message(std::string_view /*line*/) override {}
  void begun(std::size_t file) override { emit session_.begun(static_cast<qsizetype>(file)); }
  void settled(std::size_t file, const host::FileRecord& record,
               const std::string& /*output*/) override {
    const std::string& messages = record.errors.empty() ? record.warnings : record.errors;
    emit session_.settled(static_cast<qsizetype>(file), record.outcome,
                          QString::fromStdString(messages));
  }
  [[nodiscard]] std::chrono::milliseconds refresh() const override {
    return std::chrono::milliseconds(100);
  }
  void progress(const host::ProgressState& state) override { emit session_.progressed(state); }
  void stopping(std::size_t /*inWork*/) override {}
  void ended(std::size_t rewritten, std::size_t files, double seconds) override {
    emit session_.ended(static_cast<qsizetype>(rewritten), static_cast<qsizetype>(files), seconds);
  }

 private:
  RunSession& session_;
};

RunSession::RunSession(host::RunPlan plan, std::optional<host::OutputDirectory> output,
                       QObject* parent)
    : QObject(parent), plan_(std::move(plan)), output_(std::move(output)) {}

void RunSession::start() {
  thread_ = std::thread([this] {
    Audience audience(*this);
    host::WorkflowRun(std::move(plan_), std::move(output_), stop_, audience).run();
  });
}

RunSession::~RunSession() {
  stop_.request();
  stop_.request();
  if (thread_.joinable()) {
    thread_.join();
  }
}

}  // namespace kelvo::window
