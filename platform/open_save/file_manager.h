#pragma once

#include "platform/open_save/tq_open_save.h"

namespace kelvo {

// Opens and saves with the formats of platform/image_io.
class CodecFileManager final : public TQOSFFileManager {
 public:
  std::optional<NSError> TQOSF_ResaveImageAtURL_toURL(const NSURL& source,
                                                      const NSURL& target) override;
  std::optional<CGImage> TQOSF_CGImageAtURL_infoDictionary_imageUTI_readError(
      const NSURL& url, ImageInformationRef* infoDictionary, std::string* imageUTI,
      std::optional<NSError>* readError) override;
  void TQOSF_SaveCGImage_atURL_infoDictionary_imageUTI_writeError(
      const CGImage& image, const NSURL& url, const ImageInformationRef& infoDictionary,
      const std::string& imageUTI, std::optional<NSError>* writeError) override;
};

}  // namespace kelvo
