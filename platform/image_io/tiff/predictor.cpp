#include "platform/image_io/tiff/predictor.h"

#include <array>
#include <bit>
#include <cstdint>
#include <vector>

#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// Rows come from allocated memory and have an even length.
std::span<std::uint16_t> asWords(std::span<std::byte> row) {
  return {reinterpret_cast<std::uint16_t*>(row.data()), row.size() / 2};
}
std::span<std::uint8_t> asBytes(std::span<std::byte> row) {
  return {reinterpret_cast<std::uint8_t*>(row.data()), row.size()};
}

void swapWords(std::span<std::byte> samples) {
  for (std::uint16_t& word : asWords(samples)) {
    word = static_cast<std::uint16_t>(word << 8 | word >> 8);
  }
}

bool mustSwap(const Format& format, const Picture& picture) {
  return picture.bits == 16 && format.bigEndian != (std::endian::native == std::endian::big);
}

bool isPredicted(const Picture& picture) {
  return picture.predictor == 2 && picture.compression != kNoCompression;
}

// Each sample is stored as its difference from that of the pixel to the left.
template <typename Sample, std::size_t n>
void addUp(std::span<Sample> row) {
  std::array<Sample, n> left{};  // in registers: waiting for memory would take most of the time
  for (std::size_t i = 0; i + n <= row.size(); i += n) {
    for (std::size_t c = 0; c < n; ++c) {
      left[c] = static_cast<Sample>(left[c] + row[i + c]);
      row[i + c] = left[c];
    }
  }
}

template <typename Sample>
void addUp(std::span<Sample> row, std::size_t samples) {
  switch (samples) {
    case 1:
      return addUp<Sample, 1>(row);
    case 3:
      return addUp<Sample, 3>(row);
    case 4:
      return addUp<Sample, 4>(row);
    default:
      for (std::size_t i = samples; i < row.size(); ++i) {
        row[i] = static_cast<Sample>(row[i] + row[i - samples]);
      }
  }
}

// `old` is a row to work with.
template <typename Sample>
void takeDifferences(std::span<Sample> row, std::size_t samples, std::vector<Sample>& old) {
  old.assign(row.begin(), row.end());
  const Sample* const from = old.data();
  Sample* const to = row.data();
  for (std::size_t i = samples; i < row.size(); ++i) {
    to[i] = static_cast<Sample>(from[i] - from[i - samples]);
  }
}

std::size_t rowBytes(const Picture& picture) {
  return static_cast<std::size_t>(picture.planeBytes(picture.strileWidth));
}

}  // namespace

bool isPredictable(const Picture& picture) {
  return (picture.predictor == 1 || picture.predictor == 2) &&
         (picture.bits == 8 || picture.bits == 16);
}

void toSamples(std::span<std::byte> samples, const Format& format, const Picture& picture) {
  if (mustSwap(format, picture)) swapWords(samples);
  if (!isPredicted(picture)) return;
  const std::size_t length = rowBytes(picture);
  for (; !samples.empty(); samples = samples.subspan(length)) {
    const auto row = samples.first(length);
    if (picture.bits == 16) {
      addUp(asWords(row), picture.planeSamples());
    } else {
      addUp(asBytes(row), picture.planeSamples());
    }
  }
}

void toStored(std::span<std::byte> samples, const Format& format, const Picture& picture) {
  if (isPredicted(picture)) {
    const std::size_t length = rowBytes(picture);
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint16_t> words;
    for (auto rest = samples; !rest.empty(); rest = rest.subspan(length)) {
      const auto row = rest.first(length);
      if (picture.bits == 16) {
        takeDifferences(asWords(row), picture.planeSamples(), words);
      } else {
        takeDifferences(asBytes(row), picture.planeSamples(), bytes);
      }
    }
  }
  if (mustSwap(format, picture)) swapWords(samples);
}

}  // namespace kelvo::tiff
