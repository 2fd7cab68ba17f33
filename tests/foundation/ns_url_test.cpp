#include "platform/foundation/ns_url.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace kelvo {
namespace {

std::string url(const std::string& path) { return NSURL::fileURLWithPath(path).absoluteString(); }

TEST(NSURL, KeepsThePath) { EXPECT_EQ(NSURL::fileURLWithPath("a b").path(), "a b"); }

TEST(NSURL, EncodesEveryByteOutsideTheUnreservedSet) {
  EXPECT_EQ(url("/a/b-c_d.e~f09Z"), "file:///a/b-c_d.e~f09Z");
  EXPECT_EQ(url("/a b%?#+"), "file:///a%20b%25%3F%23%2B");
  EXPECT_EQ(url("/\xC3\xA4\xFF\n"), "file:///%C3%A4%FF%0A");
}

TEST(NSURL, MakesARelativePathAbsolute) {
  const std::string here = std::filesystem::current_path();
  EXPECT_EQ(url("x.jpg"), url(here + "/x.jpg"));
}

}  // namespace
}  // namespace kelvo
