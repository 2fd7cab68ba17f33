#!/usr/bin/env python3
"""Each rule of check_architecture.py catches a tree that breaks it, and lets a clean one pass."""

import tempfile
import unittest
from pathlib import Path

import check_architecture

CLEAN = {
    "engine/README.md": "engine",
    "engine/levels.cpp": '#include "engine/levels.h"\n\n#include <vector>\n',
    "engine/levels.h": '#pragma once\n#include "platform/image/ci_image.h"\n',
    "platform/image/README.md": "image",
    "platform/image/ci_image.h": '#pragma once\n#include <memory>\n'
                                 '#include "platform/foundation/result.h"\n',
    "platform/foundation/README.md": "foundation",
    "platform/foundation/result.h": "#pragma once\n",
    "platform/image_io/README.md": "image_io",
    "platform/image_io/codec.h": "#pragma once\nextern const Codec kPngCodec;\n",
    "platform/image_io/codecs.cpp": "#include <png.h>\n"
                                    "const Codec* const kTable[] = {&kPngCodec};\n",
    "fuzz/image_io/CMakeLists.txt": "kelvo_add_fuzzer(fuzz_png SOURCES fuzz_png.cpp)\n",
    "fuzz/image_io/seeds/fuzz_png/one": "seed",
}


class CheckArchitecture(unittest.TestCase):
    def check(self, changes):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in {**CLEAN, **changes}.items():
                if text is None:
                    continue
                path = Path(folder, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text, encoding="utf-8")
            self.warnings = []
            return check_architecture.check(folder, self.warnings.append)

    def assert_caught(self, changes, *parts):
        violations = self.check(changes)
        self.assertEqual(1, len(violations), violations)
        for part in parts:
            self.assertIn(part, violations[0])

    def test_a_clean_tree_passes(self):
        self.assertEqual([], self.check({}))

    def test_an_empty_tree_does_not_pass(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(["there is no code to check"], check_architecture.check(folder))

    def test_a_lower_layer_that_uses_a_higher_one_is_caught(self):
        self.assert_caught({"platform/image/ci_image.h": '#include "engine/levels.h"\n',
                            "engine/levels.h": "\n"},
                           "platform/image/ci_image.h:1: platform/image must not use engine")

    def test_a_sideways_use_inside_the_platform_is_caught(self):
        self.assert_caught({"platform/image/ci_image.h": '\n#include "platform/image_io/codec.h"\n'},
                           "platform/image/ci_image.h:2: platform/image must not use "
                           "platform/image_io")

    def test_kernels_must_not_use_the_engine(self):
        self.assert_caught({"kernels/README.md": "k",
                            "kernels/a.cpp": '#include "engine/levels.h"\n'},
                           "kernels must not use engine")

    def test_own_code_that_uses_a_test_header_is_caught(self):
        self.assert_caught({"tests/helper.h": "\n",
                            "engine/levels.h": '#include "tests/helper.h"\n'},
                           "engine must not use tests/helper.h")

    def test_an_include_that_is_not_written_from_the_root_is_caught(self):
        self.assert_caught({"engine/levels.cpp": '#include "levels.h"\n'},
                           "engine/levels.cpp:1", "not a file of the tree")

    def test_headers_that_include_each_other_are_caught(self):
        self.assert_caught({"engine/levels.h": '#include "engine/other.h"\n',
                            "engine/other.h": '#include "engine/levels.h"\n'},
                           "headers include each other", "engine/other.h")

    def test_a_third_party_header_in_own_code_is_caught(self):
        self.assert_caught({"engine/levels.h": "#include <fmt/format.h>\n"},
                           "engine/levels.h:1: <fmt/format.h>")

    def test_a_system_header_in_own_code_is_caught(self):
        self.assert_caught({"engine/levels.h": "#include <unistd.h>\n"}, "<unistd.h>")

    def test_a_third_party_header_that_own_code_reaches_through_the_platform_is_caught(self):
        self.assert_caught({"platform/foundation/result.h": "#  include <jpeglib.h>\n"},
                           "platform/foundation/result.h:1: <jpeglib.h>", "includes it")

    def test_a_third_party_header_in_a_tool_is_caught(self):
        self.assert_caught({"tools/README.md": "t", "tools/a.cpp": "#include <png.h>\n"},
                           "tools/a.cpp:1: <png.h>")

    def test_a_third_party_header_in_a_test_passes(self):
        self.assertEqual([], self.check({"tests/a.cpp": "#include <gtest/gtest.h>\n"}))

    def test_a_folder_without_a_readme_is_caught(self):
        self.assert_caught({"engine/README.md": None}, "engine: has no README.md")

    def test_a_folder_that_the_readme_above_tells_of_needs_none(self):
        inner = {"engine/inner/a.h": "#pragma once\n"}
        self.assert_caught(inner, "engine/inner: has no README.md")
        self.assertEqual([], self.check({**inner, "engine/README.md": "`inner/` parts"}))

    def test_a_file_that_is_too_long_is_caught(self):
        self.assert_caught({"engine/levels.cpp": "\n" * 600}, "engine/levels.cpp: 600 lines")

    def test_a_file_that_is_rather_long_is_warned_about(self):
        self.assertEqual([], self.check({"engine/levels.cpp": "\n" * 599}))
        self.assertEqual(["engine/levels.cpp: 599 lines, more than 499"], self.warnings)
        self.assertEqual([], self.check({"engine/levels.cpp": "\n" * 499}))
        self.assertEqual([], self.warnings)

    def test_paths_of_one_machine_are_caught(self):
        for path in ("/ho" + "me/someone/kelvo", "/Us" + "ers/someone", "/wo" + "rk/main",
                     "cd /wo" + "rk", "/ro" + "ot/kelvo"):
            with self.subTest(path):
                self.assert_caught({"docs/a.md": f"first\nsee {path} there\n"}, "docs/a.md:2")

    def test_paths_inside_the_tree_pass(self):
        self.assertEqual([], self.check(
            {"docs/a.md": "tests/wo" + "rk/a build/wo" + "rk $HOME/wo" + "rk https://a.org/ho"
                          + "me.html\n"}))

    def test_notes_of_unfinished_work_are_caught(self):
        self.assert_caught({"engine/levels.cpp": "// TO" + "DO later\n"}, "engine/levels.cpp:1")

    def test_conflict_marks_are_caught(self):
        self.assert_caught({"docs/a.md": "<" * 7 + " ours\n"}, "docs/a.md:1")

    def test_binary_files_are_not_read_as_text(self):
        self.assertEqual([], self.check({"docs/a.dat": "\0 /wo" + "rk/main"}))

    def test_a_codec_without_seeds_is_caught(self):
        self.assert_caught(
            {"platform/image_io/codecs.cpp":
                 "constexpr std::array<const Codec*, 2> kTable = {&kPngCodec, &kJpegCodec};\n"},
            "no seeds for jpeg")

    def test_a_fuzz_target_without_seeds_is_caught(self):
        self.assert_caught(
            {"fuzz/host/CMakeLists.txt": "kelvo_add_fuzzer(fuzz_workflow SOURCES a.cpp)\n"},
            "fuzz/host: no seeds for the fuzz target fuzz_workflow")

    def test_seeds_may_stand_together_beside_the_folders(self):
        self.assertEqual([], self.check({"fuzz/image_io/seeds/fuzz_png/one": None,
                                         "fuzz/seeds/fuzz_png/one": "seed"}))

    def test_a_missing_table_of_codecs_is_caught(self):
        self.assert_caught({"platform/image_io/codecs.cpp": "\n"}, "no table of codecs was found")

    def test_a_circle_in_the_table_of_layers_is_caught(self):
        graph = {"a": ["b"], "b": ["c"], "c": ["a"], "d": ["a"]}
        self.assertEqual([["a", "b", "c", "a"]], check_architecture.find_cycles(graph))
        self.assertEqual([], check_architecture.find_cycles({"a": ["b", "c"], "b": ["c"]}))


if __name__ == "__main__":
    unittest.main()
