#include "tests/panel/default_parameters.h"

#include "platform/foundation/ns_bundle.h"

namespace kelvo::testing {

std::shared_ptr<ParameterDictionary> defaultParameters() {
  const auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/lib/kelvo/Kelvo Images.action");
  return bundle ? std::make_shared<ParameterDictionary>((*bundle)->info().defaultParameters)
                : nullptr;
}

}  // namespace kelvo::testing
