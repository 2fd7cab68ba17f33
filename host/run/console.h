#pragma once

#include <poll.h>

#include <string>
#include <string_view>
#include <vector>

#include "host/run/interrupts.h"

namespace kelvo::host {

// Text with every control character, also of the upper half of 8-bit encodings, and every change of
// the writing direction replaced by '?', so that the name of a file can neither break a line nor
// command a terminal.
std::string printable(std::string_view text);

// Writes to a descriptor without ever waiting for the reader.
class QuietWriter {
 public:
  explicit QuietWriter(int descriptor) : descriptor_(descriptor) {}

  void append(std::string_view text);
  // Writes what can be written at once.
  void pump();
  [[nodiscard]] std::size_t pending() const { return text_.size() - start_; }
  [[nodiscard]] int descriptor() const { return descriptor_; }
  // The errno of a failed write, 0 if there was none. After one, what is appended is dropped.
  [[nodiscard]] int failure() const { return failure_; }

 private:
  int descriptor_;
  std::string text_;
  std::size_t start_ = 0;
  int failure_ = 0;
};

// Standard output, which carries the results, and standard error, which carries messages and below
// them the progress line. Nothing here waits but finish().
class Console {
 public:
  Console(int output, int error) : output_(output), error_(error) {}

  // Bytes for standard output, as they are.
  void result(std::string_view bytes) { output_.append(bytes); }
  // One line for standard error, above the progress line.
  void message(std::string_view line);
  // Replaces the progress line; empty takes it away. Dropped while the terminal is behind.
  void progress(std::string_view line);

  void pump();
  // The descriptors that have something to be written yet.
  void addWaiting(std::vector<pollfd>& descriptors) const;
  // The readers are so far behind that no more should be produced.
  [[nodiscard]] bool congested() const;

  // Waits until everything is written, or until the user has interrupted `patience` times in all.
  void finish(const Interrupts& interrupts, int patience);

  // What is wrong with standard output, 0 if nothing; a reader that has gone away is nothing wrong.
  [[nodiscard]] int outputFailure() const;

 private:
  QuietWriter output_;
  QuietWriter error_;
  std::string progressLine_;
};

}  // namespace kelvo::host
