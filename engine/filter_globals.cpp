#include "engine/filter_globals.h"

#include "engine/color_balance_tables.h"

namespace kelvo {

std::uint8_t initialized = 0;
std::shared_ptr<TQReplaceColorSelectiveFilter> replaceColorFilter;
std::shared_ptr<TQEqualizeFilter> equalizeFilter;
std::shared_ptr<TQTresholdFilter> thresholdFilter;
std::shared_ptr<TQCurvesFilter> colorBalanceFilter;
std::shared_ptr<TQLevelsFilter> levelsFilter;
std::vector<float> colorbalance_slope1_100Minus;
std::vector<float> colorbalance_slope1_100Plus;

void registerAdjustmentFilters() {
  if (initialized != 0) return;
  initialized = 1;
  replaceColorFilter = std::make_shared<TQReplaceColorSelectiveFilter>();
  equalizeFilter = std::make_shared<TQEqualizeFilter>();
  thresholdFilter = std::make_shared<TQTresholdFilter>();
  colorBalanceFilter = std::make_shared<TQCurvesFilter>();
  levelsFilter = std::make_shared<TQLevelsFilter>();
  colorbalance_slope1_100Minus.assign(kColorBalanceMinus.begin(), kColorBalanceMinus.end());
  colorbalance_slope1_100Plus.assign(kColorBalancePlus.begin(), kColorBalancePlus.end());
}

void unregisterAdjustmentFilters() {
  if (initialized == 0) return;
  initialized = 0;
  replaceColorFilter.reset();
  equalizeFilter.reset();
  thresholdFilter.reset();
  colorBalanceFilter.reset();
  levelsFilter.reset();
  colorbalance_slope1_100Minus.clear();
  colorbalance_slope1_100Plus.clear();
}

}  // namespace kelvo
