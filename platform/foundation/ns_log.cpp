#include "platform/foundation/ns_log.h"

#include <unistd.h>

#include <memory>
#include <mutex>
#include <utility>

#include "platform/foundation/system_log.h"

namespace kelvo {
namespace {

// The log is the one thing every layer of a process shares.
struct Log {
  std::mutex mutex;
  std::shared_ptr<const LogSink> sink;  // null: the standard places
};

Log& log() {
  static Log instance;
  return instance;
}

thread_local std::string currentSubject;

void writeToStandardError(const LogRecord& record) {
  const std::string line = formatLogRecord(record) + '\n';
  // One call a line, so that the lines of several processes do not mix.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace

void NSLog(std::string_view text, std::string_view detail) {
  std::shared_ptr<const LogSink> sink;
  {
    const std::lock_guard lock(log().mutex);
    sink = log().sink;
  }
  const LogRecord record{text, currentSubject, detail};
  if (sink) {
    (*sink)(record);
  } else {
    writeToStandardError(record);
    writeToSystemLog(record);
  }
}

LogSubject::LogSubject(std::string path)
    : previous_(std::exchange(currentSubject, std::move(path))) {}

LogSubject::~LogSubject() { currentSubject = std::move(previous_); }

LogSink setLogSink(LogSink sink) {
  auto next = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
  const std::lock_guard lock(log().mutex);
  const auto previous = std::exchange(log().sink, std::move(next));
  return previous ? *previous : LogSink{};
}

std::string formatLogRecord(const LogRecord& record) {
  std::string line;
  if (!record.path.empty()) {
    line.append(record.path).append(": ");
  }
  line += record.text;
  if (!record.detail.empty()) {
    line.append(" (").append(record.detail).append(")");
  }
  return line;
}

}  // namespace kelvo
