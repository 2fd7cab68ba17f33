#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/file_descriptor.h"
#include "platform/image_io/mapped_file.h"

namespace kelvo {

class FileSystem;

struct ReplacementOptions {
  bool keepTimes = false;
  bool breakLinks = false;
  bool dryRun = false;
  std::string backupSuffix = {};
  bool create = false;  // where there is no file yet, make one
};

// One file on its way to being replaced: the old one, and a new one beside it in the same directory
// that nobody else sees. At every instant the name stands for the whole old or the whole new file.
//
// The new file has no name where the file system can do that, and gets one only for the instant
// before the rename; elsewhere it has that name from the start. The name follows from the target's,
// and whoever writes it holds a lock on it: a file of that name without a lock was left by a
// program that was killed, and the next replacement of the same target clears it.
//
// A file that is not there yet is made in the same way: its name appears with the whole file behind
// it, or not at all. It gets the mode of any new file.
class FileReplacement {
 public:
  // Symbolic links are followed and stay links. Errors: not an existing regular file, not writable,
  // several hard links, a backup that exists already, another program replacing the same file.
  // With `create` it need not exist.
  static Result<std::unique_ptr<FileReplacement>> begin(const std::string& path,
                                                        const ReplacementOptions& options,
                                                        FileSystem& fileSystem);
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  // Whatever was not committed is gone without a trace.
  ~FileReplacement();

  // The new file, open for reading and writing.
  [[nodiscard]] int descriptor() const { return temporary_.get(); }
  // What the file to be replaced was when this began.
  [[nodiscard]] const FileIdentity& identity() const { return identity_; }
  [[nodiscard]] const std::string& resolvedPath() const { return resolvedPath_; }

  // The new file's contents are complete: onto the disk with them, and the old file's attributes
  // onto the new one.
  Result<void> sealContents();
  // Replaces the old file. An error leaves it as it was. A new file takes nobody's place: if there
  // is one by now, that is an error.
  Result<void> commit();

  [[nodiscard]] const std::vector<std::string>& warnings() const { return warnings_; }

 private:
  FileReplacement(std::string resolvedPath, ReplacementOptions options, FileSystem& fileSystem);

  [[nodiscard]] bool isNew() const { return !old_.open(); }
  [[nodiscard]] mode_t temporaryMode() const;
  Result<void> openOld();
  Result<void> checkBackup();
  Result<void> clearDebris();
  Result<void> createTemporary();
  Result<void> createNamedTemporary();
  Result<void> lockTemporary();
  Result<void> syncTemporary();
  Result<void> keepTimes();
  int linkTemporary(const std::string& name);
  Result<void> nameTemporary();
  Result<void> checkUnchanged();
  Result<void> makeBackup();
  Result<void> takeName();
  int syncDirectory();

  std::string resolvedPath_;
  std::string name_;           // of the target in its directory
  std::string temporaryName_;  // of the new file in the same directory
  std::string backupName_;     // empty: none wanted
  ReplacementOptions options_;
  FileSystem* fileSystem_;
  FileDescriptor directory_;
  bool directoryReadable_ = true;
  FileDescriptor old_;  // closed: there was no file
  FileDescriptor temporary_;
  struct stat oldStatus_ = {};
  FileIdentity identity_;
  bool temporaryNamed_ = false;
  bool backupPresent_ = false;  // a link to the old file that an interrupted run made
  bool backupMade_ = false;
  std::vector<std::string> warnings_;
};

}  // namespace kelvo
