#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "platform/foundation/result.h"

namespace kelvo::host {

// Where adjusted copies go: the directory of --output-dir, or one new file. Copies are made and
// adjusted in a hidden directory inside it and get their own names only when they are done, so that
// nothing unfinished is ever found there.
class OutputDirectory {
 public:
  // Makes the directory if there is none, and clears what an interrupted run left in it. Errors:
  // two files of one name, or a name that is taken; then nothing has been changed.
  static Result<OutputDirectory> open(const std::string& path,
                                      const std::vector<std::string>& files);

  // The one copy of one file, under a name of its own, in a directory that exists.
  static Result<OutputDirectory> openForOne(const std::string& output, const std::string& file);

  OutputDirectory(OutputDirectory&& other) noexcept = default;
  OutputDirectory& operator=(OutputDirectory&& other) = delete;
  ~OutputDirectory();

  // Where the copy of a file is made and adjusted.
  [[nodiscard]] std::string stagedPath(const std::string& file) const;
  // Where it is found afterwards.
  [[nodiscard]] std::string finalPath(const std::string& file) const;

  // Gives the adjusted copy its name. An error if the name has been taken meanwhile.
  Result<void> publish(const std::string& file) const;
  // Removes the copy, if there is one.
  void discard(const std::string& file) const;

 private:
  OutputDirectory() = default;

  static Result<OutputDirectory> openStage(OutputDirectory directory);

  std::string path_;
  std::string stage_;  // empty: given away
  Descriptor stageLock_;
  bool made_ = false;  // the directory itself
  std::string only_;   // the name of the one copy; empty: each has its file's
};

}  // namespace kelvo::host
