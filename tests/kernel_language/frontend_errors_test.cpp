// What the compiler says about mistakes. Each errors/NAME.kernel has its messages beside it in
// NAME.expected; each NAME.legal.kernel shows nearby texts that are right.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include "program_runner.h"

namespace kelvo::kernel_language {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> casesEndingIn(const std::string& ending, const std::string& butNot = {}) {
  std::vector<std::string> names;
  const fs::path folder = fs::path(KELVO_SOURCE_DIR) / "tests/kernel_language/errors";
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (!name.ends_with(ending) || (!butNot.empty() && name.ends_with(butNot))) continue;
    names.push_back(entry.path().string().substr(0, entry.path().string().size() - ending.size()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string printName(const testing::TestParamInfo<std::string>& info) {
  std::string name = fs::path(info.param).filename().string();
  std::replace_if(
      name.begin(), name.end(),
      [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
  return name;
}

class FrontEndErrors : public testing::TestWithParam<std::string> {};

TEST_P(FrontEndErrors, AreReportedWithPlaceAndNames) {
  const CompiledSource compiled = compileSource(readFile(GetParam() + ".kernel"));
  EXPECT_TRUE(compiled.kernels.empty());
  EXPECT_EQ(listing(compiled.diagnostics), readFile(GetParam() + ".expected"));
  for (const Diagnostic& diagnostic : compiled.diagnostics) {
    EXPECT_FALSE(diagnostic.message.ends_with(".")) << diagnostic.message;
  }
}

INSTANTIATE_TEST_SUITE_P(Corpus, FrontEndErrors,
                         testing::ValuesIn(casesEndingIn(".kernel", ".legal.kernel")), printName);

class FrontEndLegal : public testing::TestWithParam<std::string> {};

TEST_P(FrontEndLegal, CompilesWithoutMessages) {
  const CompiledSource compiled = compileSource(readFile(GetParam() + ".legal.kernel"));
  EXPECT_EQ(listing(compiled.diagnostics), "");
  EXPECT_FALSE(compiled.kernels.empty());
}

INSTANTIATE_TEST_SUITE_P(Corpus, FrontEndLegal, testing::ValuesIn(casesEndingIn(".legal.kernel")),
                         printName);

}  // namespace
}  // namespace kelvo::kernel_language
