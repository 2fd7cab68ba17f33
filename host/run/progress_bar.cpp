#include "host/run/progress_bar.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kelvo::host {
namespace {

constexpr std::size_t kWidestBar = 30;
constexpr std::size_t kNarrowestBar = 5;
constexpr double kMostSeconds = 359'999;  // 99h59m

double share(const ProgressState& state) {
  if (state.totalBytes > 0) {
    return std::min(1.0,
                    static_cast<double>(state.doneBytes) / static_cast<double>(state.totalBytes));
  }
  return state.totalFiles == 0
             ? 1.0
             : static_cast<double>(state.doneFiles) / static_cast<double>(state.totalFiles);
}

std::string rateText(const ProgressState& state) {
  if (state.seconds <= 0 || state.doneFiles == 0) {
    return {};
  }
  return fmt::format("  {:.1f} files/s  {:.1f} MB/s",
                     static_cast<double>(state.doneFiles) / state.seconds,
                     static_cast<double>(state.doneBytes) / 1e6 / state.seconds);
}

}  // namespace

std::string durationText(double seconds) {
  const auto whole = static_cast<long>(std::ceil(std::clamp(seconds, 0.0, kMostSeconds)));
  if (whole < 60) {
    return fmt::format("{}s", whole);
  }
  if (whole < 3600) {
    return fmt::format("{}m{:02}s", whole / 60, whole % 60);
  }
  return fmt::format("{}h{:02}m", whole / 3600, whole % 3600 / 60);
}

std::string renderProgress(const ProgressState& state, std::size_t columns) {
  const double done = share(state);
  std::string text = state.steps > 1 ? fmt::format("action {}/{}  ", state.step, state.steps) : "";
  text += fmt::format("{}/{} files  {}%", state.doneFiles, state.totalFiles,
                      static_cast<int>(std::floor(done * 100)));
  text += rateText(state);
  if (done > 0 && done < 1) {
    text += fmt::format("  {} left", durationText(state.seconds * (1 - done) / done));
  }
  if (text.size() + kNarrowestBar + 3 <= columns) {
    const std::size_t width = std::min(kWidestBar, columns - text.size() - 3);
    const auto filled = static_cast<std::size_t>(done * static_cast<double>(width));
    text = "[" + std::string(filled, '=') + std::string(width - filled, ' ') + "] " + text;
  }
  return text.substr(0, columns);
}

}  // namespace kelvo::host
