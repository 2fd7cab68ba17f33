// The part of the vector library that runs before main: which of its targets the processor has. The
// library's own binary does the same, but measures the processor's clock when it is loaded, which
// costs every process more than all else that it does before its first file.
#include <hwy/base.h>
#include <hwy/targets.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif

namespace {

std::atomic<std::int64_t> permitted = 0;  // 0: all that there are

#if HWY_ARCH_X86

struct Registers {
  unsigned eax = 0;
  unsigned ebx = 0;
  unsigned ecx = 0;
  unsigned edx = 0;
};

Registers identify(unsigned leaf) {
  Registers registers;
  __get_cpuid_count(leaf, 0, &registers.eax, &registers.ebx, &registers.ecx, &registers.edx);
  return registers;
}

constexpr bool has(unsigned word, std::initializer_list<unsigned> bits) {
  for (const unsigned bit : bits) {
    if ((word >> bit & 1U) == 0) return false;
  }
  return true;
}

// Which registers the operating system saves when it switches between processes (XCR0).
unsigned savedRegisters(const Registers& basic) {
  constexpr unsigned kSaving = 27;  // OSXSAVE: the question is allowed
  if (!has(basic.ecx, {kSaving})) return 0;
  unsigned low = 0;
  unsigned high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

// Bits as in Intel's and AMD's manuals on the instruction CPUID. What a target asks for is what the
// library compiles it with.
std::int64_t detect() {
  const Registers basic = identify(1);
  const Registers extended = identify(7);
  const Registers further = identify(0x80000001);
  const unsigned saved = savedRegisters(basic);
  const bool savesAvx = has(saved, {1, 2});
  const bool savesAvx512 = savesAvx && has(saved, {5, 6, 7});

  // SSE, SSE2; SSE3, SSSE3
  const bool ssse3 = has(basic.edx, {25, 26}) && has(basic.ecx, {0, 9});
  // SSE4.1, SSE4.2; PCLMULQDQ, AES
  const bool sse4 = ssse3 && has(basic.ecx, {19, 20}) && has(basic.ecx, {1, 25});
  // AVX, FMA, F16C; AVX2, BMI1, BMI2; LZCNT
  const bool avx2 = sse4 && savesAvx && has(basic.ecx, {28, 12, 29}) &&
                    has(extended.ebx, {5, 3, 8}) && has(further.ecx, {5});
  // AVX-512 F, DQ, CD, BW, VL
  const bool avx3 = avx2 && savesAvx512 && has(extended.ebx, {16, 17, 28, 30, 31});
  // VBMI, VBMI2, GFNI, VAES, VPCLMULQDQ, VNNI, BITALG, VPOPCNTDQ
  const bool avx3dl = avx3 && has(extended.ecx, {1, 6, 8, 9, 10, 11, 12, 14});
  return (ssse3 ? HWY_SSSE3 : 0) | (sse4 ? HWY_SSE4 : 0) | (avx2 ? HWY_AVX2 : 0) |
         (avx3 ? HWY_AVX3 : 0) | (avx3dl ? HWY_AVX3_DL : 0) | HWY_SCALAR;
}

#else

// What everything is compiled for anyway.
std::int64_t detect() { return HWY_STATIC_TARGET | HWY_SCALAR; }

#endif

}  // namespace

namespace hwy {

std::int64_t SupportedTargets() {
  static const std::int64_t detected = detect();
  const std::int64_t allowed = permitted;
  return allowed != 0 ? allowed : detected;
}

void SetSupportedTargetsForTest(std::int64_t targets) { permitted = targets; }

ChosenTarget& GetChosenTarget() {
  static ChosenTarget chosen;
  return chosen;
}

// Of a check in the library's headers that failed, in builds that have them.
void Abort(const char* file, int line, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  std::fprintf(stderr, "%s:%d: ", file, line);
  std::vfprintf(stderr, format, values);
  std::fputc('\n', stderr);
  va_end(values);
  std::abort();
}

}  // namespace hwy
