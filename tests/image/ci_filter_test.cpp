#include "platform/image/ci_filter.h"

#include <gtest/gtest.h>

#include "tests/support/pixels.h"

namespace kelvo {
namespace {

using testing::image;
using testing::kOpaque8;
using testing::rendered;

template <typename T>
T valueOf(const CIFilterRef& filter, std::string_view key) {
  const FilterValue value = filter->valueForKey(key);
  const T* held = std::get_if<T>(&value);
  EXPECT_NE(held, nullptr) << key;
  return held != nullptr ? *held : T{};
}

TEST(CIFilter, AnUnknownNameGivesNoFilter) {
  EXPECT_EQ(CIFilter::filterWithName("CINoSuchFilter"), nullptr);
  EXPECT_FALSE(CIFilter::attributesOfFilterWithName("CINoSuchFilter").has_value());
}

TEST(CIFilter, EveryCallOfTheRegistryMakesAFreshInstance) {
  const CIFilterRef first = CIFilter::filterWithName("CIColorControls");
  const CIFilterRef second = CIFilter::filterWithName("CIColorControls");
  ASSERT_NE(first, nullptr);
  EXPECT_NE(first, second);
  first->setValue_forKey(0.25, "inputContrast");
  EXPECT_EQ(valueOf<NSNumber>(second, "inputContrast"), 1.0);
}

TEST(CIFilter, TextSetOnANumberBecomesThatNumber) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorControls");
  EXPECT_TRUE(filter->setValue_forKey(std::string("0.333333"), "inputContrast"));
  EXPECT_EQ(valueOf<NSNumber>(filter, "inputContrast"), 0.333333);
}

TEST(CIFilter, TextSetOnAVectorBecomesThatVector) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorMatrix");
  EXPECT_TRUE(filter->setValue_forKey(std::string("[0 1 0 0.5]"), "inputRVector"));
  EXPECT_EQ(valueOf<CIVector>(filter, "inputRVector"), CIVector::vectorWithX_Y_Z_W(0, 1, 0, 0.5));
  EXPECT_TRUE(filter->setValue_forKey(2.0, "inputRVector"));
  EXPECT_EQ(valueOf<CIVector>(filter, "inputRVector"), CIVector::vectorWithX(2));
}

TEST(CIFilter, ColoursAndImagesAreHeldAsTheyAre) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorMonochrome");
  EXPECT_TRUE(filter->setValue_forKey(CIColor(0.1, 0.2, 0.3, 0.4), "inputColor"));
  EXPECT_EQ(valueOf<CIColor>(filter, "inputColor"), CIColor(0.1, 0.2, 0.3, 0.4));
  const CIImageRef input = image({{1, 2, 3, 255}}, kOpaque8);
  EXPECT_TRUE(filter->setValue_forKey(input, "inputImage"));
  EXPECT_EQ(valueOf<CIImageRef>(filter, "inputImage"), input);
}

TEST(CIFilter, AValueOfTheWrongKindChangesNothing) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorControls");
  filter->setValue_forKey(0.25, "inputContrast");
  EXPECT_FALSE(filter->setValue_forKey(CIVector::vectorWithX(3), "inputContrast"));
  EXPECT_FALSE(filter->setValue_forKey(1.0, "inputImage"));
  EXPECT_FALSE(filter->setValue_forKey(1.0, "inputNothing"));
  EXPECT_EQ(valueOf<NSNumber>(filter, "inputContrast"), 0.25);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(filter->valueForKey("inputNothing")));
}

TEST(CIFilter, AnEmptiedInputActsAsItsDefault) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorControls");
  filter->setValue_forKey(0.0, "inputContrast");
  filter->setValue_forKey({}, "inputContrast");
  filter->setValue_forKey(image({{10, 200, 30, 255}}, kOpaque8), "inputImage");
  EXPECT_EQ(rendered(valueOf<CIImageRef>(filter, "outputImage")).at(0),
            (testing::Rgba8{10, 200, 30, 255}));
}

TEST(CIFilter, SetDefaultsUndoesWhatWasSet) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorPosterize");
  filter->setValue_forKey(3.0, "inputLevels");
  filter->setDefaults();
  EXPECT_EQ(valueOf<NSNumber>(filter, "inputLevels"), 6.0);
}

TEST(CIFilter, WithoutAnInputImageThereIsNoOutput) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorInvert");
  EXPECT_TRUE(std::holds_alternative<std::monostate>(filter->valueForKey("inputImage")));
  EXPECT_EQ(valueOf<CIImageRef>(filter, "outputImage"), nullptr);
}

TEST(CIFilter, TheOutputCoversTheInputsExtent) {
  const CIFilterRef filter = CIFilter::filterWithName("CIColorInvert");
  filter->setValue_forKey(image(testing::allGreys(), kOpaque8, 64), "inputImage");
  EXPECT_EQ(valueOf<CIImageRef>(filter, "outputImage")->extent(), (CGRect{0, 0, 64, 4}));
}

class Constant final : public CIFilter {
 public:
  [[nodiscard]] CIImageRef outputImage() const override {
    return image({{9, 9, 9, 255}}, kOpaque8);
  }
};

TEST(CIFilter, RegisteredClassesAreMadeByNameAndKeepTheirAttributes) {
  CIFilter::registerFilterName_constructor_classAttributes(
      "TestConstant", [](std::string_view) { return std::make_shared<Constant>(); },
      {{kCIAttributeFilterDisplayName, std::string("A constant")},
       {kCIAttributeFilterCategories, std::vector<std::string>{kCICategoryStillImage}}});
  ASSERT_NE(CIFilter::filterWithName("TestConstant"), nullptr);
  const auto attributes = CIFilter::attributesOfFilterWithName("TestConstant");
  ASSERT_TRUE(attributes.has_value());
  EXPECT_EQ(std::get<std::string>(attributes->at(kCIAttributeFilterDisplayName)), "A constant");
}

TEST(CIKernel, ASourceThatDoesNotCompileGivesNoKernelsAndSaysWhy) {
  std::vector<kernel_language::Diagnostic> diagnostics;
  EXPECT_TRUE(
      CIKernel::kernelsWithString("kernel vec4 broken(sampler s) {\n  return t;\n}", &diagnostics)
          .empty());
  ASSERT_FALSE(diagnostics.empty());
  EXPECT_EQ(diagnostics[0].line, 2U);
  EXPECT_EQ(diagnostics[0].column, 10U);
  EXPECT_NE(diagnostics[0].message.find("t"), std::string::npos);
}

TEST(CIKernel, KernelsComeInTheOrderOfTheSource) {
  const auto kernels = CIKernel::kernelsWithString(
      "kernel vec4 one(sampler s){return sample(s,samplerCoord(s));}"
      "kernel vec4 two(sampler s){return vec4(1.0);}");
  ASSERT_EQ(kernels.size(), 2U);
  EXPECT_EQ(kernels[0]->name(), "one");
  EXPECT_EQ(kernels[1]->name(), "two");
}

TEST(CIKernel, OfASourceIsCompiledWhenItIsFirstAskedAndNeverAgain) {
  std::string source = "kernel vec4 one(sampler s){return vec4(1.0);}";
  const CIKernel kernel{std::string_view(source)};
  source.replace(source.find("one"), 3, "two");
  EXPECT_EQ(kernel.name(), "two");
  const auto* const program = kernel.program();
  source.replace(source.find("two"), 3, "six");
  EXPECT_EQ(kernel.name(), "two");
  EXPECT_EQ(kernel.program(), program);
}

TEST(CIKernel, OfASourceThatDoesNotCompileHasNoProgram) {
  const CIKernel kernel{std::string_view("kernel vec4 broken(sampler s){return t;}")};
  EXPECT_EQ(kernel.program(), nullptr);
  EXPECT_EQ(kernel.program(), nullptr);
}

}  // namespace
}  // namespace kelvo
