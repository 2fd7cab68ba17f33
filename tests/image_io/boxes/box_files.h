#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/image_io/heif/boxes.h"
#include "tests/image_io/tools/other_tools.h"

namespace kelvo::image_io_test {

Bytes box(const std::string& type, const Bytes& payload);
// The boxes at the outside: type and payload of each.
std::vector<std::pair<std::string, Bytes>> boxes(const Bytes& file);

// What a program prints of the file, whose name comes last.
std::string runOn(const Bytes& file, const std::string& extension, const std::string& command);

}  // namespace kelvo::image_io_test
