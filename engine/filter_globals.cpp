#include "engine/filter_globals.h"

namespace kelvo {

std::uint8_t initialized = 0;
std::shared_ptr<TQTresholdFilter> thresholdFilter;

void registerAdjustmentFilters() {
  if (initialized != 0) return;
  initialized = 1;
  thresholdFilter = std::make_shared<TQTresholdFilter>();
}

void unregisterAdjustmentFilters() {
  if (initialized == 0) return;
  initialized = 0;
  thresholdFilter.reset();
}

}  // namespace kelvo
