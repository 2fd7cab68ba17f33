#include <gtest/gtest.h>

#include <QApplication>
#include <memory>

namespace kelvo::testing {
namespace {

// One application for all cases of a program, made when they are run, not when they are listed.
class Application : public ::testing::Environment {
 public:
  void SetUp() override { application_ = std::make_unique<QApplication>(count_, arguments_); }
  void TearDown() override { application_.reset(); }

 private:
  int count_ = 1;
  char name_[5] = "test";
  char* arguments_[2] = {name_, nullptr};
  std::unique_ptr<QApplication> application_;
};

// GoogleTest owns and deletes it.
[[maybe_unused]] const ::testing::Environment* const kApplication =
    ::testing::AddGlobalTestEnvironment(std::make_unique<Application>().release());

}  // namespace
}  // namespace kelvo::testing
