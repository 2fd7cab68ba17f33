#include "platform/foundation/class_factory.h"
#include "platform/open_save/file_manager.h"

extern "C" __attribute__((visibility("default"))) kelvo::TQOSFFileManager* kelvoCreateFileManager(
    const char* className) {
  return kelvo::createObjectOfClass<kelvo::CodecFileManager, kelvo::TQOSFFileManager>(
      className != nullptr ? className : "", "CodecFileManager");
}
