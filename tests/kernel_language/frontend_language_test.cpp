// What each construct of the language gives, on values worked out by hand. Every program is carried
// out plainly and as a program on every instruction set; all must agree.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "platform/kernel_language/executable.h"
#include "program_runner.h"

namespace kelvo::kernel_language {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// The pixel that every program here sees as `p`; it stands at column 7, row 2.
constexpr Color kPixel{0.25F, 0.5F, 0.75F, 1.0F};

struct Case {
  std::string body;  // of a kernel with the pixel p, ending in return
  Color expected;
  std::string functions = {};  // before the kernel
};

std::string sourceOf(const Case& test) {
  return test.functions + "\nkernel vec4 k(sampler s) {\n  vec4 p = sample(s, samplerCoord(s));\n" +
         test.body + "\n}\n";
}

void check(const Case& test, unsigned ulps) {
  const std::string source = sourceOf(test);
  SCOPED_TRACE(source);
  const auto kernel = compileOne(source);
  ASSERT_TRUE(kernel);
  const PixelRun run{{kPixel}, 7, 2};
  const Color plain = runPlainly(*kernel, {}, run).front();
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(close(plain[i], test.expected[i], ulps)) << i << ": " << plain[i];
  }
  const Result<Program> program = emitProgram(*kernel, {});
  ASSERT_TRUE(program.ok());
  for (const std::string& target : targets()) {
    SCOPED_TRACE(target);
    ASSERT_TRUE(forceTarget(target));
    const Color vector = runProgram(*program, run).front();
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_TRUE(close(vector[i], plain[i], ulps)) << i << ": " << vector[i] << " " << plain[i];
    }
  }
  forceTarget("");
}

void checkExactly(const std::vector<Case>& cases) {
  for (const Case& test : cases) check(test, 0);
}

TEST(FrontEndLanguage, LiteralsInEveryForm) {
  checkExactly({
      {"return vec4(1., .5, 1e-3, 2.5e+2);", {1, 0.5F, 0.001F, 250}},
      {"return vec4(1.0f, 2f, 0x10, 0);", {1, 2, 16, 0}},
      {"return vec4(1E2, 1e0, 16777217.0, 0.1);", {100, 1, 16777216, 0.1F}},
      {"return vec4(true, false, 2147483647, 0.0);", {1, 0, 2147483648.0F, 0}},
      {"return vec4(1e-50, 1e-45, 3.4028235e38, 0);", {0, 1e-45F, 3.4028235e38F, 0}},
  });
}

TEST(FrontEndLanguage, CommentsAndBlanksSeparateTokens) {
  checkExactly({
      {"return/* a * / b */vec4// to the end\n(p.r/**/,\tp.g, p.b\r\n, p.a);", kPixel},
  });
}

TEST(FrontEndLanguage, ConstructorsConvertAndCut) {
  checkExactly({
      {"return vec4(2);", {2, 2, 2, 2}},
      {"return vec4(p.rg, 1, true);", {0.25F, 0.5F, 1, 1}},
      {"return vec4(vec2(p), p.ba);", {0.25F, 0.5F, 0.75F, 1}},
      {"return vec4(vec3(p), 9.0);", {0.25F, 0.5F, 0.75F, 9}},
      {"return vec4(1.0, vec4(5, 6, 7, 8));", {1, 5, 6, 7}},
      {"return vec4(float(p), int(2.9), int(-2.9), bool(0.5));", {0.25F, 2, -2, 1}},
      {"return vec4(bool(0), int(true), float(7 / 2), int(p.gba));", {0, 1, 3, 0}},
      {"return vec4(int(3e9), int(-3e9), int(0.0 / 0.0), bool(0.0 / 0.0));",
       {2147483648.0F, -2147483648.0F, 0, 1}},
  });
}

TEST(FrontEndLanguage, IntsBecomeFloatsWhereFloatsAreWanted) {
  checkExactly({
      {"float x = 1; x = 3; return vec4(x, 1 + 0.5, 2 * p.b, 3 - p.a);", {3, 1.5F, 1.5F, 2}},
      {"return p * 2;", {0.5F, 1, 1.5F, 2}},
      {"return 1 - p;", {0.75F, 0.5F, 0.25F, 0}},
      {"return vec4(min(p.r, 0), max(p.r, 1), mix(0, 4, p.r), clamp(p.b, 0, 0.5));",
       {0, 1, 1, 0.5F}},
      {"return true ? vec4(f(2)) : vec4(0);", {4, 4, 4, 4}, "float f(float x) { return x * x; }"},
      {"return vec4(p.r > 0 ? 1 : 0.5);", {1, 1, 1, 1}},
      {"return vec4(f());", {3, 3, 3, 3}, "float f() { return 3; }"},
  });
}

TEST(FrontEndLanguage, ArithmeticOnFloatsAndVectors) {
  checkExactly({
      {"return p + p;", {0.5F, 1, 1.5F, 2}},
      {"return p - vec4(1, 0.25, 0.75, 3);", {-0.75F, 0.25F, 0, -2}},
      {"return p * vec4(4, 2, 0, -1);", {1, 1, 0, -1}},
      {"return p / vec4(0.5, 0.25, 0.75, -2);", {0.5F, 2, 1, -0.5F}},
      {"return 0.5 / p;", {2, 1, 0.5F / 0.75F, 0.5F}},
      {"return p / 0.5;", {0.5F, 1, 1.5F, 2}},
      {"return -p + +p.abgr;", {0.75F, 0.25F, -0.25F, -0.75F}},
      {"return vec4(1.0 / 0.0, -1.0 / 0.0, 0.0 / 0.0, -0.0);",
       {kInfinity, -kInfinity, kNaN, -0.0F}},
      {"return vec4(2 + 3 * 4 - 10 / 4 % 2, (2 + 3) * 4, 1 - 2 - 3, 8 / 4 / 2);", {14, 20, -4, 1}},
  });
}

TEST(FrontEndLanguage, IntArithmeticTruncatesWrapsAndNeverFails) {
  checkExactly({
      {"int a = 7; int b = -7; return vec4(a / 2, b / 2, a % 3, b % 3);", {3, -3, 1, -1}},
      {"int z = 0; int a = 7; return vec4(a / z, a % z, -a, a - 10);", {0, 0, -7, -3}},
      {"int m = 2147483647; return vec4(m + 1, m * 2, -(m + 1), (m + 1) / -1);",
       {-2147483648.0F, -2, -2147483648.0F, -2147483648.0F}},
      {"int m = -2147483647 - 1; return vec4(m % -1, m - 1 == 2147483647, 7 % -3, -7 % -3);",
       {0, 1, 1, -1}},
      {"int i = int(p.r * 40.0); return vec4(i / 3, i % 3, i * i, -i);", {3, 1, 100, -10}},
  });
}

TEST(FrontEndLanguage, ComparisonsAndLogic) {
  checkExactly({
      {"return vec4(p.r < 0.25, p.r <= 0.25, p.r > 0.25, p.r >= 0.25);", {0, 1, 0, 1}},
      {"return vec4(p.r == 0.25, p.r != 0.25, 3 == 3, 3 != 3);", {1, 0, 1, 0}},
      {"return vec4(2 < 3, 3 <= 2, 3 > 2, 2 >= 3);", {1, 0, 1, 0}},
      {"float n = 0.0 / 0.0; return vec4(n == n, n != n, n < 1.0, n >= 1.0);", {0, 1, 0, 0}},
      {"return vec4(p == p, p != p, p == p.abgr, p.rg != vec2(0.25, 0.75));", {1, 0, 0, 1}},
      {"bool t = p.a > 0.5; bool f = !t; return vec4(t && f, t || f, t ^^ t, t ^^ f);",
       {0, 1, 0, 1}},
      {"bool t = true; bool f = p.a < 0.5; return vec4(t == f, t != f, !t || f, f && t || t);",
       {0, 1, 0, 1}},
      {"return vec4(true || false && false, 1 + 1 == 2, !(1 > 2) == true, 1 < 2 == 2 > 1);",
       {1, 1, 1, 1}},
      {"return vec4(-0.0 == 0.0, -0.0 < 0.0, true ^^ true && false, 0);", {1, 0, 1, 0}},
  });
}

TEST(FrontEndLanguage, TheSideNotChosenLeavesNoTrace) {
  checkExactly({
      {"return p.a > 0.5 ? p : p / 0.0;", kPixel},
      {"return vec4(p.a > 2.0 ? 0.0 / 0.0 : 4.0);", {4, 4, 4, 4}},
      {"return compare(vec4(-1, 0, 1, -0.0), p, vec4(5));", {0.25F, 5, 5, 5}},
      {"return compare(vec4(0.0 / 0.0, -1, 1, -1e-40), p / 0.0, p);",
       {0.25F, kInfinity, 0.75F, kInfinity}},
      {"float x = 1.0; if (p.r > 0.5) { x = 0.0 / 0.0; } return vec4(x);", {1, 1, 1, 1}},
      {"int n = 0; p.a < 2.0 ? n += 1 : (n += 10); return vec4(n);", {1, 1, 1, 1}},
      {"int n = 0; bool b = p.a > 2.0 && (n++ == 0); return vec4(n, b, 0, 0);", {0, 0, 0, 0}},
      {"int n = 0; bool b = p.a > 0.5 && (n++ == 0); return vec4(n, b, 0, 0);", {1, 1, 0, 0}},
      {"int n = 0; bool b = p.a > 0.5 || (n++ == 0); return vec4(n, b, 0, 0);", {0, 1, 0, 0}},
      {"int n = 0; bool b = p.a > 2.0 || (n++ == 0); return vec4(n, b, 0, 0);", {1, 1, 0, 0}},
      {"float v = p.r; float w = p.r > 0.5 ? (v = 9.0) : (v += 1.0); return vec4(v, w, 0, 0);",
       {1.25F, 1.25F, 0, 0}},
  });
}

TEST(FrontEndLanguage, SwizzlesAreReadInEverySetOfNames) {
  checkExactly({
      {"return p.abgr;", {1, 0.75F, 0.5F, 0.25F}},
      {"return p.xxyy;", {0.25F, 0.25F, 0.5F, 0.5F}},
      {"return vec4(p.stpq.wz, p.q, p.s);", {1, 0.75F, 1, 0.25F}},
      {"return vec4(p.zyx.zy, (p + p).w, vec2(3, 4).g);", {0.25F, 0.5F, 2, 4}},
      {"return p.wzyx.xy.yxyx;", {0.75F, 1, 0.75F, 1}},
  });
}

TEST(FrontEndLanguage, SwizzlesAreWritten) {
  checkExactly({
      {"p.rgb = vec3(3); return p;", {3, 3, 3, 1}},
      {"p.bgr = p.rgb; return p;", {0.75F, 0.5F, 0.25F, 1}},
      {"p.yx = p.xy; p.zw *= 2.0; return p;", {0.5F, 0.25F, 1.5F, 2}},
      {"p.wzyx.xy = vec2(8, 9); return p;", {0.25F, 0.5F, 9, 8}},
      {"p.xz += vec2(1, 2); p.y -= 0.5; return p;", {1.25F, 0, 2.75F, 1}},
      {"vec2 v; v.x = 5.0; return vec4(v, v);", {5, 0, 5, 0}},
  });
}

TEST(FrontEndLanguage, ElementsAreReadAndWrittenByIndex) {
  checkExactly({
      {"return vec4(p[0], p[3], p.bg[1], p.rg[0]);", {0.25F, 1, 0.5F, 0.25F}},
      {"int i = int(p.g * 4.0); return vec4(p[i], p[i - 1], p[i + 1], p[0]);",
       {0.75F, 0.5F, 1, 0.25F}},
      {"int i = int(p.a) * 9; return vec4(p[i], p[-i], vec2(5, 6)[i], vec3(1, 2, 3)[-i]);",
       {1, 0.25F, 6, 1}},
      {"int i = int(p.a); p[i] = 7.0; p[i + 1] += 1.0; return p;", {0.25F, 7, 1.75F, 1}},
      {"int i = int(p.a) * 5; p[i] = 7.0; p[-i] = 8.0; return p;", {8, 0.5F, 0.75F, 7}},
      {"int i = int(p.a); p.bgr[i] = 7.0; p.ar[i - 1] = 6.0; return p;", {0.25F, 7, 0.75F, 6}},
      {"p[0] = 4.0; p[3]--; return p;", {4, 0.5F, 0.75F, 0}},
      {"int i = 0; p[i++] = 4.0; p[i] = 5.0; return vec4(p.rgb, i);", {4, 5, 0.75F, 1}},
  });
}

TEST(FrontEndLanguage, AssignmentsGiveTheirValue) {
  checkExactly({
      {"float a; float b; a = b = 3.0; return vec4(a, b, a += 2.0, a);", {3, 3, 5, 5}},
      {"float a = 6.0; a /= 4.0; a *= 2.0; a -= 1; a += 0.5; return vec4(a);",
       {2.5F, 2.5F, 2.5F, 2.5F}},
      {"int a = 17; a %= 5; a *= 4; a /= 3; a -= 7; return vec4(a);", {-5, -5, -5, -5}},
      {"p *= 2.0; p += p; p /= vec4(2, 4, 1, 8); p -= 1; return p;", {-0.5F, -0.5F, 2, -0.5F}},
      {"float x = 2.0; float y = x + (x = 5.0) * x; return vec4(x, y, 0, 0);", {5, 27, 0, 0}},
      {"float x = 2.0; x += (x = 5.0); return vec4(x);", {10, 10, 10, 10}},
  });
}

TEST(FrontEndLanguage, IncrementsBeforeAndAfter) {
  checkExactly({
      {"int i = 5; return vec4(i++, i, ++i, i--);", {5, 6, 7, 7}},
      {"float f = 0.5; return vec4(f--, --f, f++, f);", {0.5F, -1.5F, -1.5F, -0.5F}},
      {"vec4 q = p++; return q - p;", {-1, -1, -1, -1}},
      {"p.rg--; ++p.b; return p;", {-0.75F, -0.5F, 1.75F, 1}},
      {"int i = 1; return vec4(- -i, -(-i), 3 - -i, i - --i);", {1, 1, 4, 1}},
  });
}

TEST(FrontEndLanguage, DeclaratorsConstantsAndInitialValues) {
  checkExactly({
      {"float a = 1.0, b, c = a + 1.0; return vec4(a, b, c, 0);", {1, 0, 2, 0}},
      {"vec3 v; int i; bool b; return vec4(v.z, i, b, 1);", {0, 0, 0, 1}},
      {"const vec4 k = p * 2.0; return k;", {0.5F, 1, 1.5F, 2}},
      {"return vec4(tau, half_tau, list, 0);",
       {6.5F, 3.25F, 3, 0},
       "const float tau = 6.5, half_tau = tau / 2; const int list = int(max(3, 2));"},
  });
}

TEST(FrontEndLanguage, ScopesHideAndEnd) {
  checkExactly({
      {"float x = 1.0; { float x = 2.0; x = 3.0; } return vec4(x);", {1, 1, 1, 1}},
      {"float x = 1.0; { x = 2.0; float x = x + 5.0; p.r = x; } return vec4(x, p.r, 0, 0);",
       {2, 7, 0, 0}},
      {"float x = 1.0; if (p.a > 0.5) { float x = 2.0; p.r = x; } else { p.g = x; } return p;",
       {2, 0.5F, 0.75F, 1}},
      {"if (p.a > 0.5) { float a = 3.0; p.r = a; } float b = 4.0; p.g = b; return p;",
       {3, 4, 0.75F, 1}},
      {"float k = 2.0; return vec4(k, f(), 0, 0);",
       {2, 1, 0, 0},
       "const float k = 1.0; float f() { return k; }"},
      {"float length = length(vec2(3, 4)); return vec4(length, length(vec2(0, 1)), 0, 0);",
       {5, 1, 0, 0}},
  });
}

TEST(FrontEndLanguage, BranchesNestAndReturnEarly) {
  checkExactly({
      {"if (p.r > 0.1) { if (p.g > 0.9) p.b = 1.0; else p.b = 2.0; } else p.b = 3.0; return p;",
       {0.25F, 0.5F, 2, 1}},
      {"if (p.r > 0.1) return vec4(1); return vec4(2);", {1, 1, 1, 1}},
      {"if (p.r > 0.3) return vec4(1); else if (p.g > 0.6) return vec4(2); else return vec4(3);",
       {3, 3, 3, 3}},
      {"if (p.r < 0.3) { p.r = 9.0; if (p.g < 0.3) return p; p.g = 8.0; } p.b = 7.0; return p;",
       {9, 8, 7, 1}},
      {"if (p.r < 0.3) { p.r = 9.0; if (p.g < 0.6) return p; p.g = 8.0; } p.b = 7.0; return p;",
       {9, 0.5F, 0.75F, 1}},
      {"{ return p; } return vec4(0);", kPixel},
      {"if (true) return p; else return p / 0.0;", kPixel},
      {"if (p.a > 0.5); else p.r = 4.0; ; return p;", kPixel},
  });
}

TEST(FrontEndLanguage, FunctionsInAnyOrderWithOverloads) {
  checkExactly({
      {"return vec4(twice(p.r), twice(p.rg), thrice(1));",
       {0.5F, 0.5F, 1, 3},
       "vec2 twice(vec2 v) { return v * 2.0; } float twice(float x) { return x * 2.0; }"
       "float thrice(int i) { return twice(i) + i; }"},
      {"return vec4(f(1), f(1.0), f(true), f(p));",
       {1, 2, 3, 4},
       "float f(int i) { return 1.0; } float f(float x) { return 2.0; }"
       "float f(bool b) { return 3.0; } float f(vec4 v) { return 4.0; }"},
      {"return a(p);",
       {1.25F, 1.5F, 1.75F, 2},
       "vec4 b(vec4 v); vec4 a(vec4 v) { return b(v); } vec4 b(vec4 w) { return w + 1.0; }"},
      {"return vec4(clamp(3.0), clamp(3.0, 0.0, 2.0), clamp(-1), min(1.0, 2.0));",
       {9, 2, 9, 70},
       "float clamp(float x) { return 9.0; } float min(float a, float b) { return 70.0; }"},
      {"return vec4(f(p.r, p.g), f(p.r, 1), 0, 0);",
       {0.75F, 1.25F, 0, 0},
       "float f(const float a, float) { return a + 0.5; } float f(float a, int b) { return a + b; "
       "}"},
  });
}

TEST(FrontEndLanguage, FunctionsWorkOnCopiesAndMayReturnNothing) {
  checkExactly({
      {"float x = 2.0; return vec4(f(x), x, 0, 0);",
       {6, 2, 0, 0},
       "float f(float x) { x *= 3.0; return x; }"},
      {"nothing(p); early(p.r); return p;", kPixel,
       "void nothing(vec4 p) { p = vec4(0); } void early(float x) { if (x > 0.1) return; x = 1.0; "
       "}"},
      {"return f(p);",
       {0.25F, 0.5F, 9, 1},
       "vec4 f(vec4 v) { if (v.r > 0.5) { v.g = 9.0; return v; } v.b = 9.0; return v; }"},
      {"return vec4(f(p.r), f(p.g), f(p.b), f(-1.0));",
       {1, 2, 3, 0},
       "float f(float x) { if (x < 0.0) return 0.0; if (x < 0.3) { return 1.0; }"
       "else { if (x < 0.6) return 2.0; } return 3.0; }"},
      {"return f(s);",
       {0.25F, 0.5F, 0.75F, 1},
       "vec4 f(sampler t) { return sample(t, samplerCoord(t)); }"},
      {"return vec4(f(f(f(2.0))));", {256, 256, 256, 256}, "float f(float x) { return x * x; }"},
  });
}

TEST(FrontEndLanguage, SamplersShareOneCoordinateSystem) {
  checkExactly({
      {"return vec4(destCoord(), samplerCoord(s));", {7, 2, 7, 2}},
      {"return samplerExtent(s);", {0, 1, 640, 480}},
      {"return vec4(samplerTransform(s, vec2(3, 4)), 0, 0);", {3, 4, 0, 0}},
      {"return sample(s, destCoord());", kPixel},
      {"return sample(s, samplerTransform(s, destCoord()));", kPixel},
      {"return sample(s, vec2(10, 20));", {11, 40, -10, 0.5F}},
      {"return sample(s, destCoord() + vec2(1, 0));", {9, 4, 6, 0.5F}},
      {"return sample(s, destCoord() + vec2(0, 0) / p.rg);", kPixel},
  });
}

TEST(FrontEndLanguage, AlphaIsMultipliedInAndOut) {
  checkExactly({
      {"return unpremultiply(vec4(0.25, 0.5, 0.75, 0.5));", {0.5F, 1, 1.5F, 0.5F}},
      {"return unpremultiply(vec4(0.25, 0.5, 0.75, 0));", {0, 0, 0, 0}},
      {"return unpremultiply(vec4(1.0 / 0.0, 0.0 / 0.0, 1, 0));", {0, 0, 0, 0}},
      {"return unpremultiply(p * 0.0 - 0.0);", {0, 0, 0, 0}},
      {"return premultiply(vec4(0.5, 1, 2, 0.5));", {0.25F, 0.5F, 1, 0.5F}},
      {"return premultiply(vec4(0.5, 1, 2, 0));", {0, 0, 0, 0}},
  });
}

TEST(FrontEndLanguage, LibraryFunctionsThatAreExact) {
  checkExactly({
      {"return min(vec4(1, 2, 3, 4), vec4(4, 3, 2, 1));", {1, 2, 2, 1}},
      {"return max(vec4(1, 2, 3, 4), 2.5);", {2.5F, 2.5F, 3, 4}},
      {"float n = 0.0 / 0.0; return vec4(min(n, 1.0), min(1.0, n), max(n, 1.0), max(1.0, n));",
       {kNaN, 1, kNaN, 1}},
      {"return abs(vec4(-1, 1, -0.0, -0.5));", {1, 1, 0, 0.5F}},
      {"return sign(vec4(-3, 3, -0.0, 0.0 / 0.0));", {-1, 1, 0, 0}},
      {"return floor(vec4(1.5, -1.5, 2, -0.25));", {1, -2, 2, -1}},
      {"return ceil(vec4(1.5, -1.5, 2, 0.25));", {2, -1, 2, 1}},
      {"return fract(vec4(1.5, -1.25, 2, 0.25));", {0.5F, 0.75F, 0, 0.25F}},
      {"return mod(vec4(5, -5, 5.5, 5), vec4(3, 3, -2, 0.5));", {2, 1, -0.5F, 0}},
      {"return mod(vec4(5, -5, 5.5, 6), 4.0);", {1, 3, 1.5F, 2}},
      {"return step(vec4(0.5), vec4(0.25, 0.5, 0.75, 0.0 / 0.0));", {0, 1, 1, 1}},
      {"return step(0.5, p);", {0, 1, 1, 1}},
      {"return clamp(vec4(-1, 0.5, 2, 0.25), 0.0, 1.0);", {0, 0.5F, 1, 0.25F}},
      {"return clamp(vec4(-1, 0.5, 2, 3), vec4(-2, 1, 0, 0), vec4(0, 2, 1, 4));", {-1, 1, 1, 3}},
      {"return mix(vec4(0, 2, 4, 8), vec4(1, 4, 0, 8), 0.25);", {0.25F, 2.5F, 3, 8}},
      {"return mix(vec4(0), vec4(8), p);", {2, 4, 6, 8}},
      {"return smoothstep(vec4(0), vec4(1), vec4(-1, 0.5, 2, 0.25));", {0, 0.5F, 1, 0.15625F}},
      {"return smoothstep(1.0, 3.0, vec4(1, 2, 3, 2.5));", {0, 0.5F, 1, 0.84375F}},
      {"return vec4(dot(p, vec4(4, 2, 4, 1)), dot(p.rg, p.gr), dot(3.0, 4.0), dot(p.rgb, p.rgb));",
       {6, 0.25F, 12, 0.875F}},
      {"return vec4(length(vec2(3, 4)), length(-3.0), distance(vec3(1, 2, 3), vec3(3, 4, 4)),"
       " distance(2.0, 5.0));",
       {5, 3, 3, 3}},
      {"return vec4(normalize(vec2(3, 4)), normalize(-2.0), normalize(0.5));", {0.6F, 0.8F, -1, 1}},
      {"return sqrt(vec4(4, 0.25, 0, -1));", {2, 0.5F, 0, kNaN}},
      {"return inversesqrt(vec4(4, 0.25, 0, 16));", {0.5F, 2, kInfinity, 0.25F}},
      {"return compare(p - 0.5, p, p + 1.0);", {0.25F, 1.5F, 1.75F, 2}},
      {"return vec4(compare(p.r - 0.5, 1.0, 2.0), compare(p.rgb - 0.6, vec3(1), vec3(2)));",
       {1, 1, 1, 2}},
  });
}

TEST(FrontEndLanguage, LibraryFunctionsThatAreRounded) {
  const std::vector<Case> cases{
      {"return vec4(sin(1.0), cos(1.0), tan(1.0), atan(1.0));",
       {0.841470985F, 0.540302306F, 1.557407725F, 0.785398163F}},
      {"return vec4(asin(0.5), acos(0.5), atan(1.0, -1.0), atan(-1.0, 0.0));",
       {0.523598776F, 1.047197551F, 2.356194490F, -1.570796327F}},
      {"return vec4(exp(1.0), exp2(3.5), log(10.0), log2(10.0));",
       {2.718281828F, 11.31370850F, 2.302585093F, 3.321928095F}},
      {"return vec4(pow(2.0, 0.5), pow(p.r, 2.2), radians(180.0), degrees(1.0));",
       {1.414213562F, 0.047366143F, 3.141592654F, 57.29577951F}},
      {"return pow(vec4(2, 3, 4, 10), vec4(3, 2, 0.5, -1));", {8, 9, 2, 0.1F}},
      {"return sin(p * 4.0);", {0.841470985F, 0.909297427F, 0.141120008F, -0.756802495F}},
  };
  for (const Case& test : cases) check(test, 4);
}

}  // namespace
}  // namespace kelvo::kernel_language
