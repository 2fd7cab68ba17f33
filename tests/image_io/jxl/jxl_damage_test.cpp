// Truncated, damaged and oversized files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/image_io/jxl/jxl_test_support.h"

namespace kelvo::image_io_test {
namespace {

using ::testing::HasSubstr;

TEST(JxlDamage, ATruncatedFileIsNeverReadWhole) {
  LibraryFile frames;
  frames.frames = 3;
  for (const Bytes& file : {makeJxl("-d 0", 50, 40), makeJxl("-d 1", 50, 40, true),
                            makeJxl("-d 1 --container=1", 50, 40), makeByLibrary(frames)}) {
    ASSERT_TRUE(readsWhole(kJxlCodec, file));
    for (std::size_t size = 0; size < file.size(); ++size) {
      const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_FALSE(readsWhole(kJxlCodec, part)) << size << " of " << file.size();
    }
  }
}

TEST(JxlDamage, TheEndOfAContainerIsSaidToBeMissing) {
  Bytes file = container(makeJxl("-d 0", 50, 40));
  file.resize(file.size() - 3);
  EXPECT_EQ(openError(kJxlCodec, file), "the file ends inside the box 'jxlc'");
}

TEST(JxlDamage, BytesAfterACodestreamAreDamage) {
  const auto read = tryPixels(kJxlCodec, concat({makeJxl("-d 0", 50, 40), fromHex("0102030405")}));
  ASSERT_FALSE(read);
  EXPECT_THAT(read.error().message, HasSubstr("more follow than the pictures take"));
}

TEST(JxlDamage, PartsOutOfOrderAreDamage) {
  const Bytes stream = makeJxl("-d 0", 50, 40);
  const Bytes first(stream.begin(), stream.begin() + 30);
  const Bytes second(stream.begin() + 30, stream.end());
  const auto parted = [](const Bytes& a, const Bytes& b) {
    return concat({box("JXL ", fromHex("0d0a870a")),
                   box("ftyp", fromHex("6a786c20 00000000 6a786c20")), box("jxlp", a),
                   box("jxlp", b)});
  };
  const Bytes good =
      parted(concat({fromHex("00000000"), first}), concat({fromHex("80000001"), second}));
  EXPECT_TRUE(readsWhole(kJxlCodec, good));
  const Bytes bad =
      parted(concat({fromHex("00000001"), first}), concat({fromHex("80000000"), second}));
  EXPECT_FALSE(readsWhole(kJxlCodec, bad));
  const Bytes endless =
      parted(concat({fromHex("00000000"), first}), concat({fromHex("00000001"), second}));
  EXPECT_EQ(openSource(kJxlCodec, endless)->status().status, CGImageSourceStatus::incomplete);
}

TEST(JxlDamage, AContainerWithoutACodestreamCannotBeOpened) {
  const Bytes file = concat(
      {box("JXL ", fromHex("0d0a870a")), box("ftyp", fromHex("6a786c20 00000000 6a786c20"))});
  EXPECT_EQ(openError(kJxlCodec, file), "it has no codestream");
}

TEST(JxlDamage, RandomDamageNeverCrashes) {
  LibraryFile frames;
  frames.frames = 2;
  int damaged = 0;
  for (const Bytes& file : {makeJxl("-d 0", 50, 40), makeJxl("-d 1 --container=1", 60, 40, true),
                            makeByLibrary(frames)}) {
    damaged += damagedVersions(kJxlCodec, file, 150, file.size());
  }
  EXPECT_GT(damaged, 100);
}

TEST(JxlDamage, LimitsAreKept) {
  const Bytes file = makeJxl("-d 0", 50, 40);
  EXPECT_EQ(openError(kJxlCodec, file, {.maxPixels = 1000}),
            "it has 2000 pixels, more than the 1000 allowed (--max-pixels)");
  const auto read = tryPixels(kJxlCodec, file, 0, {.maxMemoryBytes = 1 << 10});
  ASSERT_FALSE(read);
  EXPECT_THAT(read.error().message, HasSubstr("(--max-memory)"));
  LibraryFile frames;
  frames.frames = 3;
  EXPECT_EQ(openError(kJxlCodec, makeByLibrary(frames), {.maxFrames = 2}),
            "it has more than the 2 pictures allowed (--max-frames)");
}

TEST(JxlDamage, PartsAreJoinedWithinTheMemoryAllowed) {
  const Bytes stream = makeJxl("-d 0", 50, 40);
  const Bytes file =
      concat({box("JXL ", fromHex("0d0a870a")), box("ftyp", fromHex("6a786c20 00000000 6a786c20")),
              box("jxlp", concat({fromHex("80000000"), stream}))});
  EXPECT_TRUE(readsWhole(kJxlCodec, file));
  EXPECT_EQ(openError(kJxlCodec, file, {.maxMemoryBytes = stream.size()}),
            "the parts of its codestream take more memory than is allowed (--max-memory)");
}

TEST(JxlDamage, ACodestreamThatIsAContainerIsDamage) {
  EXPECT_EQ(openError(kJxlCodec, container(container(makeJxl("-d 0", 50, 40)))),
            "its codestream does not begin as one");
}

}  // namespace
}  // namespace kelvo::image_io_test
