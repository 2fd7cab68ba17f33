// Strips and tiles compressed and decompressed here, by several threads too.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/image_io/tiff/job_pool.h"
#include "platform/image_io/tiff/lzw.h"
#include "tests/image_io/tiff/tiff_test_support.h"

namespace kelvo::tiff_test {
namespace {

// What makes an LZW table grow in different ways.
std::vector<Bytes> sequences() {
  std::vector<Bytes> all;
  for (const std::size_t length : {3U, 6U, 768U, 20001U, 60000U, 300000U}) {
    all.push_back(noise(length));
    all.emplace_back(length, std::byte{7});
    Bytes few = noise(length, 3);
    for (std::byte& byte : few) byte &= std::byte{0x81};
    all.push_back(few);
    Bytes ramp(length);
    for (std::size_t i = 0; i < length; ++i) ramp[i] = static_cast<std::byte>(i * i / 700);
    all.push_back(ramp);
    Bytes longRuns(length);
    for (std::size_t i = 0; i < length; ++i) longRuns[i] = static_cast<std::byte>(i / 9973);
    all.push_back(longRuns);
  }
  return all;
}

// A picture one pixel high whose only strip is `strip`.
Bytes rowOf(std::size_t samples, std::uint16_t compression, const Bytes& strip) {
  TiffBuilder builder;
  const auto at = builder.append(strip);
  auto fields = builder.rgbFields(static_cast<std::uint32_t>(samples / 3), 1, at);
  fields[3] = builder.shorts(259, {compression});
  fields.back() = builder.longs(279, {static_cast<std::uint32_t>(strip.size())});
  builder.setFirst(builder.directory(fields));
  return builder.file();
}

// The only strip of a file that libtiff has written: it follows the header.
Bytes stripOf(const std::string& path) {
  const std::string length =
      run("tiffdump " + path + " | sed -n 's/^StripByteCounts.*<\\([0-9]*\\)>.*/\\1/p'");
  const Bytes file = readFile(path);
  return {file.begin() + 8, file.begin() + 8 + std::stol(length)};
}

TEST(TiffLzw, IsReadAsLibtiffWritesItAndWrittenAsLibtiffReadsIt) {
  const Scratch scratch;
  const std::string plain = scratch.path("plain.tif");
  const std::string packed = scratch.path("packed.tif");
  for (const Bytes& samples : sequences()) {
    SCOPED_TRACE(samples.size());
    writeFile(plain, rowOf(samples.size(), 1, samples));
    run("tiffcp -c lzw:1 " + plain + " " + packed);
    Bytes read(samples.size());
    ASSERT_TRUE(tiff::decodeLzw(stripOf(packed), read));
    EXPECT_EQ(read, samples);

    Bytes strip;
    tiff::encodeLzw(samples, strip);
    writeFile(packed, rowOf(samples.size(), 5, strip));
    run("tiffcp -c none " + packed + " " + plain);
    EXPECT_EQ(stripOf(plain), samples);
  }
}

TEST(TiffLzw, OfDataThatEndEarlyOrAreDamagedIsNeverTakenForWhole) {
  for (const Bytes& samples : sequences()) {
    if (samples.size() > 21000) continue;
    Bytes strip;
    tiff::encodeLzw(samples, strip);
    Bytes read(samples.size());
    ASSERT_TRUE(tiff::decodeLzw(strip, read));
    Bytes more(samples.size() + 1);
    EXPECT_FALSE(tiff::decodeLzw(strip, more));
    // The last three bytes may hold the end code and the filling of the last byte alone.
    const std::size_t needed = strip.size() - std::min<std::size_t>(strip.size(), 3);
    for (std::size_t length = 0; length < needed; length += 1 + needed / 50) {
      EXPECT_FALSE(tiff::decodeLzw(std::span(strip).first(length), read)) << length;
    }
    for (std::uint32_t seed = 1; seed < 200; ++seed) {
      Bytes damaged = strip;
      const Bytes random = noise(4, seed);
      const auto at =
          std::to_integer<std::size_t>(random[0]) << 8 | std::to_integer<std::size_t>(random[1]);
      damaged[at % damaged.size()] ^= random[2] | std::byte{1};
      // Whatever it gives, it stays within its bounds (which sanitizers watch).
      static_cast<void>(tiff::decodeLzw(damaged, read));
    }
  }
}

TEST(TiffLzw, WithoutAClearCodeFirstOrWithAnUnmadeCodeIsRefused) {
  Bytes read(3);
  // 9 bits each: 65, 66, 67.
  EXPECT_FALSE(tiff::decodeLzw(
      Bytes{std::byte{0x20}, std::byte{0x90}, std::byte{0x88}, std::byte{0x60}}, read));
  // Clear, 65, 300.
  EXPECT_FALSE(tiff::decodeLzw(
      Bytes{std::byte{0x80}, std::byte{0x10}, std::byte{0x65}, std::byte{0x80}}, read));
  // Clear, 65, 258: the code that is being made, "65 65".
  EXPECT_TRUE(tiff::decodeLzw(
      Bytes{std::byte{0x80}, std::byte{0x10}, std::byte{0x60}, std::byte{0x40}}, read));
  EXPECT_EQ(read, Bytes(3, std::byte{65}));
}

std::size_t threadsNow() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

Bytes picture(const std::string& tiffcpOptions) {
  const Scratch scratch;
  run("convert -seed 7 -size 201x167 plasma:red-blue -depth 8 -type TrueColor -compress None " +
      scratch.path("s.tif") + " && tiffcp " + tiffcpOptions + " " + scratch.path("s.tif") + " " +
      scratch.path("x.tif"));
  return readFile(scratch.path("x.tif"));
}

Limits withThreads(unsigned threads) {
  Limits limits;
  limits.threads = threads;
  return limits;
}

class Threads : public ::testing::TestWithParam<std::string> {};

TEST_P(Threads, WriteTheFileThatOneThreadWrites) {
  const Bytes file = picture(GetParam());
  std::size_t most = 0;
  Adjustment counting;
  counting.rows = [&most](std::span<std::byte> rows) {
    for (std::byte& byte : rows) byte = ~byte;
    most = std::max(most, threadsNow());
  };
  const std::size_t own = threadsNow();
  const Bytes alone = rewritten(file, counting);
  EXPECT_EQ(most, own);
  EXPECT_EQ(rewritten(file, counting, withThreads(3)), alone);
  EXPECT_GT(most, own);
  EXPECT_LE(most, own + 2);
  EXPECT_EQ(threadsNow(), own);
  Bytes negative = decoded(file).value();
  for (std::byte& byte : negative) byte = ~byte;
  if (GetParam().find("jpeg") == std::string::npos) {
    EXPECT_EQ(decoded(alone).value(), negative);
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Threads,
                         ::testing::Values("-c zip:2 -r 8", "-c lzw:2 -r 3", "-c zstd -r 16",
                                           "-c jpeg -r 16", "-t -w 32 -l 32 -c lzw",
                                           "-B -p separate -c zip -r 10",
                                           "-t -w 16 -l 16 -p separate -c packbits"));

TEST(TiffThreads, TellOfTheDamageThatOneThreadMeets) {
  const Bytes file = picture("-c zip:2 -r 8");
  for (std::size_t at = 100; at + 600 < file.size(); at += file.size() / 12) {
    Bytes damaged = file;
    damaged[at] ^= std::byte{0x55};
    const auto alone = rewrite(damaged);
    const auto together = rewrite(damaged, {}, withThreads(4));
    ASSERT_FALSE(alone.ok());
    ASSERT_FALSE(together.ok());
    EXPECT_EQ(together.error().message, alone.error().message);
  }
}

TEST(TiffThreads, AreGoneWhenReadingStopsEarly) {
  const Bytes file = picture("-c lzw:2 -r 2");
  const std::size_t own = threadsNow();
  for (const std::uint32_t rows : {0U, 1U, 5U, 167U}) {
    auto source = open(file, withThreads(4));
    auto reading = source->image(0).value().openRows().value();
    Bytes pixels(std::size_t{201} * 3 * rows);
    if (rows != 0) {
      ASSERT_TRUE(reading->read(pixels, rows).ok());
    }
    source.reset();  // the rows keep what they need
  }
  EXPECT_EQ(threadsNow(), own);
}

TEST(TiffJobs, AreAllDoneHoweverManyThreadsThereAre) {
  for (const unsigned threads : {1U, 2U, 5U}) {
    tiff::JobPool pool(threads);
    std::atomic<int> sum = 0;
    std::deque<tiff::Job> jobs;
    for (int round = 0; round < 50; ++round) {
      for (int i = 0; i < 8; ++i) {
        if (round == 0) jobs.emplace_back(pool);
        jobs[static_cast<std::size_t>(i)].start([&sum, i] { sum += 1 << i; });
      }
      for (tiff::Job& job : jobs) job.wait();
      EXPECT_EQ(sum, 255 * (round + 1));
    }
  }
}

TEST(TiffJobs, ThatFailDoSoWhereTheyAreWaitedFor) {
  for (const unsigned threads : {1U, 3U}) {
    tiff::JobPool pool(threads);
    tiff::Job failing(pool);
    tiff::Job sound(pool);
    bool done = false;
    failing.start([] { throw std::runtime_error("no memory"); });
    sound.start([&done] { done = true; });
    EXPECT_THROW(failing.wait(), std::runtime_error);
    sound.wait();
    EXPECT_TRUE(done);
  }
}

TEST(TiffJobs, ThatNobodyWaitsForEndWithTheirOwners) {
  for (const unsigned threads : {1U, 2U}) {
    tiff::JobPool pool(threads);
    std::atomic<int> running = 0;
    for (int round = 0; round < 100; ++round) {
      std::deque<tiff::Job> jobs;
      for (int i = 0; i < 4; ++i) {
        jobs.emplace_back(pool).start([&running] {
          ++running;
          --running;
        });
      }
      jobs.clear();
      EXPECT_EQ(running, 0);
    }
  }
}

}  // namespace
}  // namespace kelvo::tiff_test
