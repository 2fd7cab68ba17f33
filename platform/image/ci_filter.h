#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/image/ci_image.h"

namespace kelvo {

class CIFilter;
using CIFilterRef = std::shared_ptr<CIFilter>;

using NSNumber = double;

// What filters take and give by key: nothing, a number, a text, a vector, a colour, an image.
using FilterValue =
    std::variant<std::monostate, NSNumber, std::string, CIVector, CIColor, CIImageRef>;

// Class attributes: a text, or a list of texts.
using FilterAttributes = std::map<std::string, std::variant<std::string, std::vector<std::string>>>;

extern const std::string kCIAttributeFilterDisplayName;
extern const std::string kCIAttributeFilterCategories;
extern const std::string kCICategoryCompositeOperation;
extern const std::string kCICategoryVideo;
extern const std::string kCICategoryStillImage;
extern const std::string kCICategoryInterlaced;
extern const std::string kCICategoryNonSquarePixels;

extern const std::string kCIApplyOptionDefinition;
using ApplyOptions = std::vector<std::pair<std::string, CIFilterShape>>;

// A named operation on images. Made by name, set by key, read through "outputImage".
class CIFilter {
 public:
  using Constructor = std::function<CIFilterRef(std::string_view name)>;

  // The one registry of the process; a later registration of a name replaces the earlier one.
  // Thread-safe. The built-in filters are always there.
  static void registerFilterName_constructor_classAttributes(std::string name,
                                                             Constructor constructor,
                                                             FilterAttributes attributes);
  static CIFilterRef filterWithName(std::string_view name);  // empty for an unknown name
  static std::optional<FilterAttributes> attributesOfFilterWithName(std::string_view name);

  CIFilter() = default;
  CIFilter(const CIFilter&) = delete;
  CIFilter& operator=(const CIFilter&) = delete;
  virtual ~CIFilter() = default;

  // Gives every input that has a default its default.
  virtual void setDefaults() {}

  // The value is converted to what the input holds: a text to a number or (in the form "[x y z w]")
  // to a vector, a number to a vector of one. No value empties the input. False, with nothing
  // changed, if there is no such input or the value cannot be converted.
  bool setValue_forKey(const FilterValue& value, std::string_view key);

  // An input as it is held, or "outputImage". Nothing for an unknown key.
  [[nodiscard]] FilterValue valueForKey(std::string_view key) const;

  // The recipe for the current inputs; empty if an image that it needs is not set.
  [[nodiscard]] virtual CIImageRef outputImage() const = 0;

 protected:
  using Slot = std::variant<std::optional<NSNumber>*, std::optional<CIVector>*,
                            std::optional<CIColor>*, CIImageRef*>;
  // Called by constructors: makes a member the input of that key. Keys are string literals.
  void declareInput(std::string_view key, Slot slot) { inputs_.emplace_back(key, slot); }

  // The picture that `kernel` computes. Its extent is the option kCIApplyOptionDefinition, or else
  // the union of the samplers' definitions. Empty if the kernel is or
  // does not compile, or a sampler is empty.
  static CIImageRef apply(const CIKernelRef& kernel, std::vector<CIKernelArgument> arguments,
                          const ApplyOptions& options);

 private:
  [[nodiscard]] const Slot* slotForKey(std::string_view key) const;

  std::vector<std::pair<std::string_view, Slot>> inputs_;
};

// An input as an argument of apply.
template <typename T>
CIKernelArgument kernelArgument(const std::optional<T>& input) {
  return input ? CIKernelArgument(*input) : CIKernelArgument();
}

}  // namespace kelvo
