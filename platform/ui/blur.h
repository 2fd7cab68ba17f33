#pragma once

#include <QColor>
#include <QImage>

namespace kelvo {

// The shadow of a picture (premultiplied ARGB) in one colour: its alpha blurred by a Gaussian of
// this standard deviation in pixels, times the colour's alpha. Beyond the edges there is nothing.
// Three box filters stand in for the Gaussian (W. M. Wells, "Efficient Synthesis of Gaussian
// Filters by Cascaded Uniform Filters", 1986).
QImage blurredShadow(const QImage& picture, double deviation, const QColor& color);

}  // namespace kelvo
