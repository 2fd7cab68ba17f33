#include "host/run/console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace kelvo::host {
namespace {

class ConsoleTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(::pipe2(output_.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::pipe2(errors_.data(), O_CLOEXEC), 0);
  }
  void TearDown() override {
    for (const int descriptor : {output_[0], output_[1], errors_[0], errors_[1]}) {
      ::close(descriptor);
    }
  }
  static std::string drain(int descriptor) {
    ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    std::string text;
    std::array<char, 65536> buffer;
    for (ssize_t got = 0; (got = ::read(descriptor, buffer.data(), buffer.size())) > 0;) {
      text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

  std::array<int, 2> output_{};
  std::array<int, 2> errors_{};
};

TEST_F(ConsoleTest, KeepsResultsAndMessagesApart) {
  Console console(output_[1], errors_[1]);
  console.result("a\n");
  console.message("b");
  console.pump();
  EXPECT_EQ(drain(output_[0]), "a\n");
  EXPECT_EQ(drain(errors_[0]), "b\n");
}

TEST_F(ConsoleTest, WritesMessagesAboveTheProgressLine) {
  Console console(output_[1], errors_[1]);
  console.progress("1/2");
  console.pump();
  console.message("problem");
  console.pump();
  console.progress("2/2");
  console.pump();
  console.progress("");
  console.pump();
  EXPECT_EQ(drain(errors_[0]),
            "\r\x1b[K1/2"
            "\r\x1b[Kproblem\n1/2"
            "\r\x1b[K2/2"
            "\r\x1b[K");
}

TEST_F(ConsoleTest, WritesNothingForAProgressLineThatNeverWas) {
  Console console(output_[1], errors_[1]);
  console.progress("");
  console.pump();
  EXPECT_EQ(drain(errors_[0]), "");
}

TEST_F(ConsoleTest, NeverWaitsForItsReaderAndLosesNothing) {
  Console console(output_[1], errors_[1]);
  std::string expected;
  for (int i = 0; i < 200'000; ++i) {
    const std::string line = "line " + std::to_string(i) + "\n";
    expected += line;
    console.result(line);
  }
  console.pump();  // a pipe holds far less
  EXPECT_TRUE(console.congested());
  std::vector<pollfd> waiting;
  console.addWaiting(waiting);
  EXPECT_EQ(waiting.size(), 1U);
  std::string got;
  while (got.size() < expected.size()) {
    got += drain(output_[0]);
    console.pump();
  }
  EXPECT_TRUE(got == expected);
  EXPECT_FALSE(console.congested());
  waiting.clear();
  console.addWaiting(waiting);
  EXPECT_TRUE(waiting.empty());
}

TEST_F(ConsoleTest, TakesAReaderThatHasGoneAwayAsNothingWrong) {
  std::signal(SIGPIPE, SIG_IGN);
  Console console(output_[1], errors_[1]);
  ::close(output_[0]);
  output_[0] = -1;
  console.result("x\n");
  console.pump();
  EXPECT_EQ(console.outputFailure(), 0);
  EXPECT_FALSE(console.congested());
}

TEST_F(ConsoleTest, RemembersWhatIsWrongWithItsOutput) {
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  Console console(full, errors_[1]);
  console.result("x\n");
  console.pump();
  EXPECT_EQ(console.outputFailure(), ENOSPC);
  ::close(full);
}

TEST(Printable, ReplacesControlCharactersOnly) {
  EXPECT_EQ(printable("a\tb\nc\x1b[0m\x7F"), "a?b?c?[0m?");
  EXPECT_EQ(printable("\xC3\xA4 \xFF"), "\xC3\xA4 \xFF");
  EXPECT_EQ(printable("\xC2\x9B"
                      "31m \x9B"
                      "31m"),
            "?31m ?31m");  // the same command, twice
  EXPECT_EQ(printable("a\xE2\x80\xAE"
                      "b \xE2\x81\xA6"),
            "a?b ?");
  EXPECT_EQ(printable("\xE2\x82\xAC \xF0\x9F\x98\x80"), "\xE2\x82\xAC \xF0\x9F\x98\x80");
  EXPECT_EQ(printable("cut \xE2\x82"), "cut \xE2?");
}

}  // namespace
}  // namespace kelvo::host
