#include "tests/image_io/boxes/whole_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/image_io/mapped_file.h"

namespace kelvo::image_io_test {

bool readsWhole(const Codec& codec, const Bytes& file, const Limits& limits) {
  auto source = codec.open(MappedFile::fromBytes(file), limits);
  if (!source) return false;
  bool whole = (*source)->status().status == CGImageSourceStatus::complete;
  for (std::size_t frame = 0; frame < (*source)->count(); ++frame) {
    const auto image = (*source)->image(frame);
    whole = image && readAllPixels(*image).ok() && whole;
  }
  return whole;
}

int damagedVersions(const Codec& codec, const Bytes& file, int versions, std::size_t reach,
                    const Limits& limits) {
  std::mt19937 random(7);
  int damaged = 0;
  for (int i = 0; i < versions; ++i) {
    Bytes changed = file;
    const std::size_t within = i % 3 == 0 ? changed.size() : std::min(reach, changed.size());
    for (int k = 0; k < 1 + i % 4; ++k) {
      changed[random() % within] = static_cast<std::byte>(random());
    }
    if (!readsWhole(codec, changed, limits)) ++damaged;
  }
  return damaged;
}

void expectIncompleteWhenCut(const Codec& codec, const Bytes& file, std::size_t from,
                             std::size_t fraction) {
  for (std::size_t size = from; size < file.size();
       size += 1 + (fraction == 0 ? 0 : size / fraction)) {
    const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
    const auto source = codec.open(MappedFile::fromBytes(part), {});
    if (!source) continue;
    EXPECT_NE((*source)->status().status, CGImageSourceStatus::complete) << size;
    EXPECT_FALSE((*source)->writable()) << size;
  }
}

std::string refusal(const Codec& codec, const Bytes& file) {
  const auto source = openSource(codec, file);
  if (!source) return "it does not open";
  const auto writable = source->writable();
  // The writer does not rely on having been asked.
  const auto written = tryRewrite(codec, file);
  EXPECT_EQ(writable.ok(), written.ok());
  if (!writable && !written) {
    EXPECT_EQ(writable.error().message, written.error().message);
  }
  return writable ? "" : writable.error().message;
}

}  // namespace kelvo::image_io_test
