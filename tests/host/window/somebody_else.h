#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace kelvo {

// Nothing is forbidden to the superuser: while this lives, the process is somebody else, to whom
// all that is in the directory belongs. Does nothing for other users.
class SomebodyElse {
 public:
  explicit SomebodyElse(const std::string& directory) : superuser_(::geteuid() == 0) {
    if (!superuser_) {
      return;
    }
    give(directory);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
      give(entry.path());
    }
    switched_ = ::seteuid(kSomebody) == 0;
  }
  ~SomebodyElse() { leave(); }
  SomebodyElse(const SomebodyElse&) = delete;
  SomebodyElse& operator=(const SomebodyElse&) = delete;

  [[nodiscard]] bool ok() const { return !superuser_ || switched_; }
  void leave() {
    if (switched_) {
      switched_ = ::seteuid(0) != 0;
    }
  }

 private:
  static constexpr uid_t kSomebody = 1234;

  static void give(const std::filesystem::path& path) {
    [[maybe_unused]] const int done = ::lchown(path.c_str(), kSomebody, static_cast<gid_t>(-1));
  }

  bool superuser_;
  bool switched_ = false;
};

}  // namespace kelvo
