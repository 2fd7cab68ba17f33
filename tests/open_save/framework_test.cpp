#include <gtest/gtest.h>

#include <memory>

#include "platform/foundation/ns_bundle.h"
#include "platform/open_save/tq_open_save.h"

namespace kelvo {
namespace {

TEST(OpenSaveFramework, MakesAnObjectOfItsPrincipalClass) {
  const auto bundle = NSBundle::bundleWithPath(KELVO_BINARY_DIR "/Frameworks/TQOpenSave.framework");
  ASSERT_TRUE(bundle) << bundle.error().message;
  const auto loaded = (*bundle)->load();
  ASSERT_TRUE(loaded) << loaded.error().message;
  auto* const factory =
      reinterpret_cast<FileManagerFactory*>((*bundle)->symbol(kFileManagerFactory));
  ASSERT_NE(factory, nullptr);
  const std::unique_ptr<TQOSFFileManager> files(factory((*bundle)->info().principalClass.c_str()));
  ASSERT_NE(files, nullptr);
  const auto error = files->TQOSF_ResaveImageAtURL_toURL(NSURL::fileURLWithPath("/nowhere.jpg"),
                                                         NSURL::fileURLWithPath("/nowhere.jpeg"));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->localizedDescription(),
            "The image could not be saved under its new name (the file could not be found: there "
            "is no such file)");
  EXPECT_EQ(factory("Other"), nullptr);
  EXPECT_EQ(factory(nullptr), nullptr);
}

}  // namespace
}  // namespace kelvo
