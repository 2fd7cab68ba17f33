#include "host/arguments/setting_values.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace kelvo::host {
namespace {

constexpr double kHighestLevel = 255;

std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::optional<unsigned> hexDigit(char c) {
  if (isDigit(c)) return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10U;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10U;
  return std::nullopt;
}

Result<std::uint64_t> parseScaled(std::string_view text, std::uint64_t step) {
  std::uint64_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  std::string_view suffix = text.substr(static_cast<std::size_t>(read.ptr - text.data()));
  const auto wrong = [&] { return Error{quoted(text) + " is not a whole number above 0"}; };
  if (read.ec == std::errc::invalid_argument || suffix.size() > 1) {
    return wrong();
  }
  unsigned steps = 0;
  if (!suffix.empty()) {
    constexpr std::string_view kSuffixes = "kmgt";
    const char lower = static_cast<char>(suffix.front() | 0x20);
    const std::size_t found = kSuffixes.find(lower);
    if (found == std::string_view::npos) {
      return wrong();
    }
    steps = static_cast<unsigned>(found) + 1;
  }
  bool tooLarge = read.ec == std::errc::result_out_of_range;
  for (; steps > 0 && !tooLarge; --steps) {
    tooLarge = number > std::numeric_limits<std::uint64_t>::max() / step;
    number *= step;
  }
  if (tooLarge) {
    return Error{quoted(text) + " is too large"};
  }
  if (number == 0) {
    return wrong();
  }
  return number;
}

}  // namespace

Result<double> parseNumber(std::string_view text) {
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) {
    digits.remove_prefix(1);
  }
  // from_chars also knows names (inf, nan) and a sign of its own.
  const bool starts = !digits.empty() && (isDigit(digits.front()) || digits.front() == '.');
  double number = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (!starts || read.ec == std::errc::invalid_argument ||
      read.ptr != digits.data() + digits.size()) {
    return Error{quoted(text) + " is not a number"};
  }
  if (read.ec == std::errc::result_out_of_range || !std::isfinite(number)) {
    return Error{quoted(text) + " is not a number that can be held"};
  }
  return negative ? -number : number;
}

Result<std::uint64_t> parseCount(std::string_view text) { return parseScaled(text, 1000); }

Result<std::uint64_t> parseByteCount(std::string_view text) { return parseScaled(text, 1024); }

Result<Color> parseColor(std::string_view text) {
  const auto wrong = [&] { return Error{quoted(text) + " is not a colour like #rrggbb"}; };
  if ((text.size() != 7 && text.size() != 9) || text.front() != '#') {
    return wrong();
  }
  std::array<double, 4> components = {0, 0, 0, 1};
  for (std::size_t i = 0; 2 * i + 2 < text.size(); ++i) {
    const auto high = hexDigit(text[2 * i + 1]);
    const auto low = hexDigit(text[2 * i + 2]);
    if (!high || !low) {
      return wrong();
    }
    components[i] = static_cast<double>(*high * 16 + *low) / kHighestLevel;
  }
  return Color{components[0], components[1], components[2], components[3]};
}

Result<std::vector<CurvePoint>> parseCurvePoints(std::string_view text) {
  std::vector<CurvePoint> points;
  std::string_view rest = text;
  while (!rest.empty()) {
    if (rest.front() == ' ') {
      rest.remove_prefix(1);
      continue;
    }
    const std::string_view piece = rest.substr(0, rest.find(' '));
    rest.remove_prefix(piece.size());
    const std::size_t comma = piece.find(',');
    if (comma == std::string_view::npos) {
      return Error{quoted(piece) + " is not a point like 96,120"};
    }
    const auto x = parseNumber(piece.substr(0, comma));
    const auto y = parseNumber(piece.substr(comma + 1));
    if (!x || !y) {
      return Error{quoted(piece) + " is not a point like 96,120"};
    }
    if (*x < 0 || *x > kHighestLevel || *y < 0 || *y > kHighestLevel) {
      return Error{"the point " + quoted(piece) + " is outside the levels 0 to 255"};
    }
    if (!points.empty() && *x <= points.back().x) {
      return Error{"the point " + quoted(piece) + " is not to the right of the one before"};
    }
    points.push_back({*x, *y});
  }
  if (points.size() < 2) {
    return Error{"a curve needs at least two points"};
  }
  return points;
}

}  // namespace kelvo::host
