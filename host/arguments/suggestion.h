#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kelvo::host {

// The known name that a mistyped one most likely meant: the nearest by insertions, deletions,
// replacements and swaps of neighbours, upper and lower case alike, or the only one that begins
// with it. Absent if there is none.
std::optional<std::string_view> nearestName(std::string_view typed,
                                            std::span<const std::string_view> known);

// "; did you mean 'invert'?", or nothing.
std::string suggestion(std::string_view typed, std::span<const std::string_view> known);

}  // namespace kelvo::host
