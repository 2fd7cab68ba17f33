#pragma once

#include <functional>
#include <vector>

#include "tests/image_io/png/png_test_support.h"

// Animated PNG files made and taken apart without the codec.
namespace kelvo::png_test {

struct Control {
  unsigned number = 0;
  unsigned width = 1, height = 1;
  unsigned x = 0, y = 0;
  unsigned delay = 1, delayParts = 10;
  unsigned dispose = 0, blend = 0;
};

Chunk acTL(unsigned frames, unsigned plays = 0);
Chunk fcTL(const Control& control);
Chunk fdAT(unsigned number, const Bytes& data);
// The compressed data of rows without filter numbers.
Bytes pictureData(const std::vector<Bytes>& rows);

// Each picture of a file as a file of its own: what every reader shows first, then the frames of
// the animation in chunks fdAT.
std::vector<Bytes> picturesOf(const Bytes& file);
// All chunks but the data. Fails the test if the animation's chunks are not numbered through; the
// numbers are then taken away.
std::vector<Chunk> chunksAroundData(const Bytes& file);

using AdjustFrame = std::function<CGImage(const CGImage& image, std::size_t frame)>;
Result<Bytes> tryRewriteFrames(const Bytes& file, const AdjustFrame& adjust,
                               const EncodeOptions& options = {}, const Limits& limits = {});
Bytes rewriteFrames(const Bytes& file, const AdjustFrame& adjust,
                    const EncodeOptions& options = {});
// What the renderer hands on for the adjustments Invert and Equalize.
CGImage inverted(const CGImage& image, std::size_t frame);
CGImage equalized(const CGImage& image, std::size_t frame);
// What the renderer does with pixels that stay as they are.
CGImage renderedFrame(const CGImage& image, std::size_t frame);
// In the frame's layout.
Bytes framePixels(const Bytes& file, std::size_t frame);

// What another tool shows of an animation, frame by frame: RGBA of 8 bits.
std::vector<Bytes> shownByOtherTool(const Bytes& file, std::string_view operation = "");

}  // namespace kelvo::png_test
