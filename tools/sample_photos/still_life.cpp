#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include "tools/sample_photos/noise.h"
#include "tools/sample_photos/scenes.h"

// A small ray tracer: balls and eggs on a table before a wall, lit by one window. Lengths are in
// decimetres.
namespace kelvo::samples {
namespace {

struct Vector {
  float x = 0.0F;
  float y = 0.0F;
  float z = 0.0F;
};

Vector operator+(Vector a, Vector b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vector operator-(Vector a, Vector b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vector operator*(Vector a, float k) { return {a.x * k, a.y * k, a.z * k}; }
float dot(Vector a, Vector b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Vector unit(Vector a) { return a * (1.0F / std::sqrt(dot(a, a))); }
Vector cross(Vector a, Vector b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

enum class Skin : std::uint8_t { egg, citrus, apple, plum };

struct Thing {
  Vector centre;
  float radius;
  float tall;  // height over width
  Skin skin;
  Colour colour;
  std::uint32_t seed;
};

// The eggs have the tones of skin, from fair to dark.
constexpr std::array kThings = {
    Thing{{-1.62F, 0.50F, 0.15F}, 0.46F, 1.09F, Skin::egg, {0.72F, 0.44F, 0.31F, 1}, 1},
    Thing{{-0.72F, 0.54F, -0.45F}, 0.48F, 1.13F, Skin::egg, {0.48F, 0.245F, 0.145F, 1}, 2},
    Thing{{-0.95F, 0.55F, 0.85F}, 0.49F, 1.12F, Skin::egg, {0.20F, 0.085F, 0.045F, 1}, 3},
    Thing{{0.42F, 0.66F, 0.35F}, 0.66F, 1.0F, Skin::citrus, {0.86F, 0.27F, 0.012F, 1}, 4},
    Thing{{1.62F, 0.58F, 0.62F}, 0.60F, 0.96F, Skin::apple, {0.46F, 0.018F, 0.018F, 1}, 5},
    Thing{{1.12F, 0.36F, -0.62F}, 0.37F, 0.97F, Skin::citrus, {0.22F, 0.40F, 0.025F, 1}, 6},
    Thing{{0.20F, 0.31F, -0.95F}, 0.31F, 1.0F, Skin::plum, {0.060F, 0.020F, 0.085F, 1}, 7},
    Thing{{2.45F, 0.33F, -0.05F}, 0.33F, 1.0F, Skin::plum, {0.085F, 0.016F, 0.050F, 1}, 8},
};

constexpr float kFar = std::numeric_limits<float>::infinity();
constexpr float kWall = 3.4F;

// Distance along the ray to a ball that is stretched upwards.
float meet(const Thing& thing, Vector origin, Vector direction) {
  Vector o = origin - thing.centre;
  Vector d = direction;
  o.y /= thing.tall;
  d.y /= thing.tall;
  const float a = dot(d, d);
  const float b = dot(o, d);
  const float c = dot(o, o) - thing.radius * thing.radius;
  const float root = b * b - a * c;
  if (root < 0.0F) return kFar;
  const float nearer = (-b - std::sqrt(root)) / a;
  return nearer > 1e-3F ? nearer : kFar;
}

struct Hit {
  float distance = kFar;
  const Thing* thing = nullptr;  // null: table or wall
  bool wall = false;
};

Hit trace(Vector origin, Vector direction) {
  Hit hit;
  for (const Thing& thing : kThings) {
    const float distance = meet(thing, origin, direction);
    if (distance < hit.distance) hit = {distance, &thing, false};
  }
  const float table = -origin.y / direction.y;
  if (table > 1e-3F && table < hit.distance) hit = {table, nullptr, false};
  const float wall = (kWall - origin.z) / direction.z;
  if (wall > 1e-3F && wall < hit.distance) hit = {wall, nullptr, true};
  return hit;
}

bool blocked(Vector origin, Vector direction) {
  for (const Thing& thing : kThings) {
    if (meet(thing, origin, direction) < kFar) return true;
  }
  return false;
}

Colour wood(Vector p) {
  const float board = std::floor((p.x + 20.0F) / 1.15F);
  const auto seed = static_cast<std::uint32_t>(board) + 200U;
  const float along = p.z + 9.0F * hash(static_cast<std::int64_t>(board), 0, 201);
  const float bend = fractal(p.x * 1.7F, along * 0.5F, 3, seed);
  const float rings = 0.5F + 0.5F * std::sin(60.0F * bend + p.x * 22.0F);
  const float fibre = fractal(p.x * 70.0F, along * 3.0F, 3, seed + 3);
  Colour colour = blend({0.19F, 0.085F, 0.035F, 1}, {0.36F, 0.19F, 0.085F, 1},
                        0.55F * rings + 0.75F * (fibre - 0.25F));
  colour = colour * (0.85F + 0.3F * hash(static_cast<std::int64_t>(board), 1, 201));
  const float seam = std::abs((p.x + 20.0F) / 1.15F - std::round((p.x + 20.0F) / 1.15F));
  return colour * (0.25F + 0.75F * smoothStep(0.0F, 0.016F, seam));
}

Colour wallPaint(Vector p) {
  const float mottle = fractal(p.x * 0.9F, p.y * 0.9F, 5, 301);
  return blend({0.075F, 0.115F, 0.125F, 1}, {0.16F, 0.215F, 0.215F, 1}, mottle);
}

struct Surface {
  Colour colour;
  Vector normal;
  float gloss;      // strength of the highlight
  float sharpness;  // its exponent
};

Surface surfaceOf(const Thing& thing, Vector p) {
  const Vector o = p - thing.centre;
  Vector normal = unit({o.x, o.y / (thing.tall * thing.tall), o.z});
  const float around = std::atan2(o.z, o.x) * 2.0F;
  const float up = o.y / (thing.radius * thing.tall);
  Colour colour = thing.colour;
  switch (thing.skin) {
    case Skin::egg: {
      const float tone = fractal(around * 2.0F, up * 3.0F, 4, thing.seed * 40);
      const float spots =
          smoothStep(0.70F, 0.78F, noise(around * 16.0F, up * 18.0F, thing.seed * 41));
      colour = colour * (0.86F + 0.28F * tone);
      return {blend(colour, colour * 0.62F, spots), normal, 0.10F, 18.0F};
    }
    case Skin::citrus: {
      const float scale = 17.0F / thing.radius * 0.45F;
      const float pits = noise(around * scale, up * scale, thing.seed * 50);
      const float pitsX = noise(around * scale + 0.3F, up * scale, thing.seed * 50);
      const float pitsY = noise(around * scale, up * scale + 0.3F, thing.seed * 50);
      normal = unit(normal + Vector{(pits - pitsX) * 0.35F, (pits - pitsY) * 0.35F, 0.0F});
      const float ripe = fractal(around, up * 2.0F, 3, thing.seed * 51);
      return {colour * (0.80F + 0.35F * ripe), normal, 0.32F, 26.0F};
    }
    case Skin::apple: {
      const float streak = fractal(around * 7.0F, up * 1.2F, 4, thing.seed * 60);
      const float green = smoothStep(0.44F, 0.72F, streak + 0.18F * up + 0.10F * std::sin(around));
      const float specks =
          smoothStep(0.80F, 0.86F, noise(around * 26.0F, up * 26.0F, thing.seed * 61));
      colour = blend(colour, {0.50F, 0.46F, 0.055F, 1}, green);
      colour = blend(colour, {0.70F, 0.60F, 0.36F, 1}, 0.6F * specks);
      return {colour, normal, 0.55F, 70.0F};
    }
    case Skin::plum:
      break;
  }
  const float bloom = fractal(around * 2.5F, up * 3.0F, 4, thing.seed * 70);
  return {blend(colour, {0.20F, 0.19F, 0.30F, 1}, 0.55F * smoothStep(0.45F, 0.75F, bloom)), normal,
          0.16F, 22.0F};
}

// Random numbers of one ray, all different.
class Dice {
 public:
  explicit Dice(Point p)
      : x_(static_cast<std::int64_t>(p.x * 1e6F)), y_(static_cast<std::int64_t>(p.y * 1e6F)) {}
  float roll() { return hash(x_, y_, 9000 + count_++); }

 private:
  std::int64_t x_;
  std::int64_t y_;
  std::uint32_t count_ = 0;
};

Colour shade(Vector origin, Vector direction, Dice& dice) {
  const Hit hit = trace(origin, direction);
  if (hit.distance == kFar) return {0.05F, 0.06F, 0.07F, 1.0F};
  const Vector p = origin + direction * hit.distance;
  Surface surface = {wood(p), {0.0F, 1.0F, 0.0F}, 0.10F, 30.0F};
  if (hit.thing != nullptr) surface = surfaceOf(*hit.thing, p);
  if (hit.wall) surface = {wallPaint(p), {0.0F, 0.0F, -1.0F}, 0.0F, 1.0F};
  const Vector start = p + surface.normal * 2e-3F;

  // The window, 2.4 by 2.8, to the left.
  Colour light = {0.0F, 0.0F, 0.0F, 1.0F};
  constexpr int kRays = 6;
  for (int i = 0; i < kRays; ++i) {
    const Vector at = {-4.6F, 2.2F + 2.8F * dice.roll(), -3.2F + 2.4F * dice.roll()};
    const Vector towards = at - start;
    const float square = dot(towards, towards);
    const Vector ray = towards * (1.0F / std::sqrt(square));
    const float slant = dot(surface.normal, ray);
    if (slant <= 0.0F || blocked(start, ray)) continue;
    const float strength = 50.0F * ray.x * -1.0F / square / kRays;
    const Vector half = unit(ray - direction);
    const float shine = surface.gloss * (surface.sharpness + 8.0F) / 25.0F *
                        std::pow(std::max(dot(surface.normal, half), 0.0F), surface.sharpness);
    const Colour day = {1.0F, 0.94F, 0.86F, 1.0F};
    light = light + day * (surface.colour * slant + Colour{shine, shine, shine, 1.0F}) * strength;
  }
  // What the room sends back from all sides.
  for (int i = 0; i < 3; ++i) {
    const float z = 2.0F * dice.roll() - 1.0F;
    const float turn = 6.2831853F * dice.roll();
    const float flat = std::sqrt(1.0F - z * z);
    const Vector ray =
        unit(surface.normal + Vector{flat * std::cos(turn), z, flat * std::sin(turn)} * 0.98F);
    const Hit met = trace(start, ray);
    Colour from = {0.17F, 0.19F, 0.23F, 1.0F};
    if (met.thing != nullptr) {
      from = met.thing->colour * 0.16F;
    } else if (met.distance < kFar && !met.wall) {
      from = Colour{0.28F, 0.16F, 0.08F, 1.0F} * 0.30F;
    }
    light = light + surface.colour * from * (1.0F / 3.0F);
  }
  return light;
}

}  // namespace

Colour stillLife(Point p) {
  Dice dice(p);
  const Vector eye = {0.25F, 2.15F, -5.6F};
  const Vector ahead = unit(Vector{0.34F, 0.50F, 0.0F} - eye);
  const Vector right = unit(cross({0.0F, 1.0F, 0.0F}, ahead));
  const Vector up = cross(ahead, right);
  const Vector direction =
      ahead * 2.05F + right * (p.x - p.aspect * 0.5F) * 1.30F + up * (0.5F - p.y) * 1.30F;
  // A wide aperture: what is not near the front row is soft.
  constexpr float kFocus = 2.45F;  // in units of `direction`
  const float turn = 6.2831853F * dice.roll();
  const float reach = 0.060F * std::sqrt(dice.roll());
  const Vector moved = right * (reach * std::cos(turn)) + up * (reach * std::sin(turn));
  return shade(eye + moved, unit(direction * kFocus - moved), dice);
}

}  // namespace kelvo::samples
