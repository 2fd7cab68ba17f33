#include "host/workers/protocol.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace kelvo::host {
namespace {

std::vector<Message> examples() {
  SetupMessage setup;
  setup.bundlePath = "/a b/Kelvo Images.action";
  setup.parameters.setObject_forKey("128.0", "text");
  setup.parameters.setObject_forKey(0.1, "real");
  setup.parameters.setObject_forKey(std::numeric_limits<std::int64_t>::min(), "whole");
  setup.maxPixels = std::numeric_limits<std::uint64_t>::max();
  setup.maxFrames = 1;
  setup.maxMemoryBytes = 0x0102030405060708;
  setup.threads = 3;
  setup.keepDepth = true;
  setup.dropGainMap = true;
  setup.breakLinks = true;
  setup.writable = {"/a", "", "b c"};
  DoneMessage done;
  done.rewritten = true;
  done.frames = 12;
  done.sourceDepth = 16;
  done.writtenDepth = 8;
  done.warnings = {"one", "", std::string(100'000, 'x')};
  PictureMessage picture;
  picture.format = "PNG";
  picture.frames = 2;
  picture.fullWidth = 6000;
  picture.fullHeight = 4001;
  picture.adjustable = true;
  picture.width = 1;
  picture.height = 2;
  picture.pixels = std::string("\0\1\2\377abc\0", 8);
  PictureMessage noPicture;
  noPicture.failure = "why not";
  return {setup,
          SetupMessage{},
          FileMessage{std::string("a\n\0b", 4), "from", ".old"},
          ReadyMessage{},
          SetupFailedMessage{"why"},
          LogMessage{"Error: Cann't finalize", "path", "detail"},
          done,
          DoneMessage{},
          ProgressMessage{std::uint64_t{1} << 40U},
          PictureRequestMessage{"a\377b", 640},
          picture,
          noPicture};
}

std::string payloadOf(const Message& message) { return encodeFrame(message).substr(4); }

TEST(Protocol, CarriesEveryMessageUnchanged) {
  for (const Message& message : examples()) {
    const auto back = decodePayload(payloadOf(message));
    ASSERT_TRUE(back) << back.error().message;
    EXPECT_EQ(*back, message);
  }
}

TEST(Protocol, PutsTheLengthInFrontLeastSignificantByteFirst) {
  EXPECT_EQ(encodeFrame(ReadyMessage{}), std::string("\1\0\0\0\3", 5));
  EXPECT_EQ(encodeFrame(SetupFailedMessage{"no"}), std::string("\7\0\0\0\4\2\0\0\0no", 11));
}

TEST(FrameReader, PutsTornFramesTogether) {
  std::string stream;
  for (const Message& message : examples()) {
    stream += encodeFrame(message);
  }
  for (const std::size_t piece :
       {std::size_t{1}, std::size_t{3}, std::size_t{4096}, stream.size()}) {
    FrameReader reader;
    std::vector<Message> arrived;
    for (std::size_t start = 0; start < stream.size(); start += piece) {
      reader.append(std::string_view(stream).substr(start, piece));
      while (true) {
        auto next = reader.next();
        ASSERT_TRUE(next) << next.error().message;
        if (!*next) {
          break;
        }
        arrived.push_back(**next);
      }
    }
    EXPECT_EQ(arrived, examples());
    EXPECT_FALSE(reader.midFrame());
  }
}

TEST(FrameReader, WaitsForTheRestOfAFrame) {
  const std::string frame = encodeFrame(SetupFailedMessage{"why"});
  FrameReader reader;
  reader.append(frame.substr(0, frame.size() - 1));
  auto next = reader.next();
  ASSERT_TRUE(next);
  EXPECT_FALSE(next->has_value());
  EXPECT_TRUE(reader.midFrame());
}

TEST(FrameReader, RefusesAFrameThatIsTooLarge) {
  FrameReader reader;
  reader.append("\xFF\xFF\xFF\xFF");
  EXPECT_FALSE(reader.next());
}

TEST(Protocol, RefusesMessagesCutShortAnywhere) {
  for (const Message& message : examples()) {
    const std::string payload = payloadOf(message);
    for (std::size_t size = 0; size < std::min<std::size_t>(payload.size(), 300); ++size) {
      EXPECT_FALSE(decodePayload(std::string_view(payload).substr(0, size)));
    }
    EXPECT_FALSE(decodePayload(payload + "x"));
  }
}

TEST(Protocol, RefusesUnknownKindsAndImpossibleValues) {
  EXPECT_FALSE(decodePayload(std::string_view("\0", 1)));
  EXPECT_FALSE(decodePayload("\x07"));
  std::string done = payloadOf(DoneMessage{});
  done[1] = 2;  // neither true nor false
  EXPECT_FALSE(decodePayload(done));
  done[1] = 0;
  done[done.size() - 1] = 0x7F;  // two billion warnings
  EXPECT_FALSE(decodePayload(done));
}

TEST(Protocol, SurvivesDamage) {
  std::mt19937 random(7);
  for (const Message& message : examples()) {
    std::string payload = payloadOf(message).substr(0, 400);
    for (int round = 0; round < 2000; ++round) {
      std::string damaged = payload;
      damaged[random() % damaged.size()] = static_cast<char>(random());
      const auto back = decodePayload(damaged);
      if (back) {
        EXPECT_EQ(payloadOf(*back).size(), damaged.size());
      }
    }
  }
}

}  // namespace
}  // namespace kelvo::host
