#include "platform/image/ci_kernel.h"

namespace kelvo {

std::vector<CIKernelRef> CIKernel::kernelsWithString(
    std::string_view source, std::vector<kernel_language::Diagnostic>* diagnostics) {
  kernel_language::CompiledSource compiled = kernel_language::compileSource(source);
  if (diagnostics != nullptr) *diagnostics = std::move(compiled.diagnostics);
  std::vector<CIKernelRef> kernels;
  kernels.reserve(compiled.kernels.size());
  for (auto& kernel : compiled.kernels) kernels.push_back(std::make_shared<CIKernel>(kernel));
  return kernels;
}

const kernel_language::Kernel* CIKernel::program() const {
  if (!source_.empty()) {
    std::call_once(compiled_, [this] {
      kernel_language::CompiledSource compiled = kernel_language::compileSource(source_);
      if (!compiled.kernels.empty()) program_ = std::move(compiled.kernels.front());
    });
  }
  return program_.get();
}

}  // namespace kelvo
