#pragma once

#include <cstdint>
#include <string_view>

#include "tools/sample_photos/colour.h"

namespace kelvo::samples {

// A point of the picture plane: x runs from 0 to the picture's width divided by its height, y from
// 0 at the top to 1. `sample` tells the samples of one pixel apart.
struct Point {
  float x = 0.0F;
  float y = 0.0F;
  float aspect = 1.5F;
  std::uint32_t sample = 0;
};

using Scene = Colour (*)(Point);

Colour landscape(Point p);  // a lake under mountains: sky, clouds, foliage, flowers
Colour stillLife(Point p);  // eggs and fruit on a table: skin-like tones, soft shadows, blur
Colour harbour(Point p);    // a town at night over water: deep shadows, saturated lights
Colour chart(Point p);      // 24 patches and a grey wedge on a card
Colour leaf(Point p);       // a leaf cut out, with a translucent shadow

struct NamedScene {
  std::string_view name;
  Scene scene;
  float noise;  // how noisy the sensor is: 1 is an ordinary daylight exposure
  bool alpha;
};

inline constexpr NamedScene kScenes[] = {
    {"landscape", landscape, 0.8F, false},
    {"still-life", stillLife, 0.7F, false},
    {"harbour", harbour, 1.2F, false},
    {"chart", chart, 0.5F, false},
    {"leaf", leaf, 0.6F, true},
};

}  // namespace kelvo::samples
