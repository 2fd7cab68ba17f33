#include "host/workers/worker_main.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>

#include "host/workers/channel.h"
#include "host/workers/confinement.h"
#include "host/workers/file_copy.h"
#include "host/workers/picture.h"
#include "host/workers/worker_process.h"
#include "platform/foundation/ns_log.h"
#include "platform/workflow/action_loading.h"

namespace kelvo::host {
namespace {

// The host is gone or talks nonsense: there is nobody left to work for.
constexpr int kAbandoned = 3;

class Worker {
 public:
  explicit Worker(Channel channel) : channel_(std::move(channel)) {}

  int run() {
    // Actions may log from threads of their own.
    setLogSink([this](const LogRecord& record) {
      send(LogMessage{std::string(record.text), std::string(record.path),
                      std::string(record.detail)});
    });
    const int status = serve();
    setLogSink({});
    return status;
  }

 private:
  int serve() {
    while (auto message = receive()) {
      if (const auto* setup = std::get_if<SetupMessage>(&*message)) {
        prepare(*setup);
      } else if (const auto* file = std::get_if<FileMessage>(&*message);
                 file != nullptr && loaded_.action) {
        adjust(*file);
      } else if (const auto* picture = std::get_if<PictureRequestMessage>(&*message);
                 picture != nullptr && !loaded_.action) {
        show(*picture);
      } else {
        return kAbandoned;
      }
    }
    return EXIT_SUCCESS;
  }

  void prepare(const SetupMessage& setup) {
    auto loaded = loadAction(setup.bundlePath);
    if (!loaded) {
      send(SetupFailedMessage{loaded.error().message});
      return;
    }
    loaded_ = std::move(loaded).value();
    if (loaded_.bundle->info().confined) {
      // Where the kernel has no means, the worker goes on without.
      confineProcess(setup.writable);
    }
    loaded_.action->setParameters(setup.parameters);
    options_.replace.limits = {setup.maxPixels, setup.maxFrames, setup.maxMemoryBytes,
                               setup.threads};
    options_.replace.encode.keepDepth = setup.keepDepth;
    options_.replace.encode.dropGainMap = setup.dropGainMap;
    options_.replace.encode.threads = setup.threads;
    options_.replace.keepTimes = setup.keepTimes;
    options_.replace.breakLinks = setup.breakLinks;
    options_.replace.dryRun = setup.dryRun;
    options_.onFile = [this](const FileOutcome& outcome) { outcome_ = outcome; };
    options_.onProgress = [this](std::uint64_t framePixels) { tellProgress(framePixels); };
    loaded_.action->setRunOptions(options_);
    loaded_.action->opened();
    send(ReadyMessage{});
  }

  void show(const PictureRequestMessage& request) {
    if (!std::exchange(showing_, true)) {
      confineProcess({});
    }
    forgetProgress();
    send(makePicture(request, [this](std::uint64_t framePixels) { tellProgress(framePixels); }));
  }

  void adjust(const FileMessage& file) {
    forgetProgress();
    DoneMessage done;
    if (file.copyFrom.empty() || copy(file, done.warnings)) {
      if (options_.replace.backupSuffix != file.backupSuffix) {
        options_.replace.backupSuffix = file.backupSuffix;
        loaded_.action->setRunOptions(options_);
      }
      outcome_.reset();
      const WorkflowValue result =
          loaded_.action->runWithInput_fromAction_error(PathList{file.path}, nullptr, nullptr);
      const auto* rewritten = std::get_if<PathList>(&result);
      done.rewritten = rewritten != nullptr && !rewritten->empty();
    }
    if (outcome_) {
      done.frames = outcome_->frames;
      done.sourceDepth = outcome_->sourceDepth;
      done.writtenDepth = outcome_->writtenDepth;
      std::ranges::move(outcome_->warnings, std::back_inserter(done.warnings));
    }
    send(std::move(done));
  }

  // Another file is begun.
  void forgetProgress() {
    const std::lock_guard lock(telling_);
    toldPixels_ = 0;
  }

  // A few times a second is often enough for the host, unless the frame is another one.
  void tellProgress(std::uint64_t framePixels) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    {
      const std::lock_guard lock(telling_);
      if (framePixels == toldPixels_ && now - told_ < std::chrono::milliseconds(200)) return;
      toldPixels_ = framePixels;
      told_ = now;
    }
    send(ProgressMessage{framePixels});
  }

  bool copy(const FileMessage& file, std::vector<std::string>& warnings) {
    outcome_.reset();
    const auto failure = copyFile(file.copyFrom, file.path, warnings);
    if (failure) {
      const LogSubject subject(file.copyFrom);
      NSLog(failure->source ? "Error: Cann't load this file, source problem"
                            : "Error: Cann't make the copy",
            failure->message);
    }
    return !failure;
  }

  // Absent when the host has closed the channel.
  std::optional<Message> receive() {
    while (true) {
      auto next = channel_.next();
      if (!next) {
        ::_exit(kAbandoned);
      }
      if (*next) {
        return std::move(**next);
      }
      if (!channel_.receive(true)) {
        return std::nullopt;
      }
    }
  }

  void send(const Message& message) {
    const std::lock_guard lock(sending_);
    if (!channel_.send(message)) {
      ::_exit(kAbandoned);
    }
  }

  Channel channel_;
  std::mutex sending_;
  std::mutex telling_;            // guards the two below
  std::uint64_t toldPixels_ = 0;  // of this file
  std::chrono::steady_clock::duration told_{};
  LoadedAction loaded_;
  RunOptions options_;
  std::optional<FileOutcome> outcome_;
  bool showing_ = false;  // this worker makes pictures to look at, nothing else
};

}  // namespace

int workerMain(const std::string& host) {
  // Dies with its host, also while it is working on a file: files are replaced whole or not at all.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (std::to_string(::getppid()) != host) {
    return kAbandoned;
  }
  // A file that may not become as large as it has to is an error of the write, not the end.
  ::signal(SIGXFSZ, SIG_IGN);
  // Nothing that the action starts shares the socket.
  ::fcntl(kWorkerSocket, F_SETFD, FD_CLOEXEC);
  return Worker(Channel(Descriptor(kWorkerSocket))).run();
}

}  // namespace kelvo::host
