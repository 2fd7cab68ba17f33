#include "platform/drawing/text_attributes.h"

#include <utility>

namespace kelvo {
namespace {

TextMeasurer& theMeasurer() {
  static TextMeasurer measurer;
  return measurer;
}

}  // namespace

NSSize sizeWithAttributes(const std::string& text, const TextAttributes& attributes) {
  return theMeasurer() ? theMeasurer()(text, attributes) : NSSize{};
}

void setTextMeasurer(TextMeasurer measurer) { theMeasurer() = std::move(measurer); }

}  // namespace kelvo
