#pragma once

#include <string>

namespace kelvo {

// A file URL.
class NSURL {
 public:
  static NSURL fileURLWithPath(std::string path) { return NSURL(std::move(path)); }

  [[nodiscard]] const std::string& path() const { return path_; }
  // "file://" and the path with every byte outside the unreserved set and "/" percent-encoded;
  // relative paths are made absolute first.
  [[nodiscard]] std::string absoluteString() const;

 private:
  explicit NSURL(std::string path) : path_(std::move(path)) {}

  std::string path_;
};

}  // namespace kelvo
