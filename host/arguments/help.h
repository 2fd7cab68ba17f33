#pragma once

#include <string>

#include "host/arguments/adjustments.h"

namespace kelvo::host {

std::string versionText();
std::string generalHelp();
std::string adjustmentHelp(const Adjustment& adjustment);
std::string runHelp();
std::string previewHelp();
std::string editHelp();
std::string formatsHelp();

// How messages and help write a setting's range: "2 to 255 levels".
std::string rangeText(const Setting& setting);

}  // namespace kelvo::host
