#include "platform/image_io/webp/lossy_settings.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace kelvo {
namespace {

constexpr std::size_t kSegments = Vp8Header::kSegments;

// libwebp lowers the quantiser of chroma means by floor(4 strength / 100). Quantisers that differ
// come from it too.
int estimateNoiseShaping(const Vp8Header& header) {
  const int strength = std::clamp(-25 * header.chromaDcDelta, 0, 100);
  if (strength != 0 || !header.segmented) return strength;
  const auto& all = header.quantizer;
  return std::ranges::count(all, all[0]) == std::ranges::ssize(all) ? 0 : 12;
}

// libwebp makes a quality Q = 0…1 a compression c = cbrt(Q < 3/4 ? 2/3 Q : 2 Q - 1).
double qualityOf(double logCompression) {
  const double linear = std::exp(3 * logCompression);
  return 100 * (linear < 0.5 ? 1.5 * linear : (linear + 1) / 2);
}

// A segment has the quantiser floor(127 (1 - c^e)). Half an index makes up for the rounding.
double logOfPower(int quantizer) {
  constexpr double kSteps = 127;
  constexpr double kLeast = 0.25 / kSteps;
  return std::log(std::max(1 - (quantizer + 0.5) / kSteps, kLeast));
}

// log c of a file whose segments differ. Their exponents are e = 1 - strength * a, where the a
// stand for how smooth the segments are: the smoothest and the roughest are 255 apart, and the mean
// over all blocks is 0. Then they are limited to -127…127, so one of those two is at its limit,
// where its exponent is known. Which one shows in the mean. None if neither fits: some other
// encoder's file.
std::optional<double> logCompressionOfExtremes(const Vp8Header& header, double strength) {
  constexpr double kLimit = 127;
  constexpr double kSpan = 255;
  constexpr double kTolerance = 32;  // of the mean, for rounded quantisers
  std::vector<std::size_t> used;
  for (std::size_t i = 0; i < kSegments; ++i) {
    if (header.share[i] > 0) used.push_back(i);
  }
  const auto by = [&](std::size_t i) { return header.quantizer[i]; };
  const std::size_t finest = std::ranges::min(used, {}, by);
  const std::size_t coarsest = std::ranges::max(used, {}, by);
  std::optional<double> best;
  double bestMean = kTolerance;
  for (const double sign : {1.0, -1.0}) {
    const std::size_t limited = sign > 0 ? finest : coarsest;
    const std::size_t opposite = sign > 0 ? coarsest : finest;
    const double logCompression =
        logOfPower(header.quantizer[limited]) / (1 - sign * strength * kLimit);
    const auto smoothness = [&](std::size_t i) {
      return (1 - logOfPower(header.quantizer[i]) / logCompression) / strength;
    };
    double mean = header.share[limited] * (smoothness(opposite) + sign * kSpan);
    for (const std::size_t i : used) {
      if (i != limited) mean += header.share[i] * smoothness(i);
    }
    if (std::abs(mean) >= bestMean) continue;
    bestMean = std::abs(mean);
    best = logCompression;
  }
  return best;
}

double estimateQuality(const Vp8Header& header) {
  double mean = 0;
  bool coarsest = true;
  for (std::size_t i = 0; i < kSegments; ++i) {
    if (header.share[i] <= 0) continue;
    coarsest = coarsest && header.quantizer[i] == 127;
    mean += header.share[i] * logOfPower(header.quantizer[i]);
  }
  if (coarsest) return 0;
  const double strength = 0.9 * estimateNoiseShaping(header) / 100 / 128;
  const auto logCompression =
      header.segmented && strength > 0 ? logCompressionOfExtremes(header, strength) : std::nullopt;
  return qualityOf(logCompression.value_or(mean));
}

// libwebp's presets have filters of different sharpness, by which their strength is known. The
// levels in the file depend on the picture too much to tell it.
int estimateFilterStrength(const Vp8Header& header) {
  const bool filtered =
      std::ranges::any_of(header.filterLevel, [](int level) { return level > 0; });
  if (!filtered) return 0;
  switch (header.filterSharpness) {
    case 3:
      return 30;  // photo
    case 4:
      return 35;  // picture
    case 6:
      return 10;  // drawing
    default:
      return 60;
  }
}

}  // namespace

LossySettings estimateLossySettings(const Vp8Header& header) {
  return {.quality = static_cast<float>(estimateQuality(header)),
          .segments = header.segmented ? static_cast<int>(Vp8Header::kSegments) : 1,
          .noiseShaping = estimateNoiseShaping(header),
          .filterStrength = estimateFilterStrength(header),
          .filterSharpness = header.filterSharpness,
          .filterType = header.simpleFilter ? 0 : 1,
          .partitions = header.partitions};
}

}  // namespace kelvo
