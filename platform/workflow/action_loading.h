#pragma once

#include <memory>
#include <string>

#include "platform/foundation/ns_bundle.h"
#include "platform/foundation/result.h"
#include "platform/workflow/am_bundle_action.h"

namespace kelvo {

// An action and the bundle its code comes from; the action goes first.
struct LoadedAction {
  std::shared_ptr<NSBundle> bundle;
  std::unique_ptr<AMBundleAction> action;
};

// Loads the bundle's module and makes an object of its principal class, whose parameters are the
// bundle's defaults. Errors: no such bundle, a module that does not load, has no factory, or does
// not know the class.
Result<LoadedAction> loadAction(const std::string& bundlePath);

}  // namespace kelvo
