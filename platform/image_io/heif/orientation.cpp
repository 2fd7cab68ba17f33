#include "platform/image_io/heif/orientation.h"

#include <utility>

namespace kelvo::heif {
namespace {

constexpr unsigned kTurns = 4;

// Turned by so many quarters against the clock, then mirrored left to right or not: all eight ways.
struct Way {
  unsigned quarters = 0;
  bool mirrored = false;

  void turn(unsigned more) {
    // Seen in a mirror, a turn goes the other way round.
    quarters = (quarters + (mirrored ? kTurns - more : more)) % kTurns;
  }
  void mirrorLeftRight() { mirrored = !mirrored; }
  void mirrorTopBottom() {
    mirrorLeftRight();
    turn(2);
  }
};

}  // namespace

unsigned orientationOf(const Structure& structure, ItemId item) {
  const Item* const found = structure.find(item);
  if (found == nullptr) return 1;
  Way way;
  for (const PropertyUse& use : found->properties) {
    if (use.index == 0 || use.index > structure.properties.size()) continue;
    const Box& box = structure.properties[use.index - 1];
    if (box.payload.empty()) continue;
    const auto value = std::to_integer<unsigned>(box.payload[0]);
    if (box.type == fourCC("irot")) {
      way.turn(value & 3U);
    } else if (box.type == fourCC("imir")) {
      (value & 1U) != 0 ? way.mirrorLeftRight() : way.mirrorTopBottom();
    }
  }
  constexpr unsigned kTurned[] = {1, 8, 3, 6};
  constexpr unsigned kTurnedAndMirrored[] = {2, 7, 4, 5};
  return way.mirrored ? kTurnedAndMirrored[way.quarters] : kTurned[way.quarters];
}

}  // namespace kelvo::heif
