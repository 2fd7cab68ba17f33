#pragma once

#include <memory>
#include <utility>

#include "platform/pixels/cg_image.h"

namespace kelvo::testing {

// The same picture; `passes` counts how often its rows are opened.
inline CGImage countingPasses(CGImage image, std::shared_ptr<int> passes) {
  image.openRows = [open = std::move(image.openRows), passes = std::move(passes)] {
    ++*passes;
    return open();
  };
  return image;
}

}  // namespace kelvo::testing
