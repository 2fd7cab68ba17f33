#include "platform/foundation/ns_notification_center.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace kelvo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Token = NSNotificationCenter::Token;

class NotificationCenter : public testing::Test {
 protected:
  Token observe(const std::string& name, const std::string& as, const void* object = nullptr) {
    return center_.addObserverForName_object(
        name, object, [this, as](const NSNotification&) { called_.push_back(as); });
  }
  void post(const std::string& name, const void* object = nullptr) {
    center_.postNotificationName_object(name, object);
  }

  NSNotificationCenter center_;
  std::vector<std::string> called_;
};

TEST_F(NotificationCenter, CallsTheObserversOfTheNameInTheirOrder) {
  const Token a = observe("changed", "a");
  const Token other = observe("closed", "other");
  const Token b = observe("changed", "b");
  post("changed");
  EXPECT_THAT(called_, ElementsAre("a", "b"));
}

TEST_F(NotificationCenter, TellsTheNameAndTheObject) {
  const int object = 0;
  std::string name;
  const void* sender = nullptr;
  const Token token = center_.addObserverForName_object("changed", nullptr,
                                                        [&](const NSNotification& notification) {
                                                          name = notification.name;
                                                          sender = notification.object;
                                                        });
  post("changed", &object);
  EXPECT_EQ(name, "changed");
  EXPECT_EQ(sender, &object);
}

TEST_F(NotificationCenter, CallsAnObserverOfOneObjectForThatObjectOnly) {
  const int mine = 0;
  const int foreign = 0;
  const Token a = observe("changed", "a", &mine);
  post("changed", &foreign);
  post("changed");
  EXPECT_THAT(called_, IsEmpty());
  post("changed", &mine);
  EXPECT_THAT(called_, ElementsAre("a"));
}

TEST_F(NotificationCenter, EndsTheRegistrationWithTheToken) {
  { const Token a = observe("changed", "a"); }
  post("changed");
  EXPECT_THAT(called_, IsEmpty());
}

TEST_F(NotificationCenter, MovesARegistrationWithItsToken) {
  Token a = observe("changed", "a");
  Token moved = std::move(a);
  post("changed");
  EXPECT_THAT(called_, ElementsAre("a"));
  moved = observe("changed", "b");
  post("changed");
  EXPECT_THAT(called_, ElementsAre("a", "b"));
}

TEST_F(NotificationCenter, DoesNotCallAnObserverThatWasLetGoOfDuringThePost) {
  std::optional<Token> second;
  const Token first = center_.addObserverForName_object(
      "changed", nullptr, [&](const NSNotification&) { second.reset(); });
  second = observe("changed", "second");
  post("changed");
  EXPECT_THAT(called_, IsEmpty());
}

TEST_F(NotificationCenter, LetsAnObserverLetGoOfItself) {
  std::optional<Token> self;
  int calls = 0;
  self = center_.addObserverForName_object("changed", nullptr, [&](const NSNotification&) {
    ++calls;
    self.reset();
  });
  post("changed");
  post("changed");
  EXPECT_EQ(calls, 1);
}

TEST_F(NotificationCenter, CallsAnObserverThatCameDuringAPostFromTheNextOn) {
  std::vector<Token> later;
  const Token first = center_.addObserverForName_object(
      "changed", nullptr, [&](const NSNotification&) { later.push_back(observe("changed", "l")); });
  post("changed");
  EXPECT_THAT(called_, IsEmpty());
  post("changed");
  EXPECT_THAT(called_, ElementsAre("l"));
}

TEST_F(NotificationCenter, LetsAnObserverPost) {
  const Token inner = observe("inner", "inner");
  const Token outer = center_.addObserverForName_object(
      "outer", nullptr, [this](const NSNotification&) { post("inner"); });
  post("outer");
  EXPECT_THAT(called_, ElementsAre("inner"));
}

TEST(NotificationCenterLife, LetsATokenOutliveTheCenter) {
  Token token;
  {
    NSNotificationCenter center;
    token = center.addObserverForName_object("x", nullptr, [](const NSNotification&) {});
  }
  token = Token();
}

TEST(NotificationCenterLife, SharesOneCenterInTheProcess) {
  int calls = 0;
  const Token token = NSNotificationCenter::defaultCenter().addObserverForName_object(
      "x", nullptr, [&](const NSNotification&) { ++calls; });
  NSNotificationCenter::defaultCenter().postNotificationName_object("x", nullptr);
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace kelvo
