#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "curves_editor/kelvo_tq_curves_view.h"

namespace {

void require(bool good) {
  if (!good) std::abort();
}

constexpr std::array kKeys = {"rgbN", "rgbPoints", "rN", "rPoints",
                              "gN",   "gPoints",   "bN", "bPoints"};

}  // namespace

// Each line is one of the eight parameters that the curves are stored in. Whatever they say, every
// channel has points in ascending order that can be drawn, and what is saved is loaded the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvo;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const auto parameters = std::make_shared<ParameterDictionary>();
  for (const char* const key : kKeys) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    parameters->setObject_forKey(std::string(line), key);
  }
  KelvoTQCurvesView view;
  view.setParams(parameters);
  view.loadParameters();
  for (int channel = 0; channel < 4; ++channel) {
    const auto& points = view.curve(channel).points;
    require(points.size() >= 2);
    for (std::size_t i = 0; i < points.size(); ++i) {
      require(std::isfinite(points[i].x) && std::isfinite(points[i].y));
      require(i == 0 || points[i].x > points[i - 1].x);
    }
    view.recalculateCurveValues(channel);
  }
  require(view.curvesValuesImageForColorSpace_forOKAction(CGColorSpaceCreateDeviceRGB(), true) !=
          nullptr);
  view.saveParameters();
  KelvoTQCurvesView again;
  again.setParams(parameters);
  again.loadParameters();
  for (int channel = 0; channel < 4; ++channel) {
    const auto& before = view.curve(channel).points;
    const auto& after = again.curve(channel).points;
    // Six decimals are saved, in which points close together may fall on one another; where two are
    // all that there are, none is left then, and the curve is a new one.
    const bool close = std::adjacent_find(before.begin(), before.end(), [](auto a, auto b) {
                         return b.x - a.x < 1e-6F;
                       }) != before.end();
    if (close) continue;
    require(after.size() == before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      require(std::abs(after[i].x - before[i].x) <= 1e-4F + std::abs(before[i].x) * 1e-6F);
    }
  }
  return 0;
}
