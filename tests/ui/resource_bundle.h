#pragma once

#include <memory>

#include "platform/foundation/ns_bundle.h"

namespace kelvo::testing {

// The action's bundle as it was built, whose Resources hold the editor's pictures.
inline std::shared_ptr<const NSBundle> resourceBundle() {
  auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action");
  return bundle ? std::move(bundle).value() : nullptr;
}

}  // namespace kelvo::testing
