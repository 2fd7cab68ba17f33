#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/ns_error.h"
#include "platform/foundation/ns_url.h"
#include "platform/pixels/cg_image.h"

// What the framework TQOpenSave.framework offers to those who load it.
namespace kelvo {

// What was in a file besides the pixels of a picture that was read. Made and understood by the
// framework alone.
class ImageInformation {
 public:
  virtual ~ImageInformation() = default;
};
using ImageInformationRef = std::shared_ptr<const ImageInformation>;

// The framework's principal class: opens and saves whole image files. Files are only ever replaced
// whole; a failure leaves what was there. Throws nothing.
class TQOSFFileManager {
 public:
  virtual ~TQOSFFileManager() = default;

  // Saves the file's image once more under the target's name, in the format that the target's
  // extension stands for. If that is the file's own, the file is copied as it is. Else its picture
  // is converted, with its colour profile and EXIF data; a picture that the format cannot hold is
  // refused. Where there is a target already, it is replaced. None on success.
  virtual std::optional<NSError> TQOSF_ResaveImageAtURL_toURL(const NSURL& source,
                                                              const NSURL& target) = 0;

  // The first image of a file, with what goes with it and its type ("public.jpeg"). None, with the
  // error set, if it cannot be read or is not RGB. Pixels are decoded when they are asked for:
  // damage inside them comes out then.
  virtual std::optional<CGImage> TQOSF_CGImageAtURL_infoDictionary_imageUTI_readError(
      const NSURL& url, ImageInformationRef* infoDictionary, std::string* imageUTI,
      std::optional<NSError>* readError) = 0;

  // Saves an image of the size of the one that `infoDictionary` and `imageUTI` were read with, with
  // everything that was in that file. Alpha is left out if that image had none. `url` may be that
  // file, another one, which is replaced, or a new one.
  virtual void TQOSF_SaveCGImage_atURL_infoDictionary_imageUTI_writeError(
      const CGImage& image, const NSURL& url, const ImageInformationRef& infoDictionary,
      const std::string& imageUTI, std::optional<NSError>* writeError) = 0;
};

// The one function that the framework's module exports, under this name: an object of the class
// that its Info.json names, owned by the caller; null if it has no such class. Throws nothing.
using FileManagerFactory = TQOSFFileManager*(const char* className);
constexpr const char* kFileManagerFactory = "kelvoCreateFileManager";

}  // namespace kelvo
