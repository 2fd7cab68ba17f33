#include "kernels/levels_filter.h"

namespace kelvo {

CIKernelRef tqLevelsKernel;

namespace {

constexpr std::string_view kSource =
    "vec3 delta(vec3 x, float center, vec2 scales){    x = x - center;"
    "    x = compare(x, vec3(scales.x), vec3(scales.y)) * x;"
    "    return  compare(x+1.0, vec3(0.0), 1.0 - (3.0+2.0*x)*x*x);}"
    "kernel vec4 levels(sampler src, vec2 linear, vec4 midtone, vec4 dark, vec4 lght) {"
    "\tvec4   p;\tp  = sample(src, samplerCoord(src));\tp  = unpremultiply(p);"
    "\tp.rgb = vec3(linear.x) + linear.y*p.rgb + delta(p.rgb, midtone.x, midtone.yz) * midtone.w + "
    "delta(p.rgb, dark.x, dark.yz) * dark.w + delta(p.rgb, lght.x, lght.yz) * lght.w;"
    "\t return premultiply(p); }";

}  // namespace

void TQLevelsFilter::initialize() {
  registerOnce<TQLevelsFilter>("TQLevelsFilter", "Custom Levels Filter",
                               commonKernelFilterCategories());
}

CIFilterRef TQLevelsFilter::filterWithName(std::string_view) {
  return std::make_shared<TQLevelsFilter>();
}

TQLevelsFilter::TQLevelsFilter() {
  initialize();
  makeKernelOnce(tqLevelsKernel, kSource);
  declareInput("inputImage", &inputImage);
  declareInput("linear", &linear);
  declareInput("midtone", &midtone);
  declareInput("dark", &dark);
  declareInput("light", &light);
}

CIImageRef TQLevelsFilter::outputImage() const {
  return applyToImage(tqLevelsKernel, inputImage,
                      {kernelArgument(linear), kernelArgument(midtone), kernelArgument(dark),
                       kernelArgument(light)});
}

}  // namespace kelvo
