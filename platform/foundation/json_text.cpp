#include "platform/foundation/json_text.h"

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kelvo {
namespace {

// The parser's message, without its number and without the bytes it last read, which may be
// anything: "line 1, column 5: ...".
std::string plainMessage(std::string_view what) {
  constexpr std::string_view kPlace = "parse error at ";
  const std::size_t place = what.find(kPlace);
  if (place != std::string_view::npos) {
    what.remove_prefix(place + kPlace.size());
  }
  what = what.substr(0, what.find("; last read"));
  std::string message;
  for (const char c : what) {
    message += c >= ' ' && c <= '~' ? c : '?';
  }
  return message;
}

}  // namespace

Result<nlohmann::json> parseJson(std::string_view text) {
  using nlohmann::json;
  std::vector<std::set<std::string>> keys;  // of the objects that are open
  std::string repeated;
  const auto watchKeys = [&](int, json::parse_event_t event, json& parsed) {
    if (event == json::parse_event_t::object_start) {
      keys.emplace_back();
    } else if (event == json::parse_event_t::object_end) {
      keys.pop_back();
    } else if (event == json::parse_event_t::key) {
      auto key = parsed.get<std::string>();
      if (repeated.empty() && !keys.back().insert(key).second) {
        repeated = std::move(key);
      }
    }
    return true;
  };
  try {
    json value = json::parse(text.begin(), text.end(), watchKeys);
    if (!repeated.empty()) {
      return Error{"the key \"" + repeated + "\" occurs twice in one object"};
    }
    return value;
  } catch (const json::exception& failure) {
    return Error{plainMessage(failure.what())};
  }
}

Result<ParameterDictionary> parametersFromJson(const nlohmann::json& object) {
  if (!object.is_object()) {
    return Error{"the parameters are " + std::string(jsonKind(object)) + ", not an object"};
  }
  ParameterDictionary parameters;
  for (const auto& [key, value] : object.items()) {
    if (value.is_string()) {
      parameters.setObject_forKey(value.get<std::string>(), key);
    } else if (value.is_number_integer() &&
               !(value.is_number_unsigned() &&
                 value.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max())) {
      parameters.setObject_forKey(value.get<std::int64_t>(), key);
    } else if (value.is_number()) {
      parameters.setObject_forKey(value.get<double>(), key);
    } else {
      return Error{"the parameter \"" + key + "\" is " + std::string(jsonKind(value)) +
                   ", not a text or a number"};
    }
  }
  return parameters;
}

std::string_view jsonKind(const nlohmann::json& value) {
  if (value.is_object()) return "an object";
  if (value.is_array()) return "a list";
  if (value.is_string()) return "a text";
  if (value.is_boolean()) return "true or false";
  if (value.is_number()) return "a number";
  return "null";
}

}  // namespace kelvo
