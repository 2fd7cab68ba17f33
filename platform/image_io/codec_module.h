#pragma once

#include "platform/image_io/codec.h"

namespace kelvo {

// What a format's module provides. Formats whose libraries are large (encoders of video codecs)
// live in modules beside this library, so that programs start without them.
struct CodecModule {
  Result<std::unique_ptr<CodecSource>> (*open)(FileBytes file, const Limits& limits);
  Result<std::unique_ptr<CodecWriter>> (*createWriter)(OutputFile& file, std::size_t frames,
                                                       const EncodeOptions& options);
};

// The one function that a module exports, by this name.
constexpr const char* kCodecModuleSymbol = "kelvoCodecModule";
using CodecModuleFunction = const CodecModule*();

// Loads "NAME.so" from the folder "kelvo" beside this library; once loaded it stays. Thread-safe.
Result<const CodecModule*> loadCodecModule(const char* name);

}  // namespace kelvo
