#include "platform/image_io/file_replacement.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "platform/image_io/errno_error.h"
#include "platform/image_io/file_attributes.h"
#include "platform/image_io/file_system.h"

namespace kelvo {
namespace {

constexpr const char* kBusy = "another program is replacing the file at this moment";

// FNV-1a, 64 bits: the temporary's name must be the same in every run on the same file.
std::uint64_t hashOf(const std::string& text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001b3;
  }
  return hash;
}

std::string temporaryNameFor(const std::string& name) {
  std::array<char, 32> text = {};
  std::snprintf(text.data(), text.size(), ".kelvo-%016llx.tmp",
                static_cast<unsigned long long>(hashOf(name)));
  return text.data();
}

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The path of a file that may not be there, with the links on the way to it followed.
Result<std::string> resolveNewPath(const std::string& path) {
  struct stat status = {};
  // A link that leads nowhere is an entry, too.
  if (::lstat(path.c_str(), &status) == 0 || errno != ENOENT) return resolvePath(path);
  const std::size_t slash = path.rfind('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (name.empty()) return Error{"it is not the name of a file"};
  auto directory = resolvePath(slash == std::string::npos ? "." : path.substr(0, slash + 1));
  if (!directory) return directory;
  return (*directory == "/" ? "" : *directory) + "/" + name;
}

std::string descriptorPath(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

}  // namespace

FileReplacement::FileReplacement(std::string resolvedPath, ReplacementOptions options,
                                 FileSystem& fileSystem)
    : resolvedPath_(std::move(resolvedPath)),
      name_(resolvedPath_.substr(resolvedPath_.rfind('/') + 1)),
      temporaryName_(temporaryNameFor(name_)),
      options_(std::move(options)),
      fileSystem_(&fileSystem) {
  if (!options_.backupSuffix.empty()) backupName_ = name_ + options_.backupSuffix;
}

FileReplacement::~FileReplacement() {
  if (temporaryNamed_) fileSystem_->unlinkat(directory_.get(), temporaryName_.c_str());
  if (backupMade_) fileSystem_->unlinkat(directory_.get(), backupName_.c_str());
}

Result<std::unique_ptr<FileReplacement>> FileReplacement::begin(const std::string& path,
                                                                const ReplacementOptions& options,
                                                                FileSystem& fileSystem) {
  auto resolved = options.create ? resolveNewPath(path) : resolvePath(path);
  if (!resolved) return std::move(resolved).error();
  if (options.backupSuffix.find('/') != std::string::npos) {
    return Error{"a backup's suffix cannot contain a slash"};
  }
  struct Access : FileReplacement {  // the constructor is private
    Access(std::string at, const ReplacementOptions& how, FileSystem& through)
        : FileReplacement(std::move(at), how, through) {}
  };
  std::unique_ptr<FileReplacement> replacement =
      std::make_unique<Access>(*std::move(resolved), options, fileSystem);
  if (auto done = replacement->openOld(); !done) return std::move(done).error();
  if (auto done = replacement->clearDebris(); !done) return std::move(done).error();
  if (auto done = replacement->createTemporary(); !done) return std::move(done).error();
  return replacement;
}

Result<void> FileReplacement::openOld() {
  const std::string directory = resolvedPath_.substr(0, resolvedPath_.rfind('/') + 1);
  directory_ = FileDescriptor(
      fileSystem_->openat(AT_FDCWD, directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  directoryReadable_ = directory_.open();
  if (!directoryReadable_ && errno == EACCES) {
    // One that nobody may list can still be one whose files may be replaced.
    directory_ = FileDescriptor(
        fileSystem_->openat(AT_FDCWD, directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
  }
  if (!directory_.open()) return errnoError("the file's directory could not be opened", errno);

  // Looked at before it is opened: opening a device can have effects, a FIFO waits.
  if (::fstatat(directory_.get(), name_.c_str(), &oldStatus_, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT && options_.create) return {};
    return errnoError("the file could not be examined", errno);
  }
  if (S_ISDIR(oldStatus_.st_mode)) return Error{"it is a directory"};
  if (!S_ISREG(oldStatus_.st_mode)) return Error{"it is not a regular file"};
  if (::faccessat(directory_.get(), name_.c_str(), W_OK, AT_EACCESS) != 0) {
    return errnoError("the file may not be written", errno);
  }
  // The superuser passes that test whatever the mode is; a file that nobody may write was
  // protected on purpose.
  if ((oldStatus_.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
    return errnoError("the file may not be written", EACCES);
  }
  old_ = FileDescriptor(fileSystem_->openat(directory_.get(), name_.c_str(),
                                            O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
  if (!old_.open()) return errnoError("the file could not be opened", errno);
  struct stat opened = {};
  if (::fstat(old_.get(), &opened) != 0) return errnoError("the file could not be examined", errno);
  if (!sameFile(opened, oldStatus_)) {
    return Error{"the file was changed by another program meanwhile"};
  }
  oldStatus_ = opened;
  identity_ = identityOf(opened);
  if (auto backup = checkBackup(); !backup) return backup;
  const nlink_t links = oldStatus_.st_nlink - (backupPresent_ ? 1 : 0);
  if (links > 1 && !options_.breakLinks) {
    return Error{"the file has " + std::to_string(links) +
                 " hard links; replacing it would part them (--break-links allows it)"};
  }
  return {};
}

Result<void> FileReplacement::checkBackup() {
  if (backupName_.empty()) return {};
  struct stat present = {};
  if (::fstatat(directory_.get(), backupName_.c_str(), &present, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return {};
    return errnoError("the backup could not be examined", errno);
  }
  // A run that was killed after it made the backup and before the rename leaves exactly this.
  backupPresent_ = sameFile(present, oldStatus_);
  if (backupPresent_) return {};
  return Error{"there is a backup named " + backupName_ + " already"};
}

Result<void> FileReplacement::clearDebris() {
  const FileDescriptor left(fileSystem_->openat(directory_.get(), temporaryName_.c_str(),
                                                O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
  if (!left.open()) {
    if (errno == ENOENT) return {};
    return errnoError("a left-over temporary file could not be opened", errno);
  }
  if (fileSystem_->flock(left.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return Error{kBusy};
    return errnoError("a left-over temporary file could not be locked", errno);
  }
  // Its writer may have renamed it between the two calls.
  struct stat held = {};
  struct stat named = {};
  if (::fstat(left.get(), &held) != 0 ||
      ::fstatat(directory_.get(), temporaryName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0 ||
      !sameFile(held, named)) {
    return Error{kBusy};
  }
  if (fileSystem_->unlinkat(directory_.get(), temporaryName_.c_str()) != 0) {
    return errnoError("a left-over temporary file could not be removed", errno);
  }
  return {};
}

// A new file is made as any program makes one, so that the mask for new files applies; one that
// takes another's place is nobody's business before it has that one's mode.
mode_t FileReplacement::temporaryMode() const {
  constexpr mode_t kOwnOnly = S_IRUSR | S_IWUSR;
  return isNew() ? kOwnOnly | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH : kOwnOnly;
}

Result<void> FileReplacement::createTemporary() {
  // Without /proc a nameless file cannot be given a name.
  if (::access("/proc/self/fd", F_OK) == 0) {
    temporary_ = FileDescriptor(fileSystem_->openat(
        directory_.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, temporaryMode()));
    if (temporary_.open()) return lockTemporary();
    // What kernels and file systems that have no such thing answer.
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT && errno != EINVAL) {
      return errnoError("the temporary file could not be created", errno);
    }
  }
  return createNamedTemporary();
}

Result<void> FileReplacement::createNamedTemporary() {
  temporary_ = FileDescriptor(
      fileSystem_->openat(directory_.get(), temporaryName_.c_str(),
                          O_CREAT | O_EXCL | O_RDWR | O_NOFOLLOW | O_CLOEXEC, temporaryMode()));
  if (!temporary_.open()) {
    if (errno == EEXIST) return Error{kBusy};
    return errnoError("the temporary file could not be created", errno);
  }
  temporaryNamed_ = true;
  if (auto locked = lockTemporary(); !locked) return locked;
  // Before the lock it looked like debris; somebody may have cleared it.
  struct stat held = {};
  struct stat named = {};
  if (::fstat(temporary_.get(), &held) != 0 ||
      ::fstatat(directory_.get(), temporaryName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0 ||
      !sameFile(held, named)) {
    temporaryNamed_ = false;
    return Error{kBusy};
  }
  return {};
}

Result<void> FileReplacement::lockTemporary() {
  if (fileSystem_->flock(temporary_.get(), LOCK_EX | LOCK_NB) == 0) return {};
  if (errno == EWOULDBLOCK) {
    temporaryNamed_ = false;  // the one who holds it is about to clear it
    return Error{kBusy};
  }
  return errnoError("the temporary file could not be locked", errno);
}

Result<void> FileReplacement::sealContents() {
  if (!isNew()) {
    warnings_ = copyAttributes(*fileSystem_, old_.get(), temporary_.get(), oldStatus_);
  }
  // Contents and attributes must be on the disk before the name points at them.
  return syncTemporary();
}

// After the new file was read back, which counts as an access.
Result<void> FileReplacement::keepTimes() {
  if (!options_.keepTimes || isNew()) return {};
  const std::array times = {oldStatus_.st_atim, oldStatus_.st_mtim};
  if (fileSystem_->futimens(temporary_.get(), times.data()) != 0) {
    warnings_.push_back(errnoError("the times could not be kept", errno).message);
    return {};
  }
  return syncTemporary();
}

Result<void> FileReplacement::syncTemporary() {
  if (fileSystem_->fsync(temporary_.get()) != 0) {
    return errnoError("the new file could not be written to the disk", errno);
  }
  return {};
}

int FileReplacement::linkTemporary(const std::string& name) {
  return fileSystem_->linkat(AT_FDCWD, descriptorPath(temporary_.get()).c_str(), directory_.get(),
                             name.c_str(), AT_SYMLINK_FOLLOW);
}

Result<void> FileReplacement::nameTemporary() {
  if (temporaryNamed_) return {};
  if (linkTemporary(temporaryName_) != 0) {
    if (errno == EEXIST) return Error{kBusy};
    return errnoError("the new file could not be given a name", errno);
  }
  temporaryNamed_ = true;
  return {};
}

Result<void> FileReplacement::checkUnchanged() {
  struct stat now = {};
  const bool there = ::fstatat(directory_.get(), name_.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0;
  if (isNew() && there) return Error{"the file was made by another program meanwhile"};
  if (!there) {
    if (isNew() && errno == ENOENT) return {};
    return errnoError("the file could not be examined again", errno);
  }
  if (identityOf(now) != identity_) {
    return Error{"the file was changed by another program meanwhile"};
  }
  if (now.st_nlink > oldStatus_.st_nlink && !options_.breakLinks) {
    return Error{"the file was given another hard link meanwhile"};
  }
  return {};
}

Result<void> FileReplacement::makeBackup() {
  if (backupName_.empty() || backupPresent_ || isNew()) return {};
  if (fileSystem_->linkat(directory_.get(), name_.c_str(), directory_.get(), backupName_.c_str(),
                          0) != 0) {
    return errnoError("the backup could not be made", errno);
  }
  backupMade_ = true;
  return {};
}

Result<void> FileReplacement::takeName() {
  if (isNew() && !temporaryNamed_) {
    // Unlike a rename this fails if there is a file.
    if (linkTemporary(name_) == 0) return {};
    return errnoError("the new file could not be given its name", errno);
  }
  if (fileSystem_->renameat(directory_.get(), temporaryName_.c_str(), name_.c_str()) != 0) {
    return errnoError("the new file could not take the old one's place", errno);
  }
  temporaryNamed_ = false;
  backupMade_ = false;
  return {};
}

int FileReplacement::syncDirectory() {
  return directoryReadable_ ? fileSystem_->fsync(directory_.get())
                            : fileSystem_->syncfs(temporary_.get());
}

Result<void> FileReplacement::commit() {
  if (options_.dryRun) return checkUnchanged();
  if (auto kept = keepTimes(); !kept) return kept;
  // The name comes first: whoever holds it is alone in replacing this file, so that the check
  // after it cannot be overtaken by another run of ours.
  if (!isNew()) {
    if (auto named = nameTemporary(); !named) return named;
  }
  if (auto same = checkUnchanged(); !same) return same;
  if (auto kept = makeBackup(); !kept) return kept;
  if (auto taken = takeName(); !taken) return taken;
  // The file is replaced by now, so this is no failure: whoever took it for one would adjust the
  // file a second time. EINVAL: the file system has no such notion.
  if (syncDirectory() != 0 && errno != EINVAL) {
    warnings_.push_back(
        errnoError("the replaced name could not be written to the disk yet", errno).message);
  }
  return {};
}

}  // namespace kelvo
