#pragma once

#include <string>
#include <utility>

namespace kelvo {

// A failure as a loaded framework tells it.
class NSError {
 public:
  explicit NSError(std::string localizedDescription)
      : localizedDescription_(std::move(localizedDescription)) {}

  // A sentence for people.
  [[nodiscard]] const std::string& localizedDescription() const { return localizedDescription_; }

 private:
  std::string localizedDescription_;
};

}  // namespace kelvo
