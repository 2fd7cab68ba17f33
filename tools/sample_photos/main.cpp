// Makes one sample photograph. See resources/samples/README.md.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tools/sample_photos/noise.h"
#include "tools/sample_photos/scenes.h"

namespace kelvo::samples {
namespace {

constexpr const char* kUsage =
    "usage: sample_photos SCENE [--size WxH | --size MEGAPIXELS] [--samples N] [--bits 8|16] "
    "OUT.pnm\n"
    "scenes: landscape still-life harbour chart leaf\n"
    "OUT is a PPM, or a PAM with alpha for the leaf. --samples: per pixel, along each side.\n";

struct Order {
  const NamedScene* scene = nullptr;
  std::uint32_t width = 480;
  std::uint32_t height = 320;
  std::uint32_t samples = 3;
  std::uint32_t bits = 8;
  float noise = 1.0F;
  std::string out;
};

std::optional<double> number(std::string_view text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !(value > 0.0)) return {};
  return value;
}

bool readSize(std::string_view text, Order& order) {
  const std::size_t cross = text.find('x');
  if (cross == std::string_view::npos) {
    const auto megapixels = number(text);
    if (!megapixels || *megapixels > 1000.0) return false;
    order.width = static_cast<std::uint32_t>(std::lround(std::sqrt(*megapixels * 1.5e6)));
    order.height = static_cast<std::uint32_t>(std::lround(std::sqrt(*megapixels * 1e6 / 1.5)));
    return true;
  }
  const auto width = number(text.substr(0, cross));
  const auto height = number(text.substr(cross + 1));
  if (!width || !height || *width > 65500.0 || *height > 65500.0) return false;
  order.width = static_cast<std::uint32_t>(*width);
  order.height = static_cast<std::uint32_t>(*height);
  return order.width > 0 && order.height > 0;
}

std::optional<Order> readOrder(const std::vector<std::string_view>& arguments) {
  Order order;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    if (word.starts_with("--")) {
      if (++i == arguments.size()) return {};
      const auto value = number(arguments[i]);
      if (word == "--size") {
        if (!readSize(arguments[i], order)) return {};
      } else if (word == "--samples" && value && *value <= 16.0) {
        order.samples = static_cast<std::uint32_t>(*value);
      } else if (word == "--bits" && value && (*value == 8.0 || *value == 16.0)) {
        order.bits = static_cast<std::uint32_t>(*value);
      } else if (word == "--noise" && value && *value <= 100.0) {
        order.noise = static_cast<float>(*value);
      } else {
        return {};
      }
    } else if (order.scene == nullptr) {
      for (const NamedScene& known : kScenes) {
        if (known.name == word) order.scene = &known;
      }
      if (order.scene == nullptr) return {};
    } else if (order.out.empty()) {
      order.out = word;
    } else {
      return {};
    }
  }
  if (order.scene == nullptr || order.out.empty() || order.samples == 0) return {};
  return order;
}

// The mean of the samples of one pixel, colour weighted by alpha.
Colour pixel(const Order& order, std::uint32_t column, std::uint32_t row) {
  const auto n = order.samples;
  const auto height = static_cast<float>(order.height);
  Colour sum = {0.0F, 0.0F, 0.0F, 0.0F};
  for (std::uint32_t i = 0; i < n * n; ++i) {
    const float jx = n == 1 ? 0.5F : hash(column, row, 1000 + 2 * i);
    const float jy = n == 1 ? 0.5F : hash(column, row, 1001 + 2 * i);
    const float sx = (static_cast<float>(i % n) + jx) / static_cast<float>(n);
    const std::uint32_t line = i / n;
    const float sy = (static_cast<float>(line) + jy) / static_cast<float>(n);
    const Point p = {(static_cast<float>(column) + sx) / height,
                     (static_cast<float>(row) + sy) / height,
                     static_cast<float>(order.width) / height, i};
    const Colour one = order.scene->scene(p);
    sum.r += one.r * one.a;
    sum.g += one.g * one.a;
    sum.b += one.b * one.a;
    sum.a += one.a;
  }
  if (sum.a <= 0.0F) return {0.0F, 0.0F, 0.0F, 0.0F};
  return {sum.r / sum.a, sum.g / sum.a, sum.b / sum.a, sum.a / static_cast<float>(n * n)};
}

// What a camera makes of linear light: lens falloff, photon and read noise, a shoulder, sRGB.
float develop(float light, float falloff, float noisiness, std::int64_t x, std::int64_t y,
              std::uint32_t channel) {
  light = std::max(light * falloff, 0.0F);
  const float deviation = noisiness * std::sqrt(0.000012F + 0.00022F * light);
  light = std::max(light + deviation * gaussian(x, y, 5000 + channel), 0.0F);
  const float shoulder =
      light < 0.7F ? light : 0.7F + 0.3F * (1.0F - std::exp((0.7F - light) / 0.3F));
  return std::clamp(encodeSrgb(shoulder), 0.0F, 1.0F);
}

void renderRow(const Order& order, std::uint32_t row, std::uint8_t* out) {
  const bool alpha = order.scene->alpha;
  const float full = order.bits == 16 ? 65535.0F : 255.0F;
  const auto put = [&](float value) {
    const auto level = static_cast<std::uint32_t>(std::lround(value * full));
    if (order.bits == 16) *out++ = static_cast<std::uint8_t>(level >> 8);
    *out++ = static_cast<std::uint8_t>(level);
  };
  for (std::uint32_t column = 0; column < order.width; ++column) {
    const Colour light = pixel(order, column, row);
    const float cx = 2.0F * static_cast<float>(column) / static_cast<float>(order.width) - 1.0F;
    const float cy = 2.0F * static_cast<float>(row) / static_cast<float>(order.height) - 1.0F;
    const float falloff = alpha ? 1.0F : 1.0F - 0.10F * (cx * cx + cy * cy);
    const float noisiness = light.a > 0.0F ? order.scene->noise * order.noise : 0.0F;
    put(develop(light.r, falloff, noisiness * 1.15F, column, row, 0));
    put(develop(light.g, falloff, noisiness, column, row, 10));
    put(develop(light.b, falloff, noisiness * 1.3F, column, row, 20));
    if (alpha) put(std::clamp(light.a, 0.0F, 1.0F));
  }
}

bool render(const Order& order) {
  std::ofstream file(order.out, std::ios::binary);
  const std::string size = std::to_string(order.width) + " " + std::to_string(order.height);
  const std::string full = order.bits == 16 ? "65535" : "255";
  if (order.scene->alpha) {
    file << "P7\nWIDTH " << order.width << "\nHEIGHT " << order.height << "\nDEPTH 4\nMAXVAL "
         << full << "\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
  } else {
    file << "P6\n" << size << "\n" << full << "\n";
  }
  const std::size_t rowBytes =
      std::size_t{order.width} * (order.scene->alpha ? 4 : 3) * (order.bits / 8);
  const std::uint32_t threads = std::max(std::thread::hardware_concurrency(), 1U);
  const std::uint32_t band = 16 * threads;
  std::vector<std::uint8_t> rows(rowBytes * band);
  for (std::uint32_t top = 0; top < order.height; top += band) {
    const std::uint32_t count = std::min(band, order.height - top);
    std::vector<std::jthread> workers;
    for (std::uint32_t t = 0; t < threads; ++t) {
      workers.emplace_back([&, t] {
        for (std::uint32_t i = t; i < count; i += threads) {
          renderRow(order, top + i, rows.data() + rowBytes * i);
        }
      });
    }
    workers.clear();
    file.write(reinterpret_cast<const char*>(rows.data()),
               static_cast<std::streamsize>(rowBytes * count));
  }
  file.close();
  return !file.fail();
}

}  // namespace
}  // namespace kelvo::samples

int main(int argc, char** argv) {
  const auto order = kelvo::samples::readOrder({argv + 1, argv + argc});
  if (!order) {
    std::cerr << kelvo::samples::kUsage;
    return 2;
  }
  if (!kelvo::samples::render(*order)) {
    std::cerr << "sample_photos: cannot write " << order->out << "\n";
    return 1;
  }
  return 0;
}
