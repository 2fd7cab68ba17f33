#include "host/arguments/suggestion.h"

#include <algorithm>
#include <vector>

namespace kelvo::host {
namespace {

constexpr std::size_t kLongestName = 64;  // what is longer is no slip of the finger
constexpr std::size_t kShortestStart = 3;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

// Optimal string alignment distance.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        cost[i][j] = i + j;
        continue;
      }
      const std::size_t replaced = lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1;
      cost[i][j] =
          std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + replaced});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) &&
          lower(a[i - 2]) == lower(b[j - 1])) {
        cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
      }
    }
  }
  return cost[a.size()][b.size()];
}

}  // namespace

std::optional<std::string_view> nearestName(std::string_view typed,
                                            std::span<const std::string_view> known) {
  if (typed.empty() || typed.size() > kLongestName) {
    return std::nullopt;
  }
  std::optional<std::string_view> nearest;
  std::size_t least = 0;
  for (const std::string_view name : known) {
    const std::size_t found = distance(typed, name);
    if (!nearest || found < least) {
      nearest = name;
      least = found;
    }
  }
  // About a third of the letters may be wrong.
  const std::size_t allowed = std::max<std::size_t>(1, typed.size() / 3);
  if (nearest && least <= allowed) {
    return nearest;
  }
  // Or the end is missing, and only one name goes on like this.
  const auto continues = [typed](std::string_view name) { return name.starts_with(typed); };
  if (typed.size() >= kShortestStart && std::ranges::count_if(known, continues) == 1) {
    return *std::ranges::find_if(known, continues);
  }
  return std::nullopt;
}

std::string suggestion(std::string_view typed, std::span<const std::string_view> known) {
  const auto nearest = nearestName(typed, known);
  return nearest ? "; did you mean '" + std::string(*nearest) + "'?" : std::string{};
}

}  // namespace kelvo::host
