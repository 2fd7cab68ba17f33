#pragma once

#include <memory>

#include "platform/foundation/parameter_value.h"

namespace kelvo::testing {

// The parameters of a new workflow, as the bundle's information file has them.
std::shared_ptr<ParameterDictionary> defaultParameters();

}  // namespace kelvo::testing
