#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "host/arguments/parameter_keys.h"
#include "host/arguments/setting_values.h"
#include "host/arguments/suggestion.h"
#include "platform/foundation/parameter_value.h"

namespace {

void require(bool good) {
  if (!good) std::abort();
}

}  // namespace

// Whatever is accepted keeps what its header promises; the lenient readings agree with the strict.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvo::host;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto number = parseNumber(text)) {
    require(std::isfinite(*number));
    require(kelvo::doubleValue(text) == *number);
  }
  if (const auto count = parseCount(text)) require(*count > 0);
  if (const auto bytes = parseByteCount(text)) require(*bytes > 0);
  if (const auto color = parseColor(text)) {
    for (const double part : {color->red, color->green, color->blue, color->alpha}) {
      require(part >= 0 && part <= 1);
    }
  }
  if (const auto points = parseCurvePoints(text)) {
    require(points->size() >= 2);
    for (std::size_t i = 1; i < points->size(); ++i) {
      require((*points)[i].x > (*points)[i - 1].x);
    }
  }
  for (const std::string_view key : {"filterPopUp", "rgbPoints", "rgbN", "posterizeSlider"}) {
    if (const auto checked = checkParameter(key, text); !checked) {
      require(!checked.error().message.empty());
    }
  }
  require(!std::isnan(kelvo::doubleValue(text)));
  (void)kelvo::intValue(text);
  // A few of the keys, as looking at all of them takes longer than all the rest.
  (void)suggestion(text, std::span(knownParameterKeys()).first(4));
  return 0;
}
