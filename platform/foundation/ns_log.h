#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace kelvo {

// One line of the log: the fixed text, and beside it the file concerned and the cause.
struct LogRecord {
  std::string_view text;    // "Error: Cann't load this file, status problem"
  std::string_view path;    // empty if no file is concerned
  std::string_view detail;  // empty if there is no more to say
};

// Writes one line to the log, naming the innermost LogSubject of this thread as the file concerned.
void NSLog(std::string_view text, std::string_view detail = {});

// While it lives, lines logged by this thread concern this file.
class LogSubject {
 public:
  explicit LogSubject(std::string path);
  ~LogSubject();
  LogSubject(const LogSubject&) = delete;
  LogSubject& operator=(const LogSubject&) = delete;

 private:
  std::string previous_;
};

// Where lines go. Initially standard error, as "PATH: TEXT (DETAIL)", and the system log, where the
// text travels with the path and the detail as fields of their own. Setting an empty sink restores
// that. Returns the sink that was in place.
using LogSink = std::function<void(const LogRecord&)>;
LogSink setLogSink(LogSink sink);

// "PATH: TEXT (DETAIL)".
std::string formatLogRecord(const LogRecord& record);

}  // namespace kelvo
