#include "host/run/console.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace kelvo::host {
namespace {

constexpr std::size_t kFarBehind = std::size_t{1} << 20U;
constexpr std::string_view kClearLine = "\r\x1b[K";

// Control characters of either kind, and what turns the order of the text around it.
bool commandsTerminal(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x061C || c == 0x200E || c == 0x200F ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

struct Character {
  char32_t code = 0;
  std::size_t bytes = 0;  // 0: not UTF-8
};

Character firstCharacter(std::string_view text) {
  const auto byte = [&](std::size_t at) -> char32_t {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
  };
  const char32_t lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  char32_t code = lead & (0x7FU >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    if (byte(i) >> 6U != 2) return {};
    code = code << 6U | (byte(i) & 0x3FU);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  if (lead < 0xC0 || lead > 0xF4 || code < kSmallest[bytes] || code > 0x10FFFF || surrogate)
    return {};
  return {code, bytes};
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const Character first = firstCharacter(text);
    const std::size_t bytes = std::max<std::size_t>(first.bytes, 1);
    // A byte that is not UTF-8 may be a letter of an older encoding.
    const char32_t code = first.bytes > 0 ? first.code : static_cast<unsigned char>(text.front());
    if (commandsTerminal(code)) {
      shown += '?';
    } else {
      shown += text.substr(0, bytes);
    }
    text.remove_prefix(bytes);
  }
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
