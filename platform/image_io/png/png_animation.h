#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/image_io/png/png_file.h"

// Animated PNG (Third Edition of the format): acTL announces the frames; each begins with a chunk
// fcTL that tells its rectangle and timing; its data stand in chunks fdAT, or in IDAT if the
// picture that every reader shows is the first frame. fcTL and fdAT are numbered through.
namespace kelvo {

// The pictures of a file, whatever its state; those that readers of an animation would find if it
// is whole.
std::vector<PngPicture> findPngPictures(const PngHeader& header, std::span<const PngChunk> chunks);

// What is wrong with the animation; empty if nothing is, or if there is none.
std::string checkPngAnimation(const PngHeader& header, std::span<const PngChunk> chunks);

}  // namespace kelvo
