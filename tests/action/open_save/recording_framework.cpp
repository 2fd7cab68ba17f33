#include "platform/foundation/class_factory.h"
#include "tests/action/open_save/recording_file_manager.h"

namespace kelvo::testing {
namespace {

int made = 0;

struct NamedInformation final : ImageInformation {
  explicit NamedInformation(std::string ofPath) : path(std::move(ofPath)) {}
  std::string path;
};

bool says(const NSURL& url, const char* word) { return url.path().find(word) != std::string::npos; }

class Recorder final : public RecordingFileManager {
 public:
  Recorder() { ++made; }

  [[nodiscard]] const std::vector<std::string>& calls() const override { return calls_; }
  [[nodiscard]] int objectsMade() const override { return made; }

  std::optional<NSError> TQOSF_ResaveImageAtURL_toURL(const NSURL& source,
                                                      const NSURL& target) override {
    calls_.push_back("resave " + source.path() + " to " + target.path());
    if (says(source, "unsavable")) return NSError("cannot resave " + source.path());
    return std::nullopt;
  }

  // The first pixel is red of 10.
  std::optional<CGImage> TQOSF_CGImageAtURL_infoDictionary_imageUTI_readError(
      const NSURL& url, ImageInformationRef* infoDictionary, std::string* imageUTI,
      std::optional<NSError>* readError) override {
    calls_.push_back(
        "read " + url.path() +
        (*infoDictionary || !imageUTI->empty() || *readError ? " over something" : ""));
    if (says(url, "mute")) return std::nullopt;
    if (says(url, "unreadable") || says(url, "doubtful")) {
      *readError = NSError("cannot read " + url.path());
    }
    if (says(url, "unreadable")) return std::nullopt;
    if (!says(url, "bare")) {
      *infoDictionary = std::make_shared<NamedInformation>(url.path());
      *imageUTI = "type of " + url.path();
    }
    return CGImageCreateWithPixels(1, 1, {3, SampleType::u8, AlphaInfo::none},
                                   {std::byte{10}, std::byte{0}, std::byte{0}}, nullptr);
  }

  void TQOSF_SaveCGImage_atURL_infoDictionary_imageUTI_writeError(
      const CGImage& image, const NSURL& url, const ImageInformationRef& infoDictionary,
      const std::string& imageUTI, std::optional<NSError>* writeError) override {
    const auto pixels = readAllPixels(image);
    const auto* const information = dynamic_cast<const NamedInformation*>(infoDictionary.get());
    calls_.push_back(
        "save " + (pixels ? std::to_string(std::to_integer<int>(pixels->front())) : "nothing") +
        " of " + std::to_string(8 * image.layout.sampleBytes()) + " bits at " + url.path() +
        " with " + (information != nullptr ? information->path : "nothing") + ", " + imageUTI +
        (*writeError ? " over an error" : ""));
    if (says(url, "unsavable")) *writeError = NSError("cannot save " + url.path());
  }

 private:
  std::vector<std::string> calls_;
};

}  // namespace
}  // namespace kelvo::testing

extern "C" __attribute__((visibility("default"))) kelvo::TQOSFFileManager* kelvoCreateFileManager(
    const char* className) {
  return kelvo::createObjectOfClass<kelvo::testing::Recorder, kelvo::TQOSFFileManager>(
      className, "RecordingFileManager");
}
