#pragma once

#include <string>

#include "platform/image_io/cg_image_destination.h"
#include "platform/image_io/codec.h"
#include "platform/image_io/file_system.h"

namespace kelvo::test {

// A format as simple as can be, for tests of replacing alone: "PLAIN ", kBodyBytes times one
// letter, " END". It has one frame of one pixel whose red sample is the letter.
extern const Codec kPlainCodec;
constexpr std::size_t kBodyBytes = 300'000;  // more than the output's buffer

std::string plainFile(char letter);
CGImage plainImage(char letter);

// Rewrites the file with another letter, as the action would.
Result<void> rewritePlain(const std::string& path, char letter, const ReplaceOptions& options = {},
                          FileSystem& fileSystem = realFileSystem(),
                          std::vector<std::string>* warnings = nullptr);

}  // namespace kelvo::test
