#include "action/tq_am_open_save.h"

#include <optional>
#include <utility>

#include "platform/foundation/ns_log.h"
#include "platform/foundation/path_text.h"
#include "platform/image/ns_bitmap_image_rep.h"

namespace kelvo {
namespace {

// Lies in the module that holds the class.
const char kClassMark = 0;

const PathList* pathsOf(const WorkflowValue& input) {
  const auto* const paths = std::get_if<PathList>(&input);
  if (paths == nullptr) NSLog("Error: Unknown datatype");
  return paths;
}

void logError(const std::optional<NSError>& error) {
  NSLog(error ? error->localizedDescription() : "The image could not be opened");
}

// False, with the cause logged, if the file stays as it was.
bool adjustFile(TQOSFFileManager& files, const std::string& path,
                const std::function<CIImageRef(const CIImageRef&)>& operation) {
  const NSURL url = NSURL::fileURLWithPath(path);
  ImageInformationRef properties;
  std::string type;
  std::optional<NSError> error;
  auto read =
      files.TQOSF_CGImageAtURL_infoDictionary_imageUTI_readError(url, &properties, &type, &error);
  if (!read || error) {
    logError(error);
    return false;
  }
  const CIImageRef result = operation(CIImage::imageWithCGImage(*std::move(read)));
  if (!result) return false;
  const auto bitmap = NSBitmapImageRep::initWithCIImage(result);
  if (!bitmap) {
    logError(NSError(bitmap.error().message));
    return false;
  }
  files.TQOSF_SaveCGImage_atURL_infoDictionary_imageUTI_writeError(bitmap->CGImage(), url,
                                                                   properties, type, &error);
  if (error) logError(error);
  return !error;
}

}  // namespace

// The object goes before the module that its code is in.
TQAMOpenSave::~TQAMOpenSave() { _fileManager.reset(); }

std::shared_ptr<TQOSFFileManager> TQAMOpenSave::fileManager() {
  if (_fileManager) return _fileManager;
  std::string path = bundlePathForCode(&kClassMark);
  for (int i = 0; i < 3; ++i) path = stringByDeletingLastPathComponent(path);
  auto bundle = NSBundle::bundleWithPath(
      stringByAppendingPathComponent(path, "Frameworks/TQOpenSave.framework"));
  if (!bundle || !(*bundle)->load()) return nullptr;
  _openSaveBundle = std::move(bundle).value();
  auto* const factory =
      reinterpret_cast<FileManagerFactory*>(_openSaveBundle->symbol(kFileManagerFactory));
  if (factory != nullptr) {
    _fileManager.reset(factory(_openSaveBundle->info().principalClass.c_str()));
  }
  return _fileManager;
}

WorkflowValue TQAMOpenSave::resultOfInput_extension(const WorkflowValue& input,
                                                    const std::string& extension) {
  const PathList* const paths = pathsOf(input);
  if (paths == nullptr) return input;
  PathList result;
  for (const std::string& path : *paths) {
    const LogSubject subject(path);
    const auto files = fileManager();
    if (!files) continue;
    const NSURL target = NSURL::fileURLWithPath(
        stringByAppendingPathExtension(stringByDeletingPathExtension(path), extension));
    if (const auto error =
            files->TQOSF_ResaveImageAtURL_toURL(NSURL::fileURLWithPath(path), target)) {
      logError(error);
    } else {
      result.push_back(target.absoluteString());
    }
  }
  return result;
}

WorkflowValue TQAMOpenSave::resultOfInput_operation(const WorkflowValue& input,
                                                    const Operation& operation) {
  const PathList* const paths = pathsOf(input);
  if (paths == nullptr) return input;
  PathList result;
  for (const std::string& path : *paths) {
    const LogSubject subject(path);
    const auto files = fileManager();
    if (files && adjustFile(*files, path, operation)) result.push_back(path);
  }
  return result;
}

}  // namespace kelvo
