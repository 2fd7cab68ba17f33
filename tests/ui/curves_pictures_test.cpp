#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "curves_editor/kelvo_tq_curves_view.h"
#include "platform/ui/qt_canvas.h"
#include "tests/ui/resource_bundle.h"

// The editor's looks in a dozen states, beside pictures that somebody has looked at. What was drawn
// instead is left in the build folder under the same name.
namespace kelvo {
namespace {

using Points = std::vector<CurvePoint>;

struct State {
  const char* name;
  std::function<void(KelvoTQCurvesView&)> make;
};

std::string textOf(const Points& points) {
  std::string text;
  for (const CurvePoint& point : points) {
    if (!text.empty()) text += ',';
    text += std::to_string(point.x) + ' ' + std::to_string(point.y);
  }
  return text;
}

// The view with these four curves.
void load(KelvoTQCurvesView& view, const std::vector<Points>& curves) {
  const char* const counts[] = {"rgbN", "rN", "gN", "bN"};
  const char* const keys[] = {"rgbPoints", "rPoints", "gPoints", "bPoints"};
  auto params = std::make_shared<ParameterDictionary>();
  for (std::size_t channel = 0; channel < curves.size(); ++channel) {
    params->setObject_forKey(std::to_string(curves[channel].size()), counts[channel]);
    params->setObject_forKey(textOf(curves[channel]), keys[channel]);
  }
  view.setParams(params);
  view.loadParameters();
}

const Points kStraight{{0, 0}, {191, 191}};
const Points kSCurve{{0, 0}, {48, 24}, {143, 167}, {191, 191}};
const Points kInverse{{0, 191}, {191, 0}};

const std::vector<State>& states() {
  static const std::vector<State> all{
      {"identity", [](KelvoTQCurvesView& view) { load(view, {}); }},
      {"s_curve_selected",
       [](KelvoTQCurvesView& view) {
         load(view, {kSCurve});
         view.setSelectedIndex(0, 1);
       }},
      {"red_glows_under_master",
       [](KelvoTQCurvesView& view) {
         load(view, {kStraight, {{0, 0}, {96, 150}, {191, 191}}});
       }},
      {"three_colours_under_master",
       [](KelvoTQCurvesView& view) {
         load(view, {kStraight,
                     {{0, 0}, {60, 110}, {191, 191}},
                     {{0, 30}, {191, 160}},
                     {{0, 0}, {130, 70}, {191, 191}}});
       }},
      {"red_active",
       [](KelvoTQCurvesView& view) {
         load(view, {kSCurve, kInverse});
         view.setActiveChannel(1);
         view.setSelectedIndex(1, 1);
       }},
      {"green_beyond_both_edges",
       [](KelvoTQCurvesView& view) {
         load(view, {kStraight, kStraight, {{0, 10}, {80, 5}, {110, 186}, {191, 180}}});
         view.setActiveChannel(2);
       }},
      {"blue_flat_at_the_bottom",
       [](KelvoTQCurvesView& view) {
         load(view, {kStraight, kStraight, kStraight, {{0, 0}, {191, 0}}});
         view.setActiveChannel(3);
       }},
      {"flat_at_the_top",
       [](KelvoTQCurvesView& view) {
         load(view, {{{0, 191}, {191, 191}}});
       }},
      {"first_point_selected",
       [](KelvoTQCurvesView& view) {
         load(view, {});
         view.setSelectedIndex(0, 0);
       }},
      {"ends_moved_in",
       [](KelvoTQCurvesView& view) {
         load(view, {{{40, 20}, {96, 120}, {150, 171}}});
       }},
      {"many_points",
       [](KelvoTQCurvesView& view) {
         Points points;
         for (int i = 0; i < 16; ++i) {
           points.push_back({static_cast<float>(i) * 12.5F,
                             static_cast<float>(i % 2 == 0 ? 60 + 4 * i : 90 + 5 * i)});
         }
         load(view, {points});
         view.setSelectedIndex(0, 7);
       }},
      {"points_between_pixels", [](KelvoTQCurvesView& view) {
         load(view, {{{0, 0}, {50.3F, 99.6F}, {120.75F, 120.25F}, {191, 191}}});
         view.setSelectedIndex(0, 2);
       }}};
  return all;
}

QImage pictureOf(const State& state, int scale) {
  KelvoTQCurvesView view;
  view.setBundle(testing::resourceBundle());
  view.awakeFromNib();
  state.make(view);
  const NSSize size = view.frame().size;
  QImage picture(static_cast<int>(size.width) * scale, static_cast<int>(size.height) * scale,
                 QImage::Format_ARGB32_Premultiplied);
  picture.setDevicePixelRatio(scale);
  picture.fill(QColor(0xEC, 0xEC, 0xEC));
  QPainter painter(&picture);
  QtCanvas canvas(painter, size, scale);
  view.drawRect(canvas, view.bounds());
  return picture.convertToFormat(QImage::Format_RGB32);
}

// How many pixels differ by more than rounding and antialiasing may.
int differences(const QImage& a, const QImage& b) {
  constexpr int kTolerance = 12;
  int count = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      const QRgb p = a.pixel(x, y);
      const QRgb q = b.pixel(x, y);
      const int most = std::max({std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                                 std::abs(qBlue(p) - qBlue(q))});
      if (most > kTolerance) ++count;
    }
  }
  return count;
}

class CurvesPictures : public ::testing::TestWithParam<std::tuple<std::size_t, int>> {};

TEST_P(CurvesPictures, LooksAsItDidWhenSomebodyLooked) {
  const auto [number, scale] = GetParam();
  const State& state = states()[number];
  const std::string name = std::string(state.name) + (scale == 2 ? "@2x.png" : ".png");
  const QImage picture = pictureOf(state, scale);
  const QImage reference(QString::fromStdString(KELVO_SOURCE_DIR "/tests/ui/references/" + name));
  const bool same = reference.size() == picture.size() &&
                    differences(picture, reference.convertToFormat(QImage::Format_RGB32)) <=
                        picture.width() * scale / 20;
  if (!same) {
    const std::filesystem::path folder = KELVO_BINARY_DIR "/tests/ui/drawn";
    std::filesystem::create_directories(folder);
    picture.save(QString::fromStdString((folder / name).string()));
  }
  EXPECT_TRUE(same) << name;
}

INSTANTIATE_TEST_SUITE_P(States, CurvesPictures,
                         ::testing::Combine(::testing::Range<std::size_t>(0, 12),
                                            ::testing::Values(1, 2)),
                         [](const auto& chosen) {
                           return std::string(states()[std::get<0>(chosen.param)].name) + "_at_" +
                                  std::to_string(std::get<1>(chosen.param)) + "x";
                         });

TEST(CurvesPictureStates, AreAllCompared) { EXPECT_EQ(states().size(), 12U); }

}  // namespace
}  // namespace kelvo
