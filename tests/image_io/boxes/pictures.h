#pragma once

#include "tests/image_io/tools/codec_calls.h"

namespace kelvo::image_io_test {

// Samples of a smooth colourful picture: 3 a pixel, or 4 with an alpha that is 0 nowhere.
Bytes smoothSamples(unsigned width, unsigned height, bool alpha = false);
// The head of a PAM file, before such samples.
Bytes pamHead(unsigned width, unsigned height, bool alpha, unsigned maximum = 255);

// 255 minus each sample.
Bytes complement(Bytes bytes);
// 255 minus each colour sample, alpha as it is.
CGImage inverted(const CGImage& image);

// Root of the mean squared difference.
double difference(const Bytes& a, const Bytes& b);

// The samples of a picture, by way of ImageMagick: `command` makes "$out", a PNG, of "$in", the
// file with this extension.
Bytes samplesThroughPng(const Bytes& file, const std::string& extension, const std::string& command,
                        const std::string& layout, unsigned depth = 8);

}  // namespace kelvo::image_io_test
