#include "platform/foundation/ns_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

#include "platform/foundation/system_log.h"

namespace kelvo {
namespace {

using testing::ElementsAre;

// Collects lines while it lives.
class CollectedLog {
 public:
  CollectedLog()
      : previous_(setLogSink(
            [this](const LogRecord& record) { lines.push_back(formatLogRecord(record)); })) {}
  ~CollectedLog() { setLogSink(previous_); }

  std::vector<std::string> lines;

 private:
  LogSink previous_;
};

TEST(NSLog, PutsTheFileBeforeAndTheCauseBehindTheText) {
  CollectedLog log;
  NSLog("Error: Unknown datatype");
  const LogSubject subject("a b.jpg");
  NSLog("Error: Cann't finalize", "the disk is full");
  NSLog("Warning: Ignoring photoshop image");
  EXPECT_THAT(log.lines, ElementsAre("Error: Unknown datatype",
                                     "a b.jpg: Error: Cann't finalize (the disk is full)",
                                     "a b.jpg: Warning: Ignoring photoshop image"));
}

TEST(NSLog, NamesTheInnermostSubjectOfTheThread) {
  CollectedLog log;
  const LogSubject outer("outer");
  {
    const LogSubject inner("inner");
    NSLog("1");
  }
  NSLog("2");
  std::thread([] { NSLog("3"); }).join();
  EXPECT_THAT(log.lines, ElementsAre("inner: 1", "outer: 2", "3"));
}

TEST(NSLog, GivesBackTheSinkThatWasInPlace) {
  std::vector<std::string> outer;
  const LogSink original =
      setLogSink([&outer](const LogRecord& record) { outer.emplace_back(record.text); });
  LogSink replaced = setLogSink([](const LogRecord&) {});
  NSLog("lost");
  setLogSink(replaced);
  NSLog("kept");
  EXPECT_THAT(outer, ElementsAre("kept"));
  setLogSink(original);
}

TEST(NSLog, WritesToStandardErrorByItself) {
  testing::internal::CaptureStderr();
  const LogSubject subject("x.png");
  NSLog("Error: Cann't finalize", "why");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "x.png: Error: Cann't finalize (why)\n");
}

TEST(SystemLog, SendsThePathAndTheCauseAsFieldsOfTheirOwn) {
  EXPECT_EQ(journalMessage({"Error: Cann't finalize", "a.jpg", "disk full"}),
            "MESSAGE=Error: Cann't finalize\nPRIORITY=3\nSYSLOG_IDENTIFIER=kelvo\n"
            "KELVO_PATH=a.jpg\nKELVO_DETAIL=disk full\n");
  EXPECT_EQ(journalMessage({"Warning: Ignoring photoshop image", "", ""}),
            "MESSAGE=Warning: Ignoring photoshop image\nPRIORITY=4\nSYSLOG_IDENTIFIER=kelvo\n");
}

TEST(SystemLog, SendsAPathWithALineBreakWithItsLength) {
  using namespace std::string_literals;
  EXPECT_EQ(journalMessage({"t", "a\nb", ""}),
            "MESSAGE=t\nPRIORITY=3\nSYSLOG_IDENTIFIER=kelvo\nKELVO_PATH\n\3\0\0\0\0\0\0\0a\nb\n"s);
}

TEST(SystemLog, QuotesTheFieldsWhereTheLogHasNone) {
  EXPECT_EQ(syslogMessage({"Error: x", "", ""}), "Error: x");
  EXPECT_EQ(syslogMessage({"Error: x", R"(a"b\c)", "why"}),
            R"(Error: x [path="a\"b\\c" detail="why"])");
  EXPECT_EQ(syslogMessage({"Error: x", "", "why"}), R"(Error: x [detail="why"])");
}

TEST(SystemLog, ReachesAJournalThatListens) {
  const std::string path = testing::TempDir() + "journal-" + std::to_string(::getpid());
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, path.data(), path.size());
  const int journal = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

  const LogRecord record{"Error: x", "p", "d"};
  EXPECT_TRUE(sendToJournal(record, path));
  std::array<char, 512> bytes{};
  const ssize_t got = ::recv(journal, bytes.data(), bytes.size(), MSG_DONTWAIT);
  ::close(journal);
  ASSERT_GT(got, 0);
  EXPECT_EQ(std::string(bytes.data(), static_cast<std::size_t>(got)), journalMessage(record));

  std::filesystem::remove(path);
  EXPECT_FALSE(sendToJournal(record, path));
  EXPECT_FALSE(sendToJournal(record, std::string(200, 'x')));
}

}  // namespace
}  // namespace kelvo
