#include "kernels/curves_filter.h"

namespace kelvo {

CIKernelRef tqCurvesFilterKernel;

namespace {

constexpr std::string_view kSource =
    "float clamp(float x){x = (x > 1.) ? 1. : x;x = (x < 0.) ? 0. : x;return x;}"
    "kernel vec4 CurvesKernel(sampler image, sampler ramp){"
    "vec4 pixel = sample(image, samplerCoord(image));pixel = unpremultiply(pixel);"
    "pixel.r = clamp(pixel.r);pixel.g = clamp(pixel.g);pixel.b = clamp(pixel.b);"
    "pixel.a = clamp(pixel.a);pixel.r = sample(ramp, vec2(pixel.r * 255.0, 0.5)).r;"
    "pixel.g = sample(ramp, vec2(pixel.g * 255.0, 0.5)).g;"
    "pixel.b\t= sample(ramp, vec2(pixel.b * 255.0, 0.5)).b;return premultiply(pixel);"
    "}";

}  // namespace

void TQCurvesFilter::initialize() {
  registerOnce<TQCurvesFilter>("TQCurvesFilter", "Custom Curves Filter",
                               {kCICategoryCompositeOperation, kCICategoryStillImage,
                                kCICategoryInterlaced, kCICategoryNonSquarePixels});
}

CIFilterRef TQCurvesFilter::filterWithName(std::string_view) {
  return std::make_shared<TQCurvesFilter>();
}

TQCurvesFilter::TQCurvesFilter() {
  initialize();
  makeKernelOnce(tqCurvesFilterKernel, kSource);
  declareInput("inputImage", &inputImage);
  declareInput("rezImage", &rezImage);
}

CIImageRef TQCurvesFilter::outputImage() const {
  if (tqCurvesFilterKernel) tqCurvesFilterKernel->setROISelector(regionOf_destRect);
  return applyToImage(tqCurvesFilterKernel, inputImage, {CISampler::samplerWithImage(rezImage)});
}

CGRect TQCurvesFilter::regionOf_destRect(int sampler, const CGRect& destination) {
  return sampler == 0 ? destination : CGRect{0, 0, 256, 1};
}

}  // namespace kelvo
