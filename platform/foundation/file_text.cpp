#include "platform/foundation/file_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>

namespace kelvo {
namespace {

constexpr std::size_t kLargestText = std::size_t{16} << 20U;

Error systemError() { return {std::generic_category().message(errno)}; }

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

}  // namespace

Result<std::string> readTextFile(const std::string& path) {
  // Without O_NONBLOCK the opening of a pipe would wait for a writer.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (file.number() < 0 || ::fstat(file.number(), &status) != 0) {
    return systemError();
  }
  if (!S_ISREG(status.st_mode)) {
    return Error{S_ISDIR(status.st_mode) ? "it is a directory" : "it is not a regular file"};
  }
  std::string text;
  std::array<char, 65536> buffer;
  while (true) {
    const ssize_t got = ::read(file.number(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return systemError();
    }
    if (got == 0) {
      return text;
    }
    text.append(buffer.data(), static_cast<std::size_t>(got));
    if (text.size() > kLargestText) {
      return Error{"it is larger than 16 MiB"};
    }
  }
}

}  // namespace kelvo
