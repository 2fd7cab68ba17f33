#include "kernels/equalize_filter.h"

namespace kelvo {

CIKernelRef tqEqualizeKernel;

namespace {

constexpr std::string_view kSource =
    "kernel vec4 equalize (sampler image, vec4 params){\tvec4 orig;\tvec4 r0, r1, r2;"
    "\tconst vec4 lum = vec4(0.2125, 0.7154, 0.0721, 0.0);"
    "\torig = sample (image, samplerCoord (image));\tr0 = unpremultiply(orig);"
    "\tr1 = vec4(dot (r0, lum));\tr2 = r1 * params.x + params.y;\tr1 = r2 / r1.x;"
    "\tr0.rgb = vec3 (clamp (r0 * r1, 0.0, 1.0));\treturn premultiply(r0);}";

}  // namespace

void TQEqualizeFilter::initialize() {
  registerOnce<TQEqualizeFilter>("TQEqualizeFilter", "Custom Equalize Filter",
                                 commonKernelFilterCategories());
}

CIFilterRef TQEqualizeFilter::filterWithName(std::string_view) {
  return std::make_shared<TQEqualizeFilter>();
}

TQEqualizeFilter::TQEqualizeFilter() {
  initialize();
  makeKernelOnce(tqEqualizeKernel, kSource);
  declareInput("params", &params);
  declareInput("inputImage", &inputImage);
}

CIImageRef TQEqualizeFilter::outputImage() const {
  return applyToImage(tqEqualizeKernel, inputImage, {kernelArgument(params)});
}

}  // namespace kelvo
