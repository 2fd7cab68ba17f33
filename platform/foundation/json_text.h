#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

#include "platform/foundation/parameter_value.h"
#include "platform/foundation/result.h"

// Private to the platform: reading JSON without exceptions.
namespace kelvo {

// Errors: "line 3, column 7: ..." for text that is not JSON, and a key that occurs twice in one
// object.
Result<nlohmann::json> parseJson(std::string_view text);

// An object whose values are texts or numbers.
Result<ParameterDictionary> parametersFromJson(const nlohmann::json& object);

// "a text", "a number", "a list"...
std::string_view jsonKind(const nlohmann::json& value);

}  // namespace kelvo
