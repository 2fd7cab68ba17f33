#pragma once

#include <map>
#include <utility>
#include <vector>

#include "platform/image_io/heif/structure.h"
#include "platform/image_io/output_file.h"

namespace kelvo::heif {

// What is to be different in a new file.
struct Edits {
  std::map<ItemId, std::vector<std::byte>> data;
  // By item and number of the property (1 is the first): its new payload.
  std::map<std::pair<ItemId, std::uint32_t>, std::vector<std::byte>> properties;
};

// Writes the file with the edits made: new data stand where the old ones stood, everything else is
// copied, and the places of all data are listed anew. A property that several items share is
// doubled if they no longer agree.
Result<void> writeEdited(const Structure& structure, const Edits& edits, OutputFile& out);

}  // namespace kelvo::heif
