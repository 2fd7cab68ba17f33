#include "platform/kernel_language/channel_tables.h"

#include <bit>
#include <vector>

namespace kelvo::kernel_language {
namespace {

// What a value depends on.
struct Origin {
  enum class Kind : std::uint8_t { nothing, channel, more } kind = Kind::nothing;
  std::uint32_t input = 0;  // source * 4 + component

  friend bool operator==(const Origin&, const Origin&) = default;
};

Origin joined(const Origin& a, const Origin& b) {
  if (a.kind == Origin::Kind::nothing || a == b) return b;
  if (b.kind == Origin::Kind::nothing) return a;
  return {Origin::Kind::more, 0};
}

Origin originOf(const Instruction& in, const std::vector<Origin>& origins) {
  switch (in.op) {
    case Op::input:
      return {Origin::Kind::channel, in.immediate};
    case Op::destX:
    case Op::destY:
      return {Origin::Kind::more, 0};
    default:
      break;
  }
  Origin origin;
  for (const ValueId operand : {in.a, in.b, in.c}) {
    if (operand != kNoValue) origin = joined(origin, origins[operand]);
  }
  return origin;
}

bool isOpaqueRgb8(const PixelLayout& layout) {
  return layout.components == 3 && layout.type == SampleType::u8;
}

}  // namespace

std::optional<std::size_t> separableSource(const Program& program,
                                           std::span<const PixelLayout> inputs,
                                           PixelLayout output) {
  if (output.type != SampleType::u8) return std::nullopt;
  const Instruction& alpha = program.instructions[program.outputs[3]];
  if (alpha.op != Op::constant || std::bit_cast<float>(alpha.immediate) != 1.0F) {
    return std::nullopt;
  }
  std::vector<Origin> origins;
  origins.reserve(program.instructions.size());
  for (const Instruction& in : program.instructions) origins.push_back(originOf(in, origins));
  std::optional<std::size_t> source;
  for (std::uint32_t c = 0; c < 3; ++c) {
    const Origin& origin = origins[program.outputs[c]];
    if (origin.kind == Origin::Kind::nothing) continue;
    const std::size_t from = origin.input / 4;
    if (origin.kind == Origin::Kind::more || origin.input % 4 != c) return std::nullopt;
    if (source && *source != from) return std::nullopt;
    source = from;
  }
  // A program without sources fills; it has nothing to look up.
  if (!source || !isOpaqueRgb8(inputs[*source])) return std::nullopt;
  return source;
}

LevelTables tablesOf(std::span<const std::uint8_t, 768> grayLevels) {
  std::array<LevelTables::Table, 3> tables{};
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t level = 0; level < 256; ++level) tables[c][level] = grayLevels[3 * level + c];
  }
  return {tables[0], tables[1], tables[2]};
}

}  // namespace kelvo::kernel_language
