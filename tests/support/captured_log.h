#pragma once

#include <string>
#include <vector>

#include "platform/foundation/ns_log.h"

namespace kelvo::testing {

// Takes what is logged while it lives.
class CapturedLog {
 public:
  struct Line {
    std::string text;
    std::string path;
    std::string detail;
  };

  CapturedLog() {
    previous_ = setLogSink([this](const LogRecord& record) {
      lines_.push_back(
          {std::string(record.text), std::string(record.path), std::string(record.detail)});
    });
  }
  ~CapturedLog() { setLogSink(previous_); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  [[nodiscard]] const std::vector<Line>& lines() const { return lines_; }
  [[nodiscard]] std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const Line& line : lines_) texts.push_back(line.text);
    return texts;
  }

 private:
  LogSink previous_;
  std::vector<Line> lines_;
};

}  // namespace kelvo::testing
