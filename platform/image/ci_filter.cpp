#include "platform/image/ci_filter.h"

#include <mutex>
#include <type_traits>

#include "platform/foundation/parameter_value.h"
#include "platform/image/built_in/built_in_filter.h"

namespace kelvo {

const std::string kCIAttributeFilterDisplayName = "CIAttributeFilterDisplayName";
const std::string kCIAttributeFilterCategories = "CIAttributeFilterCategories";
const std::string kCICategoryCompositeOperation = "CICategoryCompositeOperation";
const std::string kCICategoryVideo = "CICategoryVideo";
const std::string kCICategoryStillImage = "CICategoryStillImage";
const std::string kCICategoryInterlaced = "CICategoryInterlaced";
const std::string kCICategoryNonSquarePixels = "CICategoryNonSquarePixels";
const std::string kCIApplyOptionDefinition = "CIApplyOptionDefinition";

namespace {

struct Registered {
  CIFilter::Constructor constructor;
  FilterAttributes attributes;
};

class Registry {
 public:
  static Registry& shared() {
    static Registry registry;
    return registry;
  }

  void add(std::string name, Registered filter) {
    const std::scoped_lock lock(mutex_);
    filters_.insert_or_assign(std::move(name), std::move(filter));
  }

  std::optional<Registered> find(std::string_view name) {
    const std::scoped_lock lock(mutex_);
    const auto found = filters_.find(name);
    if (found == filters_.end()) return std::nullopt;
    return found->second;
  }

 private:
  Registry() {
    for (const BuiltInFilterDescription& description : builtInFilters()) {
      filters_.emplace(
          description.name,
          Registered{[make = description.make](std::string_view) { return make(); },
                     {{kCIAttributeFilterDisplayName, std::string(description.name)}}});
    }
  }

  std::mutex mutex_;
  std::map<std::string, Registered, std::less<>> filters_;
};

bool assign(const FilterValue& value, std::optional<NSNumber>& input) {
  if (const auto* number = std::get_if<NSNumber>(&value)) {
    input = *number;
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    input = doubleValue(*text);
  } else {
    return false;
  }
  return true;
}

bool assign(const FilterValue& value, std::optional<CIVector>& input) {
  if (const auto* vector = std::get_if<CIVector>(&value)) {
    input = *vector;
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    input = CIVector::vectorWithString(*text);
  } else if (const auto* number = std::get_if<NSNumber>(&value)) {
    input = CIVector::vectorWithX(*number);
  } else {
    return false;
  }
  return true;
}

bool assign(const FilterValue& value, std::optional<CIColor>& input) {
  const auto* color = std::get_if<CIColor>(&value);
  if (color != nullptr) input = *color;
  return color != nullptr;
}

bool assign(const FilterValue& value, CIImageRef& input) {
  const auto* image = std::get_if<CIImageRef>(&value);
  if (image != nullptr) input = *image;
  return image != nullptr;
}

}  // namespace

void CIFilter::registerFilterName_constructor_classAttributes(std::string name,
                                                              Constructor constructor,
                                                              FilterAttributes attributes) {
  Registry::shared().add(std::move(name), {std::move(constructor), std::move(attributes)});
}

CIFilterRef CIFilter::filterWithName(std::string_view name) {
  const auto registered = Registry::shared().find(name);
  return registered ? registered->constructor(name) : nullptr;
}

std::optional<FilterAttributes> CIFilter::attributesOfFilterWithName(std::string_view name) {
  auto registered = Registry::shared().find(name);
  if (!registered) return std::nullopt;
  return std::move(registered->attributes);
}

const CIFilter::Slot* CIFilter::slotForKey(std::string_view key) const {
  for (const auto& [name, slot] : inputs_) {
    if (name == key) return &slot;
  }
  return nullptr;
}

bool CIFilter::setValue_forKey(const FilterValue& value, std::string_view key) {
  const Slot* slot = slotForKey(key);
  if (slot == nullptr) return false;
  return std::visit(
      [&](auto* input) {
        if (!std::holds_alternative<std::monostate>(value)) return assign(value, *input);
        *input = {};
        return true;
      },
      *slot);
}

FilterValue CIFilter::valueForKey(std::string_view key) const {
  if (key == "outputImage") return outputImage();
  const Slot* slot = slotForKey(key);
  if (slot == nullptr) return {};
  return std::visit(
      [](const auto* input) -> FilterValue {
        if (!*input) return {};
        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(*input)>, CIImageRef>) {
          return *input;
        } else {
          return **input;
        }
      },
      *slot);
}

CIImageRef CIFilter::apply(const CIKernelRef& kernel, std::vector<CIKernelArgument> arguments,
                           const ApplyOptions& options) {
  if (!kernel || kernel->program() == nullptr) return nullptr;
  CGRect extent;
  for (const CIKernelArgument& argument : arguments) {
    if (const auto* sampler = std::get_if<CISampler>(&argument)) {
      if (!sampler->image()) return nullptr;
      extent = CGRectUnion(extent, sampler->definition().rect);
    }
  }
  for (const auto& [key, shape] : options) {
    if (key == kCIApplyOptionDefinition) extent = shape.rect;
  }
  return std::make_shared<const CIImage>(CIImage::Applied{kernel, std::move(arguments)}, extent);
}

}  // namespace kelvo
