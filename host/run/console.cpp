#include "host/run/console.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace kelvo::host {
namespace {

constexpr std::size_t kFarBehind = std::size_t{1} << 20U;
constexpr std::string_view kClearLine = "\r\x1b[K";

}  // namespace

std::string printable(std::string_view text) {
  std::string shown(text);
  std::ranges::replace_if(
      shown, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
  return shown;
}

void QuietWriter::append(std::string_view text) {
  if (failure_ == 0) {
    text_ += text;
  }
}

void QuietWriter::pump() {
  while (pending() > 0 && failure_ == 0) {
    pollfd ready{descriptor_, POLLOUT, 0};
    if (::poll(&ready, 1, 0) <= 0 || ready.revents == 0) {
      return;
    }
    // A pipe that is ready takes this much without waiting.
    const ssize_t written =
        ::write(descriptor_, text_.data() + start_, std::min<std::size_t>(pending(), PIPE_BUF));
    if (written < 0 && errno != EINTR && errno != EAGAIN) {
      failure_ = errno;
      text_.clear();
      start_ = 0;
      return;
    }
    if (written < 0) {
      return;
    }
    start_ += static_cast<std::size_t>(written);
  }
  text_.erase(0, start_);
  start_ = 0;
}

void Console::message(std::string_view line) {
  std::string text;
  if (!progressLine_.empty()) {
    text += kClearLine;
  }
  text.append(printable(line)).append("\n");
  error_.append(text + progressLine_);
}

void Console::progress(std::string_view line) {
  if (error_.pending() > 0 && !line.empty()) {
    return;
  }
  if (!progressLine_.empty() || !line.empty()) {
    error_.append(std::string(kClearLine).append(line));
  }
  progressLine_ = line;
}

void Console::pump() {
  output_.pump();
  error_.pump();
}

void Console::addWaiting(std::vector<pollfd>& descriptors) const {
  for (const QuietWriter* writer : {&output_, &error_}) {
    if (writer->pending() > 0) {
      descriptors.push_back({writer->descriptor(), POLLOUT, 0});
    }
  }
}

bool Console::congested() const {
  return output_.pending() > kFarBehind || error_.pending() > kFarBehind;
}

void Console::finish(const Interrupts& interrupts, int patience) {
  while (true) {
    pump();
    std::vector<pollfd> waiting;
    addWaiting(waiting);
    if (waiting.empty() || interrupts.count() >= patience) {
      return;
    }
    ::ppoll(waiting.data(), waiting.size(), nullptr, interrupts.waitMask());
  }
}

int Console::outputFailure() const { return output_.failure() == EPIPE ? 0 : output_.failure(); }

}  // namespace kelvo::host
