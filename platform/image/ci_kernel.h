#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/image/cg_rect.h"
#include "platform/kernel_language/kernel.h"

namespace kelvo {

class CIKernel;
using CIKernelRef = std::shared_ptr<CIKernel>;

// Which part of input number `index` is needed to compute `destination`.
using RegionOfInterest = std::function<CGRect(int index, const CGRect& destination)>;

// A kernel program, compiled or still to be compiled.
class CIKernel {
 public:
  explicit CIKernel(std::shared_ptr<const kernel_language::Kernel> program)
      : program_(std::move(program)) {}
  // The first kernel of a source that stays where it is, compiled when something is first asked of
  // it.
  explicit CIKernel(std::string_view source) : source_(source) {}

  // The kernels of a source, in its order; none if anything in it is wrong. `diagnostics`, if
  // given, receives what is wrong.
  static std::vector<CIKernelRef> kernelsWithString(
      std::string_view source, std::vector<kernel_language::Diagnostic>* diagnostics = nullptr);

  // Null if anything in the source is wrong. Thread-safe.
  [[nodiscard]] const kernel_language::Kernel* program() const;
  // Of a kernel that has a program.
  [[nodiscard]] const std::string& name() const { return program()->name(); }

  // Needed for inputs that the kernel reads elsewhere than under the pixel it computes; without it
  // the whole input is prepared.
  void setROISelector(RegionOfInterest region) { region_ = std::move(region); }
  [[nodiscard]] const RegionOfInterest& regionOfInterest() const { return region_; }

 private:
  std::string_view source_;  // empty of a kernel that was made compiled
  mutable std::once_flag compiled_;
  mutable std::shared_ptr<const kernel_language::Kernel> program_;
  RegionOfInterest region_;
};

}  // namespace kelvo
