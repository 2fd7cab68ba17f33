#include "host/workers/silence.h"

#include <algorithm>
#include <utility>

namespace kelvo::host {
namespace {

constexpr std::chrono::milliseconds kLongestLook{2000};

// The slowest encoders and servers manage several times as much.
constexpr std::uint64_t kPixelsASecond = 100'000;
constexpr std::uint64_t kBytesASecond = 1'000'000;

}  // namespace

Looks::Clock::duration Looks::next() {
  const auto now = Clock::now();
  return std::min<Clock::duration>(now - std::exchange(last_, now), kLongestLook);
}

std::chrono::seconds longestSilence(std::chrono::seconds patience, std::uint64_t pixels,
                                    std::uint64_t bytes) {
  return patience + std::chrono::seconds(pixels / kPixelsASecond + bytes / kBytesASecond);
}

std::string describeSilence(Looks::Clock::duration silence) {
  return "the worker process made no progress for " +
         std::to_string(std::chrono::duration_cast<std::chrono::seconds>(silence).count()) +
         " seconds and was ended";
}

}  // namespace kelvo::host
