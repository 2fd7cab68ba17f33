#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvo::jpeg {

// What an XMP packet says of a gain map: properties of the gain map's own namespaces, and the item
// "GainMap" in a directory of the pictures that a file holds (GContainer).
struct XmpGainMap {
  bool present = false;  // it says something, or may do so and cannot be read
  // It says how the map is to be applied, as the packet of the map itself does; that of the picture
  // only says that there is one.
  bool parameters = false;
  // The packet without it, every other byte the same. Absent if there is nothing to take out or the
  // packet cannot be read.
  std::optional<std::string> without;
};

XmpGainMap findGainMap(std::string_view packet);

}  // namespace kelvo::jpeg
