"""The yardstick's arithmetic: formulas against values worked out by hand, judges that must refuse,
ratios, targets, and that the table of works is whole."""

import sys
import unittest
from pathlib import Path
from types import SimpleNamespace

sys.path.insert(0, sys.argv.pop(1))

import numpy  # noqa: E402

import adjustments  # noqa: E402
import measure  # noqa: E402
import oracle  # noqa: E402
import peers  # noqa: E402
import photographs  # noqa: E402
import report  # noqa: E402
import yardstick  # noqa: E402
from works import WORKS, Work  # noqa: E402


def adjusted(formula, *colors, nudge=0):
    """The formula's colours for one-pixel rows, from a picture of just these."""
    array = numpy.array(colors, float)
    return formula(numpy.rint(array * 255).astype(numpy.uint8))(array, nudge)


class Formulas(unittest.TestCase):
    def near(self, actual, wanted, delta=1e-9):
        numpy.testing.assert_allclose(actual, wanted, rtol=0, atol=delta)

    def test_levels_map_black_to_0_white_to_1_and_the_middle_to_the_middle_of_the_line(self):
        formula = adjustments.levels(0, 64, 255)
        self.near(adjusted(formula, [0, 1, 64 / 255]), [[0, 1, 0.5]])

    def test_levels_are_a_straight_line_if_the_middle_is_in_the_middle(self):
        formula = adjustments.levels(50, 125, 200)
        self.near(adjusted(formula, [50 / 255, 80 / 255, 200 / 255]), [[0, 0.2, 1]])

    def test_the_spline_goes_through_its_points_and_keeps_its_ends(self):
        points = [(10, 30), (96, 120), (200, 180)]
        self.near(adjustments.natural_spline(points, numpy.array([0, 10, 96, 200, 255])),
                  [30, 30, 120, 180, 180])

    def test_the_spline_of_three_even_points_is_the_known_cubic(self):
        # Through (0,0), (1,1), (2,0): M1 = -3, and half-way 0.5 + 3/16.
        self.near(adjustments.natural_spline([(0, 0), (1, 1), (2, 0)], numpy.array([0.5])), [0.6875])

    def test_curves_left_alone_reach_191_of_192(self):
        formula = adjustments.curves(adjustments.IDENTITY, adjustments.IDENTITY)
        self.near(adjusted(formula, [0, 4 / 255, 1]), [[0, 3 / 192, 191 / 192]])

    def test_color_balance_keeps_the_ends_of_a_curve_outside_of_it(self):
        formula = adjustments.shifted_ends((0, 255), (10, 255), (0, 240))
        self.near(adjusted(formula, [128 / 255, 5 / 255, 250 / 255]), [[128 / 256, 0, 255 / 256]])

    def test_threshold_is_white_at_the_level_itself_and_either_way_when_nudged(self):
        formula = adjustments.threshold(128)
        grey = [128 / 255] * 3
        self.near(adjusted(formula, grey, nudge=-1e-6), [[1, 1, 1]])
        self.near(adjusted(formula, grey, nudge=1e-6), [[0, 0, 0]])
        self.near(adjusted(formula, [1, 0, 0], [0, 1, 0]), [[0, 0, 0], [1, 1, 1]])

    def test_posterize_makes_as_many_equal_bins_as_levels(self):
        self.near(adjusted(adjustments.posterize(4), [0.24, 0.26, 1]), [[0, 1 / 3, 1]])

    def test_one_stop_of_exposure_doubles_the_light(self):
        self.near(adjustments.linear(adjustments.encoded(numpy.array([0.001, 0.4]))), [0.001, 0.4])
        middle = adjustments.ADJUSTMENTS["exposure"].formula
        light = adjustments.linear(adjusted(middle, [0.5] * 3)) / adjustments.linear(0.5)
        self.near(light, [[2 ** 0.5] * 3])  # 25 of 50 a stop

    def test_a_third_of_a_turn_makes_red_green(self):
        degrees = 2 * numpy.pi / 3 / 3.14 * 180
        self.near(adjustments.turn_hue(numpy.array([[1.0, 0, 0]]), degrees), [[0, 1, 0]])
        self.near(adjustments.turn_hue(numpy.array([[0.3, 0.3, 0.3]]), 77), [[0.3, 0.3, 0.3]])

    def test_replaced_colors_are_the_like_ones_alone(self):
        formula = adjustments.replace_color([1, 0, 0], 20, 0, -100, 0)
        result = adjusted(formula, [1, 0, 0], [0, 0, 1])
        self.near(result, [[0.2125] * 3, [0, 0, 1]])

    def test_equalize_leaves_few_pixels_alone(self):
        self.near(adjusted(adjustments.equalize, [0.2, 0.4, 0.6]), [[0.2, 0.4, 0.6]])

    def test_equalize_takes_the_bins_inside_of_half_a_percent(self):
        levels = numpy.repeat(numpy.array([50] * 10 + [100] * 980 + [200] * 10), 3).reshape(1, -1, 3)
        adjust = adjustments.equalize(levels.astype(numpy.uint8))
        grey = numpy.full((1, 3), 100 / 255)
        self.near(adjust(grey, 0), numpy.full((1, 3), (100 - 51) / (199 - 51)))

    def test_lab_has_its_white_black_and_neutral_axis(self):
        corners = numpy.array([[1.0, 1, 1], [0, 0, 0], [0.5, 0.5, 0.5]])
        lab = adjustments.to_lab(corners)
        self.near(lab[:2], [[255, 128, 128], [0, 128, 128]])
        self.assertAlmostEqual(lab[2][0] / 2.55, 53.4, delta=0.2)  # L* of sRGB's middle grey
        self.near(adjustments.from_lab(lab), corners, 0.003)

    def test_auto_leaves_a_picture_of_full_range_nearly_alone(self):
        ramp = numpy.repeat(numpy.arange(256, dtype=numpy.uint8), 3).reshape(1, 256, 3)
        self.near(adjustments.auto(ramp)(ramp[0] / 255, 0), ramp[0] / 255, 0.03)


class Oracle(unittest.TestCase):
    def setUp(self):
        noise = numpy.random.default_rng(7)
        self.source = noise.integers(0, 256, (500, 4), numpy.uint8)
        alpha = self.source[:, 3].astype(float)
        colors = 1 - self.source[:, :3] / 255
        exact = oracle.straight(oracle.rendered(colors, alpha / 255), alpha)
        self.result = numpy.concatenate([exact, alpha[:, None]], axis=1).astype(numpy.uint8)

    def test_the_exact_result_passes(self):
        self.assertEqual(oracle.pixels_off("invert", self.source, self.result), 0)

    def test_one_level_is_allowed_and_two_are_not(self):
        self.source[:, 3] = self.result[:, 3] = 255
        self.result[:, :3] = 255 - self.source[:, :3]
        self.source[3, 1], self.result[3, 1] = 100, 156
        self.assertEqual(oracle.pixels_off("invert", self.source, self.result), 0)
        self.result[3, 1] = 157
        self.assertEqual(oracle.pixels_off("invert", self.source, self.result), 1)

    def test_another_alpha_is_refused(self):
        self.result[0, 3] ^= 1
        self.assertGreaterEqual(oracle.pixels_off("invert", self.source, self.result), 1)

    def test_another_adjustment_is_refused(self):
        self.assertGreater(oracle.pixels_off("levels", self.source, self.result), 100)

    def test_deep_pictures_are_held_to_a_level_of_their_own(self):
        source = numpy.array([[1000, 30000, 65535, 65535]], numpy.uint16)
        result = numpy.array([[64535, 35535, 0, 65535]], numpy.uint16)
        self.assertEqual(oracle.pixels_off("invert", source, result), 0)
        result[0, 0] += 2
        self.assertEqual(oracle.pixels_off("invert", source, result), 1)
        in_eight_bits = numpy.array([[251, 138, 0, 255]], numpy.uint8)
        self.assertEqual(oracle.pixels_off("invert", source, in_eight_bits), 0)

    def test_an_encoded_picture_may_be_as_noisy_as_encoding_but_not_shifted(self):
        noise = numpy.random.default_rng(7)
        wanted = noise.integers(40, 200, (60, 60, 3)).astype(numpy.uint8)
        encoded = (wanted + noise.integers(-3, 4, wanted.shape)).astype(numpy.uint8)
        self.assertTrue(oracle.judge_jpeg(encoded, wanted, 0.0, encoded).passed)
        shifted = encoded.copy()
        shifted[::4, :, 2] += 1  # one channel, by a quarter of a level
        self.assertFalse(oracle.judge_jpeg(shifted, wanted, 0.0, encoded).passed)
        noisier = encoded + noise.choice([-3, 3], wanted.shape)
        self.assertFalse(oracle.judge_jpeg(noisier.astype(numpy.uint8), wanted, 1.0, encoded).passed)
        self.assertFalse(oracle.judge_jpeg(encoded[1:], wanted, 0.0, encoded).passed)
        self.assertFalse(oracle.judge_webp(wanted // 2, wanted, encoded).passed)

    def test_an_adjustment_without_a_formula_is_not_called_right(self):
        self.assertIsNone(oracle.check("sharpen", Path("a.png"), Path("b.png")))


class Arithmetic(unittest.TestCase):
    def costs(self, *walls):
        return [measure.Cost(wall, 2 * wall, 10) for wall in walls]

    def test_ratios_are_of_neighbours(self):
        # The machine slowed down in the third turn, for both.
        self.assertEqual(measure.ratio(self.costs(2, 2.2, 20), self.costs(1, 1, 10), "wall"), 2.0)

    def test_no_ratio_without_a_limit_or_to_nothing(self):
        self.assertIsNone(measure.ratio(self.costs(2), [], "wall"))
        self.assertIsNone(measure.ratio(self.costs(2), self.costs(0), "wall"))

    def test_medians_and_minima(self):
        found = measure.summary(self.costs(3, 1, 2))
        self.assertEqual((found["median"]["wall"], found["least"]["cpu"]), (2, 2))

    def test_a_target_is_reached_up_to_itself(self):
        kelvo = {"wall_ratio": 1.10, "cpu_ratio": 1.2, "size_ratio": 1.0,
                 "median": {"wall": 0.030, "memory": 33.0}}
        limit = {"median": {"wall": 0.019}}
        work = Work("w", "p", wall=1.10, cpu=1.1, memory=32, over_limit=0.010, seconds=0.030)
        found = {entry["what"]: entry["reached"] for entry in yardstick.targets(work, kelvo, limit)}
        self.assertEqual(found, {"wall": True, "CPU": False, "memory": False, "whole": True,
                                 "more than the limit": False})

    def test_slow_peers_run_twice_and_everything_else_as_often_as_asked(self):
        walls = {"Kelvo": 5.0, "limit": 4.0, "quick": 1.9, "slow": 2.1}
        kinds = {"Kelvo": "kelvo", "limit": "limit"}
        tools = [yardstick.Tool(name, kinds.get(name, "peer"), [], 1, []) for name in walls]
        session = yardstick.Session.__new__(yardstick.Session)
        session.options = SimpleNamespace(runs=4)
        session.once = lambda tool: measure.Cost(walls[tool.name], walls[tool.name], 1)
        result = {"tools": {name: {"size_ratio": 1} for name in walls}}
        session.race(Work("w", "p"), tools, result)
        self.assertEqual({name: len(tool["runs"]) for name, tool in result["tools"].items()},
                         {"Kelvo": 4, "limit": 4, "quick": 4, "slow": 2})
        self.assertAlmostEqual(result["tools"]["slow"]["wall_ratio"], 2.1 / 4)

    def test_the_report_says_what_is_wrong_and_what_is_missed(self):
        result = {"work": "w", "picture": "p", "files": 1, "input_bytes": 1, "processors": 1,
                  "command": "kelvo invert", "tools": {}, "failed": True, "check": "**wrong**",
                  "targets": [{"what": "wall", "target": 1.1, "measured": 1.2, "unit": "",
                               "digits": 2, "reached": False}]}
        run = {"date": "2000-01-01", "runs": 1, "slow": 3.0, "runs_of_slow": 2, "quick": True, "files": "in memory",
               "machine": {"processor": "some", "cores": 1}, "results": [result]}
        text = report.markdown(run)
        self.assertIn("| w | 1 |  |  |  | wall 1.20 of 1.10: **missed** | **wrong** |", text)
        self.assertIn("not to be quoted", text)


class Table(unittest.TestCase):
    def test_every_work_can_be_done(self):
        self.assertEqual(len({work.name for work in WORKS}), len(WORKS))
        for work in WORKS:
            with self.subTest(work.name):
                self.assertIn(work.picture, photographs.MAKERS)
                self.assertIn(work.adjustment, adjustments.ADJUSTMENTS)
                self.assertIn(work.storage, peers.MAGICK_STORAGE)
                self.assertIn(work.limit, ("", "cp", "bare_jpeg", "bare_png", "bare_tiff"))

    def test_every_adjustment_is_measured(self):
        self.assertEqual({work.adjustment for work in WORKS}, set(adjustments.ADJUSTMENTS))


if __name__ == "__main__":
    unittest.main()
