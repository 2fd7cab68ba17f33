#pragma once

#include "platform/image_io/webp/vp8_header.h"

namespace kelvo {

// With what settings libwebp writes a picture like one that is there. Names and ranges are those of
// its WebPConfig.
struct LossySettings {
  float quality = 75;  // 0…100
  int segments = 4;
  int noiseShaping = 50;  // sns_strength, 0…100
  int filterStrength = 60;
  int filterSharpness = 0;
  int filterType = 1;  // 0 simple, 1 strong
  int partitions = 0;  // log2
};

// The quality is what libwebp would have been given for the file's quantisers: encoding with it and
// estimating again gives the same quality, so that a file that is rewritten many times stays where
// it is.
LossySettings estimateLossySettings(const Vp8Header& header);

}  // namespace kelvo
