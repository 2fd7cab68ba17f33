#include "kernels/threshold_filter.h"

namespace kelvo {

CIKernelRef tqThresholKernel;

namespace {

constexpr std::string_view kSource =
    "kernel vec4 NI_threshold(sampler image, float threshold){\tfloat pass = 1.0;"
    "\tfloat fail = 0.0;\tfloat sharpness = 1.0;"
    "\tconst vec4\tvec_Y = vec4( 0.299, 0.587, 0.114, 0.0 );"
    "\tvec4\t\tsrc = unpremultiply( sample(image, samplerCoord(image)) );"
    "\tfloat\t\tY = dot( src, vec_Y );"
    "\tfloat\t\tr1_blend = smoothstep( threshold + sharpness - 1.0, threshold - sharpness + 1.0, Y "
    ");"
    "\tfloat\t\tr1 = r1_blend * pass + ( 1.0 - r1_blend ) * fail;"
    "\tfloat\t\tr2 = compare( Y - threshold, fail, pass);"
    "\tsrc.rgb = vec3( compare( sharpness - 1.0, r1, r2) );\treturn premultiply(src);"
    "}";

}  // namespace

void TQTresholdFilter::initialize() {
  registerOnce<TQTresholdFilter>("TQTresholdFilter", "Custom Thresh Filter",
                                 commonKernelFilterCategories());
}

CIFilterRef TQTresholdFilter::filterWithName(std::string_view) {
  return std::make_shared<TQTresholdFilter>();
}

TQTresholdFilter::TQTresholdFilter() {
  initialize();
  makeKernelOnce(tqThresholKernel, kSource);
  declareInput("threshold", &threshold);
  declareInput("inputImage", &inputImage);
}

CIImageRef TQTresholdFilter::outputImage() const {
  return applyToImage(tqThresholKernel, inputImage, {kernelArgument(threshold)});
}

}  // namespace kelvo
