#include "host/run/output_directory.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

namespace kelvo::host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kStagePrefix = ".kelvo-";

std::string nameOf(const std::string& file) { return fs::path(file).filename().string(); }

Error because(const std::string& what, int code) {
  return {what + ": " + std::generic_category().message(code)};
}

bool exists(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

Result<void> checkNames(const std::string& directory, const std::vector<std::string>& files) {
  std::map<std::string, const std::string*> taken;
  for (const std::string& file : files) {
    const std::string name = nameOf(file);
    if (name.empty() || name == "." || name == "..") {
      return Error{"'" + file + "' is not the name of a file"};
    }
    const auto [other, fresh] = taken.emplace(name, &file);
    if (!fresh) {
      return Error{"'" + *other->second + "' and '" + file + "' would both become '" + directory +
                   "/" + name + "'"};
    }
    if (exists(directory + "/" + name)) {
      return Error{"'" + directory + "/" + name + "' exists already"};
    }
  }
  return {};
}

// The lock of a run that is still going on holds; that of one that was killed went with it.
void clearStale(const std::string& directory) {
  std::error_code failed;
  for (const auto& entry : fs::directory_iterator(directory, failed)) {
    if (!entry.path().filename().string().starts_with(kStagePrefix)) {
      continue;
    }
    const Descriptor stage(
        ::open(entry.path().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (stage && ::flock(stage.number(), LOCK_EX | LOCK_NB) == 0) {
      fs::remove_all(entry.path(), failed);
    }
  }
}

}  // namespace

Result<OutputDirectory> OutputDirectory::open(const std::string& path,
                                              const std::vector<std::string>& files) {
  if (auto checked = checkNames(path, files); !checked) {
    return checked.error();
  }
  OutputDirectory directory;
  directory.path_ = path;
  directory.made_ = ::mkdir(path.c_str(), 0777) == 0;
  if (!directory.made_ && errno != EEXIST) {
    return because("the directory '" + path + "' cannot be made", errno);
  }
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    return Error{"'" + path + "' is not a directory"};
  }
  return openStage(std::move(directory));
}

Result<OutputDirectory> OutputDirectory::openForOne(const std::string& output,
                                                    const std::string& file) {
  if (nameOf(file).empty()) {
    return Error{"'" + file + "' is not the name of a file"};
  }
  if (exists(output)) {
    return Error{"'" + output + "' exists already"};
  }
  OutputDirectory directory;
  directory.only_ = output;
  directory.path_ = fs::path(output).parent_path().string();
  if (directory.path_.empty()) {
    directory.path_ = ".";
  }
  return openStage(std::move(directory));
}

Result<OutputDirectory> OutputDirectory::openStage(OutputDirectory directory) {
  clearStale(directory.path_);
  std::string stage = directory.path_ + "/" + kStagePrefix + "XXXXXX";
  if (::mkdtemp(stage.data()) == nullptr) {
    return because("the directory '" + directory.path_ + "' cannot be written", errno);
  }
  directory.stage_ = std::move(stage);
  directory.stageLock_ =
      Descriptor(::open(directory.stage_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ::flock(directory.stageLock_.number(), LOCK_EX | LOCK_NB);
  return directory;
}

OutputDirectory::~OutputDirectory() {
  if (stageLock_) {
    std::error_code failed;
    fs::remove_all(stage_, failed);
    if (made_) {
      ::rmdir(path_.c_str());  // if nothing has come of it
    }
  }
}

std::string OutputDirectory::stagedPath(const std::string& file) const {
  return stage_ + "/" + nameOf(file);
}

std::string OutputDirectory::finalPath(const std::string& file) const {
  return only_.empty() ? path_ + "/" + nameOf(file) : only_;
}

Result<void> OutputDirectory::publish(const std::string& file) const {
  const std::string staged = stagedPath(file);
  const std::string final = finalPath(file);
  // The copy of a file that may not be written was made writable for the action.
  struct stat original {};
  if (::stat(file.c_str(), &original) == 0) {
    ::chmod(staged.c_str(), original.st_mode & 07777U);
  }
  if (::renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, final.c_str(), RENAME_NOREPLACE) == 0) {
    return {};
  }
  // A file system that cannot refuse to replace can make a second name instead, which never does.
  if (errno == EINVAL && ::link(staged.c_str(), final.c_str()) == 0) {
    ::unlink(staged.c_str());
    return {};
  }
  return because("'" + final + "' cannot be made", errno);
}

void OutputDirectory::discard(const std::string& file) const { ::unlink(stagedPath(file).c_str()); }

}  // namespace kelvo::host
