#include "kernels/replace_color_filter.h"

namespace kelvo {

CIKernelRef tqReplaceColorSelectiveKernel;

namespace {

constexpr std::string_view kSource =
    "vec4 rgbToHsv(vec4 rgb){\tfloat x = min(rgb.r, min(rgb.g, rgb.b));"
    "\tfloat v = max(rgb.r, max(rgb.g, rgb.b));"
    "\tfloat f = (rgb.r == x) ? rgb.g - rgb.b : ((rgb.g == x) ? rgb.b - rgb.r : rgb.r - rgb.g);"
    "\tfloat i = (rgb.r == x) ? 3.0 : ((rgb.g == x) ? 5.0 : 1.0);"
    "\tfloat h = i - (f / (v - x));\tfloat s = (v - x) / v;"
    "\treturn (v == x) ? vec4(-1, 0, v, rgb.a) : vec4(h, s, v, rgb.a);}"
    "float sdd(vec4 c1, vec4 c2){\tfloat final;\tfloat v_diff = c1.b - c2.b;"
    "\tfloat cos_diff = (c1.g * cos(c1.r)) - (c2.g * cos(c2.r));"
    "\tfloat sin_diff = (c1.g * sin(c1.r)) - (c2.g * sin(c2.r));"
    "\tfloat big_sqrt = sqrt( v_diff* v_diff + cos_diff* cos_diff + sin_diff* sin_diff );"
    "\tfinal = 1.0 - ( 1.0 / sqrt(5.0) ) * big_sqrt;\treturn final;}"
    "kernel vec4 replaceColor(sampler image, vec4 sourceColor, float diameter){"
    "\tvec4   p = unpremultiply( sample(image, samplerCoord(image)) );"
    "\tvec4 colorPixel = unpremultiply(sourceColor);\tvec4 hsvPixel = rgbToHsv(p);"
    "\tvec4 hsvColor = rgbToHsv(colorPixel);\tvec4 rez = p;"
    "\tfloat sk = sdd(hsvPixel, hsvColor);"
    "\trez.a = (sk > (1.0 - diameter)) ? p.a : 0.0;\treturn premultiply(rez);}";

}  // namespace

void TQReplaceColorSelectiveFilter::initialize() {
  registerOnce<TQReplaceColorSelectiveFilter>("TQReplaceColorSelectiveFilter",
                                              "Custom Replace Color Filter",
                                              commonKernelFilterCategories());
}

CIFilterRef TQReplaceColorSelectiveFilter::filterWithName(std::string_view) {
  return std::make_shared<TQReplaceColorSelectiveFilter>();
}

TQReplaceColorSelectiveFilter::TQReplaceColorSelectiveFilter() {
  initialize();
  makeKernelOnce(tqReplaceColorSelectiveKernel, kSource);
  declareInput("_hue", &_hue);
  declareInput("_saturation", &_saturation);
  declareInput("_lightness", &_lightness);
  declareInput("diameter", &diameter);
  declareInput("sourceColor", &sourceColor);
  declareInput("inputImage", &inputImage);
}

CIImageRef TQReplaceColorSelectiveFilter::outputImage() const {
  return applyToImage(tqReplaceColorSelectiveKernel, inputImage,
                      {kernelArgument(sourceColor), kernelArgument(diameter)});
}

}  // namespace kelvo
