#pragma once

#include <string>

namespace kelvo {

// What printf makes of "%f" in the C locale, whatever the user's locale is: six decimals, rounded
// to nearest from the exact value; "inf", "-inf", "nan", "-nan".
std::string formatF(double value);

}  // namespace kelvo
