#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image/ci_filter.h"

namespace kelvo {

// What the five filters of our own share. Each is a class with one member per input, named like its
// key; its kernel is made by the first instance, compiled for the first output and kept for the
// process in a global that all instances share. Every output of a filter whose source does not
// compile is empty.
class KernelFilter : public CIFilter {
 protected:
  // Makes `kernel` the first one of `source` if it is still empty. Not guarded: the first instances
  // of a class are made on one thread.
  static void makeKernelOnce(CIKernelRef& kernel, std::string_view source);

  // The kernel over the image, its further arguments after the image's sampler; it covers the
  // image's extent.
  static CIImageRef applyToImage(const CIKernelRef& kernel, const CIImageRef& image,
                                 std::vector<CIKernelArgument> further);

  // Tells the registry of the class, once per process.
  template <typename Class>
  static void registerOnce(const char* name, const char* displayName,
                           std::vector<std::string> categories) {
    static std::once_flag registered;
    std::call_once(registered, [&] {
      registerFilterName_constructor_classAttributes(
          name, Class::filterWithName,
          {{kCIAttributeFilterDisplayName, std::string(displayName)},
           {kCIAttributeFilterCategories, std::move(categories)}});
    });
  }
};

// The categories of every kernel filter but the curves filter.
std::vector<std::string> commonKernelFilterCategories();

}  // namespace kelvo
