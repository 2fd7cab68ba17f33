#pragma once

#include <chrono>
#include <cstdint>
#include <string>

// How long nothing may be heard of a worker that has something to do.
namespace kelvo::host {

// Its host looks at it at least this often.
constexpr std::chrono::milliseconds kLook{1000};

// The time between two looks.
class Looks {
 public:
  using Clock = std::chrono::steady_clock;

  // Since the look before, or since this was made; at most two seconds: the host may have been
  // stopped, and the workers with it.
  Clock::duration next();

 private:
  Clock::time_point last_ = Clock::now();
};

// Over a frame of so many pixels, in a file of so many bytes.
std::chrono::seconds longestSilence(std::chrono::seconds patience, std::uint64_t pixels,
                                    std::uint64_t bytes);

// Why a worker was ended after so long a silence.
std::string describeSilence(Looks::Clock::duration silence);

}  // namespace kelvo::host
