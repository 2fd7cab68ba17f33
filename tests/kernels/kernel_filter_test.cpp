#include "kernels/kernel_filter.h"

#include <gtest/gtest.h>

#include "kernels/curves_filter.h"
#include "kernels/equalize_filter.h"
#include "kernels/levels_filter.h"
#include "kernels/replace_color_filter.h"
#include "kernels/threshold_filter.h"
#include "tests/support/formula.h"

// What the five filters have in common.
namespace kelvo {
namespace {

struct Member {
  const char* name;
  const char* displayName;
  CIKernelRef* kernel;
  const char* function;
  bool video;
  void (*initialize)();
  std::vector<const char*> keys;
};

const Member kMembers[] = {
    {"TQTresholdFilter",
     "Custom Thresh Filter",
     &tqThresholKernel,
     "NI_threshold",
     true,
     TQTresholdFilter::initialize,
     {"threshold", "inputImage"}},
    {"TQEqualizeFilter",
     "Custom Equalize Filter",
     &tqEqualizeKernel,
     "equalize",
     true,
     TQEqualizeFilter::initialize,
     {"params", "inputImage"}},
    {"TQLevelsFilter",
     "Custom Levels Filter",
     &tqLevelsKernel,
     "levels",
     true,
     TQLevelsFilter::initialize,
     {"inputImage", "linear", "midtone", "dark", "light"}},
    {"TQReplaceColorSelectiveFilter",
     "Custom Replace Color Filter",
     &tqReplaceColorSelectiveKernel,
     "replaceColor",
     true,
     TQReplaceColorSelectiveFilter::initialize,
     {"_hue", "_saturation", "_lightness", "diameter", "sourceColor", "inputImage"}},
    {"TQCurvesFilter",
     "Custom Curves Filter",
     &tqCurvesFilterKernel,
     "CurvesKernel",
     false,
     TQCurvesFilter::initialize,
     {"inputImage", "rezImage"}},
};

class KernelFilters : public ::testing::TestWithParam<Member> {
 protected:
  void SetUp() override { GetParam().initialize(); }

  // An instance with its images set, and nothing else.
  static CIFilterRef instance(const CIImageRef& input) {
    CIFilterRef filter = CIFilter::filterWithName(GetParam().name);
    if (filter) {
      filter->setValue_forKey(input, "inputImage");
      filter->setValue_forKey(testing::image(testing::allGreys(), testing::kOpaque8), "rezImage");
    }
    return filter;
  }
};

TEST_P(KernelFilters, AreMadeByTheirClassName) {
  const CIFilterRef first = CIFilter::filterWithName(GetParam().name);
  ASSERT_NE(first, nullptr);
  EXPECT_NE(CIFilter::filterWithName(GetParam().name), first);
}

TEST_P(KernelFilters, AreRegisteredWithDisplayNameAndCategories) {
  const auto attributes = CIFilter::attributesOfFilterWithName(GetParam().name);
  ASSERT_TRUE(attributes.has_value());
  EXPECT_EQ(std::get<std::string>(attributes->at(kCIAttributeFilterDisplayName)),
            GetParam().displayName);
  std::vector<std::string> categories{kCICategoryCompositeOperation};
  if (GetParam().video) categories.push_back(kCICategoryVideo);
  for (const auto& category :
       {kCICategoryStillImage, kCICategoryInterlaced, kCICategoryNonSquarePixels}) {
    categories.push_back(category);
  }
  EXPECT_EQ(std::get<std::vector<std::string>>(attributes->at(kCIAttributeFilterCategories)),
            categories);
}

TEST_P(KernelFilters, RegisterAndCompileOnceForTheProcess) {
  const CIFilterRef first = CIFilter::filterWithName(GetParam().name);
  const CIKernelRef compiled = *GetParam().kernel;
  ASSERT_NE(compiled, nullptr);
  EXPECT_EQ(compiled->name(), GetParam().function);
  const CIFilterRef second = CIFilter::filterWithName(GetParam().name);
  GetParam().initialize();
  EXPECT_EQ(*GetParam().kernel, compiled);
}

TEST_P(KernelFilters, TakeTheirInputsByKeyAndNoOthers) {
  const CIFilterRef filter = CIFilter::filterWithName(GetParam().name);
  const auto isInput = [&](std::string_view key) {
    return filter->setValue_forKey(FilterValue{}, key);
  };
  for (const char* key : GetParam().keys) EXPECT_TRUE(isInput(key)) << key;
  EXPECT_FALSE(isInput("inputAngle"));
}

TEST_P(KernelFilters, CoverExactlyTheInputsExtent) {
  const CIFilterRef filter = instance(testing::image(testing::allGreys(), testing::kOpaque8, 32));
  const CIImageRef output = filter->outputImage();
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(output->extent(), (CGRect{0, 0, 32, 8}));
}

TEST_P(KernelFilters, KeepATransparentPixelTransparent) {
  const CIFilterRef filter = instance(testing::image({{255, 90, 7, 0}}, testing::kStraight8));
  EXPECT_EQ(testing::rendered(filter->outputImage()).at(0), (testing::Rgba8{0, 0, 0, 0}));
}

TEST_P(KernelFilters, WithoutAnImageThereIsNoOutput) {
  EXPECT_EQ(instance(nullptr)->outputImage(), nullptr);
}

TEST_P(KernelFilters, WithoutAKernelThereIsNoOutputAndTheNextInstanceCompilesAgain) {
  const CIImageRef input = testing::image({{1, 2, 3, 255}}, testing::kOpaque8);
  const CIFilterRef filter = instance(input);
  *GetParam().kernel = nullptr;
  EXPECT_EQ(filter->outputImage(), nullptr);
  EXPECT_NE(instance(input)->outputImage(), nullptr);
  EXPECT_NE(filter->outputImage(), nullptr);
}

TEST_P(KernelFilters, DefaultsChangeNothing) {
  const CIFilterRef filter = CIFilter::filterWithName(GetParam().name);
  filter->setDefaults();
  for (const char* key : GetParam().keys) {
    const FilterValue value = filter->valueForKey(key);
    const auto* image = std::get_if<CIImageRef>(&value);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(value) ||
                (image != nullptr && *image == nullptr))
        << key;
  }
}

// A member of the family whose source is given, and looked at no sooner than it is needed.
class AnySource final : public KernelFilter {
 public:
  AnySource(CIKernelRef& kernel, std::string_view source, CIImageRef image)
      : kernel_(kernel), image_(std::move(image)) {
    makeKernelOnce(kernel_, source);
  }
  [[nodiscard]] CIImageRef outputImage() const override {
    return applyToImage(kernel_, image_, {});
  }

 private:
  CIKernelRef& kernel_;
  CIImageRef image_;
};

TEST(KernelFilter, IsMadeWithoutCompilingAndCompilesForItsFirstOutput) {
  std::string source = "kernel vec4 none(sampler s){return vec4(0.0);}";
  CIKernelRef kernel;
  const AnySource filter(kernel, source, testing::image({{1, 2, 3, 255}}, testing::kOpaque8));
  source.replace(source.find("0.0"), 3, "1.0");
  const CIImageRef output = filter.outputImage();
  source.replace(source.find("1.0"), 3, "0.5");
  EXPECT_EQ(testing::rendered(output).at(0), (testing::Rgba8{255, 255, 255, 255}));
  EXPECT_EQ(testing::rendered(filter.outputImage()), testing::rendered(output));
}

TEST(KernelFilter, OfASourceThatDoesNotCompileHasNoOutput) {
  CIKernelRef kernel;
  const AnySource filter(kernel, "kernel vec4 broken(sampler s){return t;}",
                         testing::image({{1, 2, 3, 255}}, testing::kOpaque8));
  EXPECT_EQ(filter.outputImage(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(All, KernelFilters, ::testing::ValuesIn(kMembers),
                         [](const auto& member) { return std::string(member.param.name); });

}  // namespace
}  // namespace kelvo
